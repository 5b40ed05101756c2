#pragma once

#include <string>

namespace testing_support {

enum class Rights { kNone, kOfRoot };

/// Takes the process to where it can hurt nothing: every file of the machine is read-only, /tmp, /run and
/// /dev are its own, it sees no process but its own children and no network but a loopback of its own. To be
/// called first in main: the call returns in a child, while the process that called waits for it, hands
/// signals on, and ends as it does.
///
/// @param writable  a file or folder that can be written to all the same; empty: none
/// @param rights    kNone: root may do no more than any owner of files; kOfRoot: it may mount and change its
///                  root folder
/// @return          false where that is not to be had; the process is an ordinary user's then, and has said
///                  so. It ends with status 1 instead when CI is "true", or when it cannot cease to be
///                  root's.
bool confine(const std::string& writable = "", Rights rights = Rights::kNone);

}  // namespace testing_support
