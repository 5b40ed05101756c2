#pragma once

#include <string>
#include <vector>

namespace quelmar {

/// Packs files and directories into the zip archive at `zipPath`, deflated at level 9: single files under
/// their bare names, directories as trees under theirs. An archive that exists there is added to; a link or
/// special file there is replaced. It is written at `zipPath` + ".incomplete" and has its name when it is
/// whole. The first failure ends the packing and is logged; the archive then holds what came before it,
/// unless that is nothing or cannot be written, for then ".incomplete" stays. What cannot be read on the way
/// is logged, but for paths that are not there and what is no regular file.
/// @param copies  a folder of the tool's own: each file below it is removed when it is in the archive
/// @return always 0.
int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath,
                 const std::string& copies = "");

}  // namespace quelmar
