#pragma once

#include <string>
#include <system_error>

#include <sys/types.h>

namespace quelmar::utilities::macos {

/// The client's data folder that all users of the machine share: the machine's Application Support folder
/// followed by "/oBrela", or "/Library/Application Support/oBrela" when the host has no such folder.
/// @param path  receives the folder.
/// @param ec    never set; kept because callers report it.
void getSharedDataPath(std::string& path, std::error_code& ec);

/// As above, returning the folder.
std::string getSharedDataPath(std::error_code& ec);

}  // namespace quelmar::utilities::macos

namespace quelmar {

/// The home folder of a user in the password database; empty when there is no such user.
std::string homeFolder(uid_t user);

/// The client's data folder of the effective user, which is not created: for root
/// "/Users/root/Library/Application Support/oBrela", for others the user's Application Support folder
/// followed by "/oBrela", or "/Users/<name>/Library/Application Support/oBrela" when the host has no such
/// folder. Writes "name:" + user name + " uid:" + user id and a line end to standard output.
std::string applicationDataFolder();

}  // namespace quelmar
