#pragma once

namespace zipper {

class ArchiveFile;

/// Gives a finished archive of more than 65,535 entries the 64-bit end record that such a number needs,
/// unless the zip library has written it: older ones do so for the archive's size only, and what they leave
/// is taken for damaged by most readers. Other archives stay as they are.
/// @param archive  the archive's file, positioned behind the archive's last byte, and so again afterwards
/// @return false when the archive could not be read or written.
bool completeEndRecord(ArchiveFile& archive);

}  // namespace zipper
