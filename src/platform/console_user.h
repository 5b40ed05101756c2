#pragma once

#include <string>

namespace quelmar::process {

/// Tells who is logged in at the machine's console.
/// @param user  receives the short name as the system gives it (UTF-8), with no filtering of special names;
///              empty when the answer is false.
/// @return true when there is a console user and the name could be had. Logs nothing. Thread-safe.
bool getCurrentLoginUser(std::string& user);

}  // namespace quelmar::process
