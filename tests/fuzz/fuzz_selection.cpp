// The selection rules over any path, age and size, against a second reading of the same rules.
#include <algorithm>
#include <array>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/shared_inst.h"
#include "collect/file_selection.h"
#include "fuzzing.h"

namespace {

namespace fs = boost::filesystem;

const std::vector<std::string> kExtensions = {".log", ".txt",     ".json", ".back",  ".xlog",
                                              ".db",  ".sqlite3", ".crc",  ".mmap3", ".dmp",
                                              ".ips", ".crash",   ".pcap", ""};
constexpr long kReference = 1'800'000'000;
constexpr std::array<long, 8> kAges = {0, 1, 2'591'999, 2'592'000, 2'592'001, -1, 99'999'999, -99'999'999};
constexpr std::array<long, 5> kSizes = {0, 1, 2'097'151, 2'097'152, 2'097'153};

std::string extensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || name == "." || name == "..") return "";
  std::string extension = name.substr(dot);
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return extension;
}

bool isReport(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = "DiagnosticReports";
  if (slash == std::string::npos || slash < folder.size()) return false;
  if (path.compare(slash - folder.size(), folder.size(), folder) != 0) return false;
  const std::string name = path.substr(slash + 1);
  for (const std::string ending : {".ips", ".crash"}) {
    if (name.size() > ending.size() &&
        name.compare(name.size() - ending.size(), ending.size(), ending) == 0) {
      return true;
    }
  }
  return false;
}

bool isKey(const std::string& extension, bool exists, long size, long age) {
  const bool recent = !exists || (age >= 0 && age <= 2'592'000);
  if (extension == ".dmp" || extension == ".crash" || extension == ".ips") return recent;
  if (extension == ".log" || extension == ".back" || extension == ".xlog") {
    return exists && size <= 2'097'152 && recent;
  }
  return extension == ".pcap";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path folder = fuzzing::workshop().fresh("selection");
  static const boost::posix_time::ptime reference =
      boost::posix_time::ptime(boost::gregorian::date(1970, 1, 1)) + boost::posix_time::seconds(kReference);
  static const quelmar::logutils::FileFilter filter = quelmar::logutils::copyFilter(kExtensions, reference);
  static const quelmar::logutils::FileFilter reports = quelmar::logutils::diagnosticReportFilter();

  fuzzing::Input input(data, size);
  const bool exists = input.below(2) == 1;
  quelmar::SharedInst::inst() = input.below(2) == 1;
  const long age = kAges[input.below(kAges.size())];
  const long bytes = kSizes[input.below(kSizes.size())];
  const unsigned chosen = input.below(2 * static_cast<unsigned>(kExtensions.size()));
  std::string path = exists ? (folder / input.name()).string() : "/folder/" + input.rest();
  std::replace(path.begin(), path.end(), '\0', '\n');  // no path holds one
  if (chosen < kExtensions.size()) path += kExtensions[chosen];

  const std::string extension = extensionOf(path);
  const bool listed = std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
  fuzzing::require(quelmar::logutils::isAcceptViaExtName(path, kExtensions) == listed,
                   "the extension decides");
  fuzzing::require(reports(path) == isReport(path), "reports are .ips and .crash files in their folder");
  // A path that was not made here may name anything; only its name is judged then.
  if (!exists) return 0;
  fuzzing::writeFile(path, "");
  const timespec modified{kReference - age, 0};
  const timespec times[] = {modified, modified};
  fuzzing::require(truncate(path.c_str(), bytes) == 0 && utimensat(AT_FDCWD, path.c_str(), times, 0) == 0,
                   "the file can be made");
  const bool key = isKey(extension, true, bytes, age);
  fuzzing::require(quelmar::logutils::isKeyLog(path, reference) == key, "age, size and kind make a key log");
  fuzzing::require(filter(path) == (listed && (!quelmar::SharedInst::inst() || key)),
                   "the filter is both rules");
  fs::remove(path);
  fuzzing::require(quelmar::logutils::isKeyLog(path, reference) == isKey(extension, false, 0, 0),
                   "a missing file is judged by its kind");
  return 0;
}
