#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <sys/types.h>

namespace quelmar::process {

/// Tells who is logged in at the machine's console.
/// Thread-safe.
/// @param user  receives the short name as the system reports it (UTF-8; special names such as "loginwindow" are not
///              filtered); empty when the result is false
/// @return true when there is a console user whose name could be read. Logs nothing. May block as long as the system's
///         login service does.
bool getCurrentLoginUser(std::string& user);

/// getCurrentLoginUser's answer; empty when there is none, or it has not come within five seconds. Asked once in a run,
/// by the first caller, on a thread of its own; other callers wait for that.
/// Thread-safe.
const std::optional<std::string>& loginUser();

}  // namespace quelmar::process

namespace quelmar::platform {

/// User numbers from this one on are people's; those below, but 0, are the system's own.
extern const uid_t kFirstPerson;

/// The calling user's folder for application data (on macOS "~/Library/Application Support" as Foundation reports it;
/// on Linux $XDG_DATA_HOME when it is absolute, else ~/.local/share), without a trailing separator; empty when it is
/// not known.
std::string userApplicationSupport();

/// The folder for application data that all users of the machine share; empty when the host has none (always on Linux).
std::string machineApplicationSupport();

}  // namespace quelmar::platform

namespace quelmar::utilities::macos {

/// The client's data folder that all users of the machine share: the machine's Application Support folder followed by
/// "/oBrela", or "/Library/Application Support/oBrela" when the host has no such folder.
/// @param ec  never set; kept because callers report it
void getSharedDataPath(std::string& path, std::error_code& ec);
std::string getSharedDataPath(std::error_code& ec);

}  // namespace quelmar::utilities::macos

namespace quelmar {

/// The name and the home folder of a user in the password database; empty when there is no such user.
/// Thread-safe.
std::string userName(uid_t user);
std::string homeFolder(uid_t user);

/// The home folders of root and of all people in the password database, each once, but "/" and what is no folder. Not
/// thread-safe. May block as long as a directory service does.
std::vector<std::string> homeFolders();

/// The client's data folder of the effective user, which is not created: for root "/Users/root/Library/Application
/// Support/oBrela", for others the user's Application Support folder followed by "/oBrela", or
/// "/Users/<name>/Library/Application Support/oBrela" when the host has no such folder.
std::string applicationDataFolder();

}  // namespace quelmar
