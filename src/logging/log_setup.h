#pragma once

#include <string>

namespace quelmar {

/// Sets up the tool's own log: finds its folder, creates the file and configures the logger. Writes progress to
/// standard output and failures to standard error.
/// @param name  the log's name; ".log" is appended unless the name contains it anywhere
/// @return true when log calls now reach the file; false for an empty name, after any exception, or
///         when it takes longer than ten seconds, as in a home that does not answer; it goes on in the background then
bool initLogName(const std::string& name);

}  // namespace quelmar
