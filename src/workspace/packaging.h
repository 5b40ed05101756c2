#pragma once

#include <string>
#include <vector>

namespace quelmar {

/// Packs files and directories into the zip archive at `zipPath`, deflated at level 9: single files under
/// their bare names, directories as trees under theirs. An archive that exists there is added to; a link or
/// special file there is replaced. The first failure ends the packing and is logged. What it leaves is an
/// archive of the entries so far when that can be read back whole; otherwise the remains are renamed to
/// `zipPath` + ".incomplete".
/// @return always 0.
int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath);

}  // namespace quelmar
