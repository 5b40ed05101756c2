#pragma once

namespace zipper {

class ArchiveFile;

/// Adds the 64-bit end record to an archive of more than 65,535 entries when the zip library has not written
/// one: old versions do so only for large archives, and most readers take the result for damaged. Other
/// archives are not changed.
/// @param archive  the archive's file, positioned at its end, and so again afterwards
/// @return false when the archive could not be read or written, or there is no memory for that.
bool completeEndRecord(ArchiveFile& archive);

}  // namespace zipper
