#pragma once

#include <string>

namespace quelmar {

/// Sets up the tool's own log: settles its folder, creates the file (for everybody to write when root creates
/// it) and hands the options to the logger. Progress goes to standard output, failures to standard error.
/// @param name  the log's name; ".log" is appended unless the name contains it anywhere.
/// @return true when log calls now reach the file; false for an empty name or after any exception (reported).
bool initLogName(const std::string& name);

}  // namespace quelmar
