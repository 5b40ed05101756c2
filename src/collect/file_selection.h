#pragma once

#include <functional>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/ptime.hpp>

namespace quelmar::logutils {

/// Answers, for a file path, whether to copy the file.
using FileFilter = std::function<bool(const std::string&)>;

/// Tells whether the file's extension, lower-cased, is in the list. The extension runs from the last dot of
/// the name to its end and is empty when the name has no dot. Logs nothing.
/// @param extensions  lower-case extensions with leading dot; the empty string stands for "no extension".
bool isAcceptViaExtName(const std::string& filePath, const std::vector<std::string>& extensions);

/// Tells whether a file is a key log: crash reports of the last 30 days, logs of the last 30 days up to 2
/// MiB, and captures. A crash report whose time cannot be read is one; a log whose size cannot be read is
/// not (logged).
/// @param referenceTime  local wall-clock time. Modification times are taken as UTC all the same, and a file
///                       newer than the reference is no key log: both kept on purpose.
bool isKeyLog(const std::string& filePath, const boost::posix_time::ptime& referenceTime);

/// The filter of the running-log collection: by extension and, in only-key mode, by isKeyLog as well. Logs
/// each file that it refuses.
FileFilter copyFilter(std::vector<std::string> extensions, const boost::posix_time::ptime& referenceTime);

/// The filter for system crash reports: a ".ips" or ".crash" file directly inside a folder
/// "DiagnosticReports". Logs each decision.
FileFilter diagnosticReportFilter();

}  // namespace quelmar::logutils
