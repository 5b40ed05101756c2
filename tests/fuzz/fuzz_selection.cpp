// The selection rules over any path, age and size: only the last name counts, in any case of its letters, and
// the filter for key logs takes what both rules take.
#include <algorithm>

#include <boost/date_time/posix_time/conversion.hpp>

#include "base/shared_inst.h"
#include "collect/file_selection.h"
#include "fuzzing.h"

using namespace quelmar::logutils;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::time_t kNow = 1'800'000'000;
  static const std::vector<std::string> extensions = {".log", ".json", ".back", ".dmp", ".ips", ".pcap", ""};
  static const auto reference = boost::posix_time::from_time_t(kNow);
  static const FileFilter filter = copyFilter(extensions, reference);
  static const FileFilter reports = diagnosticReportFilter();
  static const fuzzing::fs::path folder = fuzzing::freshFolder("selection");

  fuzzing::Input input(data, size);
  const std::time_t age = (static_cast<std::time_t>(input.byte()) - 9) * 43'200;
  const std::uintmax_t bytes = input.byte() * std::uintmax_t{16'384};
  const std::string extension = extensions[input.below(extensions.size())];
  const std::string name = input.name() + extension;
  const std::string path = (folder / name).string();
  fuzzing::writeFile(path, "");
  fuzzing::fs::resize_file(path, bytes);
  fuzzing::fs::last_write_time(path, kNow - age);

  const bool listed = isAcceptViaExtName(path, extensions);
  fuzzing::require(listed || extension.empty(), "a listed extension is taken");
  fuzzing::require(listed == isAcceptViaExtName("/else/where.exe/" + name, extensions),
                   "folders do not count");
  std::string upper = name;
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  fuzzing::require(listed == isAcceptViaExtName(upper, extensions), "neither does the case of letters");
  fuzzing::require(!reports(path) && reports("/DiagnosticReports/" + name) >= (extension == ".ips"),
                   "reports are taken from their folder only");

  const bool key = isKeyLog(path, reference);
  fuzzing::require(!key || extension == ".pcap" || extension.empty() || (age >= 0 && age <= 2'592'000),
                   "what is too old or not yet written is no key log");
  for (const bool onlyKey : {false, true}) {
    quelmar::SharedInst::inst() = onlyKey;
    fuzzing::require(filter(path) == (listed && (!onlyKey || key)), "the filter is both rules");
  }
  fuzzing::fs::remove(path);
  fuzzing::require(isKeyLog(path, reference) <= (extension != ".log" && extension != ".back"),
                   "a log that is gone is no key log");
  return 0;
}
