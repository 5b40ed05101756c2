#pragma once

#include <string>

namespace testing_support {

enum class Rights { kNone, kOfRoot };
enum class Nesting { kNo, kYes };

/// Moves the process into namespaces where it cannot harm the machine: all files are read-only, /tmp, /run
/// and /dev are its own, it sees no processes but its children and has no network but a loopback of its own.
/// To be called first in main: the call returns in a child process, while the original process waits for it,
/// passes signals on, and ends with its status.
///
/// @param writable  a file or folder that stays writable; empty for none
/// @param rights    kNone: root has no more rights on files than their owner; kOfRoot: it may mount and
///                  change its root folder
/// @param nesting   kYes: processes that call this inside are confined once more, as if outside; kNo: the
/// call
///                  does nothing there
/// @return          false where that is not possible: the process has then changed to an ordinary user and
///                  said so. When CI is "true", or it cannot change to an ordinary user, it ends with status
///                  1 instead.
bool confine(const std::string& writable = "", Rights rights = Rights::kNone, Nesting nesting = Nesting::kNo);

}  // namespace testing_support
