#pragma once

#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

namespace quelmar {

/// The endpoint agent's five log folders, in collection order, whether they exist or not.
std::vector<std::string> getOkvuLogPath();

/// The counted size of one folder: of the files whose extension is in the list.
/// @param ec  set to the status error, if any, when no directory stands at `dir`.
/// @return bytes; 0 for an empty path and when no directory stands there.
std::uint64_t getDirTotalSize(const std::string& dir, const std::vector<std::string>& extensions,
                              std::error_code& ec);

/// Tells whether the endpoint agent's logs are to be collected: all of them when their counted sizes add up
/// to at most 200 MiB, else none. Logs the decision with the size in whole MiB.
bool checkIsCollectOkvuLog(const std::vector<std::string>& extensions);

}  // namespace quelmar
