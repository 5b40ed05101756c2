#pragma once

#include <string>

namespace quelmar::platform {

/// The calling user's folder for application data (on macOS "~/Library/Application Support" as Foundation
/// reports it; on Linux $XDG_DATA_HOME when it is absolute, else ~/.local/share).
/// @param path  receives the folder without a trailing separator; empty when it cannot be determined.
void userApplicationSupport(std::string& path);

/// The folder for application data that all users of the machine share.
/// @param path  receives the folder; empty when the host has none (always on Linux).
void machineApplicationSupport(std::string& path);

}  // namespace quelmar::platform
