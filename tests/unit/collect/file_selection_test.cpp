#include "collect/file_selection.h"

#include <ctime>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include "support/log_capture.h"

using namespace quelmar;
using namespace quelmar::logutils;
using namespace testing_support;

TEST(IsAcceptViaExtName, TakesTheLastSuffixInLowerCase) {
  const std::vector<std::string> list = {".log", ".gz", ""};
  const struct {
    const char* path;
    bool accepted;
  } cases[] = {{"/a/APP.LOG", true},  {"/a/a.tar.gz", true}, {"/a/README", true},  {"/a.log/notes", true},
               {"/a/.hidden", false}, {"/a/.log", true},     {"/a/x.log.", false}, {"/a/x.logs", false},
               {"/a/x.tar", false},   {"/a/x.log\n", false}, {"/a/\xff.LoG", true}};
  for (const auto& one : cases) EXPECT_EQ(isAcceptViaExtName(one.path, list), one.accepted) << one.path;
  EXPECT_FALSE(isAcceptViaExtName("/a/README", {".log"}));
}

TEST(IsKeyLog, JudgesByKindSizeAndAge) {
  const LogCapture log;
  const TempDir dir;
  constexpr std::time_t kNow = 1'700'000'000;
  const auto reference = boost::posix_time::from_time_t(kNow);
  const struct {
    const char* name;
    std::uintmax_t size;
    std::time_t age;
    bool isKey;
  } cases[] = {
      {"a.log", 2097152, 864000, true},     {"b.log", 2097153, 864000, false}, {"c.BACK", 0, 2592000, true},
      {"d.xlog", 0, 2592001, false},        {"e.crash", 1, 2592000, true},     {"f.crash", 1, 2592001, false},
      {"g.ips", 9999999, 0, true},          {"h.dmp", 1, -1, false},           {"i.log", 1, -1, false},
      {"j.pcap", 9999999, 9999999, true},   {"k.json", 1, 0, false},           {"noextension", 1, 0, false},
      {"l.dmp", 1, -500'000'000'000, false}};
  for (const auto& one : cases) {
    const fs::path path = writeFile(dir / one.name, "");
    fs::resize_file(path, one.size);
    fs::last_write_time(path, kNow - one.age);
    EXPECT_EQ(isKeyLog(path.string(), reference), one.isKey) << one.name;
  }
  EXPECT_EQ(log.text(), "");
  EXPECT_TRUE(isKeyLog((dir / "missing.dmp").string(), reference));
  EXPECT_FALSE(isKeyLog((dir / "missing.log").string(), reference));
  EXPECT_EQ(log.text(), "[warning] [LogCollectionTool:isKeyLog] Get the filePath(" +
                            (dir / "missing.log").string() +
                            ") file_size return failed; Reason: err code=2, msg=No such file or directory\n");
}

TEST(DiagnosticReportFilter, TakesReportsDirectlyInTheirFolder) {
  const LogCapture log;
  const FileFilter filter = diagnosticReportFilter();
  const struct {
    const char* path;
    bool accepted;
  } cases[] = {{"/L/DiagnosticReports/a.ips", true},      {"/L/DiagnosticReports/a.b.crash", true},
               {"/L/DiagnosticReports/sub/a.ips", false}, {"/L/DiagnosticReports/a.IPS", false},
               {"/L/DiagnosticReports/.ips", false},      {"/L/DiagnosticReports/a.ips.txt", false},
               {"/L/MyDiagnosticReports/a.ips", true},    {"/L/diagnosticReports/a.ips", false}};
  for (const auto& one : cases) {
    EXPECT_EQ(filter(one.path), one.accepted) << one.path;
  }
}
