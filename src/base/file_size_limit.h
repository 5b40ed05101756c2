#pragma once

#include <cstdint>

namespace quelmar::utilities {

/// Limits the size of any file that this process, or a command that it starts from now on, writes to. A
/// command that prints for ever ends when its report has reached the limit; in this process such a write is
/// an error and no signal. A tighter limit that the process was started with stays.
/// @param bytes  the size that no file may exceed.
void limitFileSize(std::uint64_t bytes);

/// Takes the limit off this process again when a file of `bytes` would not fit under it. Commands that are
/// running keep it.
void liftFileSizeLimitFor(std::uint64_t bytes);

}  // namespace quelmar::utilities
