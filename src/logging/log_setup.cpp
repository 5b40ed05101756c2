#include "logging/log_setup.h"

#include <iostream>
#include <system_error>

#include <boost/filesystem/path.hpp>
#include <fcntl.h>
#include <unistd.h>

#include "base/directories.h"
#include "base/limits.h"
#include "logging/log_call.h"
#include "platform/command.h"
#include "platform/users.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

std::string getAppdataPath() {
  const std::string folder = applicationDataFolder();
  struct stat entry {};
  std::error_code ec = utilities::lookUp(AT_FDCWD, folder.c_str(), utilities::Links::kOwn, entry);
  if (ec || S_ISLNK(entry.st_mode)) {
    if (!utilities::ensureDirectoryExist(folder, ec)) {
      std::cerr << "getAppdataPath fail " << folder << "error:" << ec.value() << "msg:" << ec.message()
                << std::endl;
      LOG_CALL(kErr, "{}; Reason: error: {}, msg: {}", "get app logZipRootDir fail", ec.value(),
               ec.message());
    }
  }
  return folder;
}

void changeAllUsersRW(const std::string& path) {
  const auto outcome = platform::runCommand(kLimits.openOwnLog, "chmod -R 666 \"" + path + "\"");
  if (!outcome.succeeded) std::cout << "changeAllUsersRW:" << path << " fail" << std::endl;
}

void createLogFile(const std::string& path) {
  const utilities::Descriptor made(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (made && geteuid() == 0) changeAllUsersRW(path);
}

void setUp(const std::string& name) {
  const std::string fileName = name.find(".log") != std::string::npos ? name : name + ".log";
  const fs::path folder = fs::path(getAppdataPath()) / "logs";
  LoggerOptions options;
  std::cout << "log dir:" << folder.string() << " log name:" << fileName << std::endl;

  options.logFile = (folder / fileName).string();
  if (!claimLog(options.logFile)) createLogFile(options.logFile);

  std::string shared;
  std::error_code sharedError;
  utilities::macos::getSharedDataPath(shared, sharedError);
  if (sharedError) {
    std::cerr << "getSharedDataPath fail,error:" << sharedError.value() << "msg:" << sharedError.message()
              << std::endl;
  }
  options.debugSwitch = (fs::path(shared) / "debug").string();
  std::cout << "log debug file path:" << options.debugSwitch << std::endl;
  Logger::GetInstancePtr()->setOptions(options);
}

}  // namespace

bool initLogName(const std::string& name) {
  if (name.empty()) {
    LOG_CALL(kErr, "{}{}", "name.empty()", "");
    return false;
  }
  try {
    setUp(name);
    return true;
  } catch (...) {
    std::cerr << "exception in init log" << std::endl;
    return false;
  }
}

}  // namespace quelmar
