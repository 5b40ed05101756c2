#include "logging/log_setup.h"

#include <atomic>
#include <memory>
#include <system_error>

#include <unistd.h>

#include "base/directories.h"
#include "base/limits.h"
#include "base/threads.h"
#include "logging/logger.h"
#include "platform/command.h"
#include "platform/users.h"

namespace quelmar {
namespace {

std::string getAppdataPath() {
  tell(STDOUT_FILENO, fmt::format("name:{} uid:{}\n", userName(geteuid()), geteuid()));
  const std::string folder = applicationDataFolder();
  std::error_code ec;
  makeFolder(folder, Links::kOwn, ec);
  if (ec) {
    tell(STDERR_FILENO,
         printable(fmt::format("getAppdataPath fail {}error:{}msg:{}", folder, ec.value(), ec.message())) + "\n");
    LOG_CALL(kErr, "{}; Reason: error: {}, msg: {}", "get app logZipRootDir fail", ec.value(), ec.message());
  }
  return folder;
}

/// Lets all users write to the log. Not by a path that others can exchange: a link there would name another file.
void changeAllUsersRW(const std::string& path) {
  int status = -1;
  whileFixed(path, [&] { status = platform::runCommand(kLimits.openOwnLog, "chmod -R 666 \"" + path + "\""); });
  if (status != 0) tell(STDOUT_FILENO, "changeAllUsersRW:" + path + " fail\n");
}

void setUp(const std::string& name) {
  const std::string fileName = name.find(".log") != std::string::npos ? name : name + ".log";
  const fs::path folder = fs::path(getAppdataPath()) / "logs";
  tell(STDOUT_FILENO, "log dir:" + folder.string() + " log name:" + fileName + "\n");

  std::error_code ec, ignored;
  Descriptor open = makeFolder(folder.string(), Links::kOwn, ignored, Access::kAll);
  if (open) hold(folder.string(), std::move(open));  // nobody can exchange it then
  LoggerOptions options;
  options.logFile = (folder / fileName).string();
  bool made = false;
  openLog(options.logFile, ignored, &made);
  if (made && geteuid() == 0) changeAllUsersRW(options.logFile);

  const std::string shared = utilities::macos::getSharedDataPath(ec);
  if (ec) tell(STDERR_FILENO, fmt::format("getSharedDataPath fail,error:{}msg:{}\n", ec.value(), ec.message()));
  options.debugSwitch = (fs::path(shared) / "debug").string();
  tell(STDOUT_FILENO, "log debug file path:" + options.debugSwitch + "\n");
  Logger::GetInstancePtr()->setOptions(options);
}

}  // namespace

bool initLogName(const std::string& name) {
  if (name.empty()) {
    LOG_CALL(kErr, "{}{}", "name.empty()", "");
    return false;
  }
  const auto failed = std::make_shared<std::atomic<bool>>(false);
  bool ended = false;
  try {
    // The log may be in a home on a server that does not answer.
    ended = runWhileMoving(
        2 * kLimits.openOwnLog, [name] { setUp(name); }, [failed](const char*) { *failed = true; });
  } catch (...) {
    *failed = true;
  }
  if (ended && !*failed) return true;
  tell(STDERR_FILENO, "exception in init log\n");
  return false;
}

}  // namespace quelmar
