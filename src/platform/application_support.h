#pragma once

#include <string>

namespace quelmar::platform {

/// Yields the calling user's folder for application data (on macOS "~/Library/Application Support",
/// as Foundation reports it; on Linux $XDG_DATA_HOME when it is absolute, else ~/.local/share).
/// @param path  receives the folder without a trailing separator; empty when the host knows none.
void userApplicationSupport(std::string& path);

/// Yields the folder for application data that all users of the machine share.
/// @param path  receives the folder; empty when the host has no such notion (always so on Linux).
void machineApplicationSupport(std::string& path);

}  // namespace quelmar::platform
