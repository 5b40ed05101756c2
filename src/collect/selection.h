#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include <boost/date_time/posix_time/ptime.hpp>

namespace quelmar::logutils {

/// Answers, for a file path, whether to copy the file.
using FileFilter = std::function<bool(const std::string&)>;

/// The extensions of the files that a run collects. docs/archive-layout.md lists them too (a test compares).
std::vector<std::string> collectedExtensions();

/// Tells whether the file's extension, lower-cased, is among `extensions`, which are lower-case with leading dot. It is
/// the end of the name from the last dot on; a name without a dot has an empty one. Logs nothing.
bool isAcceptViaExtName(const std::string& filePath, const std::vector<std::string>& extensions);

/// Tells whether a file is a key log: a crash report of the last 30 days, a log of the last 30 days and at most 2 MiB,
/// or any packet capture. A file whose time cannot be read is recent; a log whose size cannot be read is none (logged).
/// @param referenceTime  the local wall-clock time. It is compared with modification times in UTC, and a file newer
///                       than it is not a key log: both kept on purpose.
bool isKeyLog(const std::string& filePath, const boost::posix_time::ptime& referenceTime);

/// Accepts by isAcceptViaExtName and, in only-key mode, by isKeyLog too. Logs each file that it rejects.
FileFilter copyFilter(std::vector<std::string> extensions, const boost::posix_time::ptime& referenceTime);

/// Accepts crash reports: ".ips" and ".crash" files directly in a folder "DiagnosticReports". Logs each decision.
FileFilter diagnosticReportFilter();

}  // namespace quelmar::logutils

namespace quelmar {

/// Adds up the sizes, in bytes, of the regular files in the tree under `dir` that isAcceptViaExtName accepts, or of all
/// when `exts` is empty. What cannot be listed is logged, and does not count.
std::uint64_t getDirectorySize(const std::string& dir, const std::vector<std::string>& exts);

/// The endpoint agent's five log folders, in collection order: full paths, whether they exist or not.
std::vector<std::string> getOkvuLogPath();

/// As getDirectorySize; 0 for an empty path and when `dir` is not a directory. @param ec  the error of looking at it
std::uint64_t getDirTotalSize(const std::string& dir, const std::vector<std::string>& extensions, std::error_code& ec);

/// Tells whether the endpoint agent's logs are to be collected: when the sizes that count add up to 200 MiB at most.
/// Logs the decision with the size in whole MiB.
bool checkIsCollectOkvuLog(const std::vector<std::string>& extensions);

}  // namespace quelmar
