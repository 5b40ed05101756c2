#pragma once

#include <string>

namespace quelmar {

/// Sets up the tool's own log: finds its folder, creates the file and configures the logger. Writes progress to
/// standard output and failures to standard error.
/// @param name  the log's name; ".log" is appended unless the name contains it anywhere
/// @return true when log calls now reach the file; false for an empty name or after any exception
bool initLogName(const std::string& name);

}  // namespace quelmar
