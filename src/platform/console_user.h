#pragma once

#include <string>

namespace quelmar::process {

/// Tells who is logged in at the machine's console.
/// @param user  receives the short name as the system reports it (UTF-8; special names such as "loginwindow"
///              are not filtered); empty when the result is false.
/// @return true when there is a console user whose name could be read. Logs nothing. Thread-safe. May block
///         as long as the system's login service does.
bool getCurrentLoginUser(std::string& user);

}  // namespace quelmar::process
