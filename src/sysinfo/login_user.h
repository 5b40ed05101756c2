#pragma once

#include <optional>
#include <string>

namespace quelmar::process {

/// The user who is logged in at the console, from getCurrentLoginUser; empty when there is none, or the login
/// service has not answered within five seconds. Asked once in a run, by the first caller, on a thread of its
/// own; other callers wait for that. Thread-safe.
const std::optional<std::string>& loginUser();

}  // namespace quelmar::process
