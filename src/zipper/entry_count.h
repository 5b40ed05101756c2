#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zipper {

/// Reads the number of entries from an archive's end record. Nothing else of it is read.
/// @param path  the archive, a regular file
/// @return nothing when it cannot be opened or has no end record.
std::optional<std::uint64_t> entryCount(const std::string& path);

}  // namespace zipper
