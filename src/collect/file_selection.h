#pragma once

#include <functional>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/ptime.hpp>

namespace quelmar::logutils {

/// Answers, for a file path, whether to copy the file.
using FileFilter = std::function<bool(const std::string&)>;

/// The extensions of the files that a run collects: lower-case, with leading dot; the empty one stands for
/// files without extension. docs/archive-layout.md lists them too (a test compares).
std::vector<std::string> collectedExtensions();

/// Tells whether the file's extension, lower-cased, is in the list. The extension is the end of the name from
/// its last dot on; a name without a dot has an empty one. Logs nothing.
/// @param extensions  lower-case extensions with leading dot; the empty string stands for "no extension".
bool isAcceptViaExtName(const std::string& filePath, const std::vector<std::string>& extensions);

/// Tells whether a file is a key log: a crash report of the last 30 days, a log of the last 30 days and at
/// most 2 MiB, or any packet capture. A file whose time cannot be read counts as recent; a log whose size
/// cannot be read is not a key log (logged).
/// @param referenceTime  the local wall-clock time. It is compared with modification times in UTC, and a file
///                       newer than it is not a key log: both kept on purpose.
bool isKeyLog(const std::string& filePath, const boost::posix_time::ptime& referenceTime);

/// The filter of the running-log collection: accepts by extension and, in only-key mode, by isKeyLog too.
/// Logs each file that it rejects. Parameters as for these two.
FileFilter copyFilter(std::vector<std::string> extensions, const boost::posix_time::ptime& referenceTime);

/// The filter for system crash reports: a ".ips" or ".crash" file directly inside a folder
/// "DiagnosticReports". Logs each decision.
FileFilter diagnosticReportFilter();

}  // namespace quelmar::logutils
