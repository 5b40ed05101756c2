#pragma once

#include <string>
#include <vector>

namespace quelmar {

/// Packs files and directories into the zip archive at `zipPath`, deflated at level 9: single files under
/// their bare names, directories as trees under theirs. An archive that exists there is added to; a link or
/// special file there is replaced. The archive is written as `zipPath` + ".incomplete" and renamed when it is
/// complete.
///
/// The first failure ends the packing and is logged. The archive then has what was packed before; when that
/// is nothing, or the archive could not be written, the ".incomplete" file stays. What cannot be read is
/// logged as well, except added paths that are missing, and entries that are not regular files.
/// @param copies  a folder of the tool's own: each file below it is removed as soon as it is in the archive
/// @return always 0.
int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath,
                 const std::string& copies = "");

}  // namespace quelmar
