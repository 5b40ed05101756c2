#pragma once

#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

namespace quelmar {

/// The endpoint agent's five log folders, in collection order: full paths, whether they exist or not.
std::vector<std::string> getOkvuLogPath();

/// Adds up the sizes of the files in the tree under `dir` whose extension is in the list (empty: of all
/// files).
/// @param ec  set to the status error, if any, when `dir` is not a directory; else left as it is
/// @return bytes; 0 for an empty path and when `dir` is not a directory.
std::uint64_t getDirTotalSize(const std::string& dir, const std::vector<std::string>& extensions,
                              std::error_code& ec);

/// Tells whether the endpoint agent's logs are to be collected: all of them when their counted sizes add up
/// to at most 200 MiB, else none. Logs the decision with the size in whole MiB.
bool checkIsCollectOkvuLog(const std::vector<std::string>& extensions);

}  // namespace quelmar
