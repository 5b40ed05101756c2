#pragma once

#include <string>
#include <system_error>

#include <sys/types.h>

namespace quelmar::utilities::macos {

/// Yields the client's data folder that all users of the machine share: the machine's Application Support
/// folder followed by "/oBrela", or "/Library/Application Support/oBrela" when the host knows none.
/// @param ec  never set; kept because callers report it.
void getSharedDataPath(std::string& path, std::error_code& ec);

/// As above, as a result.
std::string getSharedDataPath(std::error_code& ec);

}  // namespace quelmar::utilities::macos

namespace quelmar {

/// The home folder of a user by the password database; empty when it knows none.
std::string homeFolder(uid_t user);

/// Yields the client's data folder of the calling (effective) user, without creating it: for "root"
/// "/Users/root/Library/Application Support/oBrela", for others the user's Application Support folder
/// followed by "/oBrela", or the first form with the user's name when the host knows none. Writes "name:" +
/// user name + " uid:" + user id and a line end to standard output.
std::string applicationDataFolder();

}  // namespace quelmar
