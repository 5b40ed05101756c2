#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zipper {

/// The number of entries in an archive, as its end record tells; nothing else of it is read.
/// @param path  the archive, a regular file
/// @return nothing when it cannot be opened or has no end record.
std::optional<std::uint64_t> entryCount(const std::string& path);

}  // namespace zipper
