#pragma once

#include <chrono>
#include <functional>

namespace quelmar::utilities {

/// Runs `work` on a thread of its own and waits for it, on the steady clock, at most `limit`. Work that
/// takes longer goes on alone, detached, so it must own or share whatever it touches; an exception out of
/// it is dropped.
/// @return true when the work ended in time; false on a time-out or when no thread could be started.
bool runWithin(std::chrono::seconds limit, std::function<void()> work);

}  // namespace quelmar::utilities
