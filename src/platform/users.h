#pragma once

#include <string>
#include <system_error>
#include <vector>

#include <sys/types.h>

namespace quelmar::process {

/// Tells who is logged in at the machine's console. May block as long as the system's login service does. Thread-safe.
/// @param user  receives the short name as the system reports it (UTF-8; also special names such as "loginwindow")
/// @return false, with an empty name, when there is no such user or the name cannot be read
bool getCurrentLoginUser(std::string& user);

/// That name; empty when there is none in time. Asked for once in a run, by the first caller. Thread-safe.
const std::string& loginUser();

}  // namespace quelmar::process

namespace quelmar::platform {

/// The lowest user number of a person; those below are the system's own.
extern const uid_t kFirstPerson;

/// The folder for application data of the calling user, and of all users together (none on Linux), without a trailing
/// separator; empty when there is none, or it is not known.
std::string userApplicationSupport();
std::string machineApplicationSupport();

}  // namespace quelmar::platform

namespace quelmar::utilities::macos {

/// The client's data folder that all users of the machine share: "oBrela" in the machine's application data, or
/// "/Library/Application Support/oBrela" when the host has no such folder.
/// @param ec  never set; kept because callers report it
void getSharedDataPath(std::string& path, std::error_code& ec);
std::string getSharedDataPath(std::error_code& ec);

}  // namespace quelmar::utilities::macos

namespace quelmar {

/// The name and the home folder of a user in the password database; empty when there is no such user. Thread-safe.
std::string userName(uid_t user);
std::string homeFolder(uid_t user);

/// The home folders of root and of all people in the password database, but "/" and what is no folder. Not thread-safe.
/// May block as long as a directory service does.
std::vector<std::string> homeFolders();

/// The client's data folder of the effective user, which is not created: "oBrela" in the user's application data; for
/// root, and when that is not known, "/Users/<name>/Library/Application Support/oBrela".
std::string applicationDataFolder();

}  // namespace quelmar
