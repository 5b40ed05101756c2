#include "logging/logger.h"

#include <cstdio>
#include <iterator>
#include <limits>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/stat.h>

#include "base/directories.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

using Sink = spdlog::sinks::rotating_file_sink_mt;

constexpr std::size_t kInlineMessageBytes = 500;
constexpr std::size_t kLongLineBytes = 2048;
constexpr std::size_t kCutLineBytes = 2045;
constexpr std::uintmax_t kRunReserveBytes = 8 * 1024 * 1024;  // more than the records of a run take
constexpr const char* kLinePattern = "[%Y-%m-%d %H:%M:%S.%e] [%l] [%t] %v";

/// Rotates a log that is nearly full, so that it is not rotated in the middle of the run.
/// @return the error that makes rotating this log impossible, now or later
std::error_code rotateEarly(const std::string& file, std::uintmax_t cap) {
  const std::string kept = Sink::calc_filename(file, 1);
  std::error_code ec = utilities::removeUnexpected(kept);
  struct stat info {};
  if (ec || utilities::lookUp(AT_FDCWD, file.c_str(), utilities::Links::kNone, info)) return ec;
  if (static_cast<std::uintmax_t>(info.st_size) + kRunReserveBytes <= cap) return {};
  if (std::rename(file.c_str(), kept.c_str()) != 0) ec = utilities::lastError();
  return ec;
}

}  // namespace

std::error_code claimLog(const std::string& file) {
  const fs::path folder = fs::path(file).parent_path();
  std::error_code ec;
  if (!folder.empty() && !utilities::ensureDirectoryExist(folder.string(), ec)) return ec;
  return utilities::removeUnexpected(file);
}

Logger& Logger::GetInstance() {
  static auto* const kInstance = new Logger;
  return *kInstance;
}

void Logger::setOptions(LoggerOptions& options) {
  options_ = options;
  if (const std::error_code ec = claimLog(options_.logFile)) {
    throw spdlog::spdlog_ex("log file " + options_.logFile + " cannot be had: " + ec.message());
  }
  auto cap = static_cast<std::size_t>(options_.maxFileBytes);
  const std::error_code notRotated = rotateEarly(options_.logFile, cap);
  // The sink would truncate a log that it cannot rotate.
  if (notRotated) cap = std::numeric_limits<std::size_t>::max();
  spdlog::file_event_handlers handlers;
  handlers.after_open = [](const spdlog::filename_t& /*name*/, std::FILE* file) {
    fcntl(fileno(file), F_SETFD, FD_CLOEXEC);  // not inherited by commands
  };
  auto sink = std::make_shared<Sink>(options_.logFile, cap, static_cast<std::size_t>(options_.firstCount),
                                     false, handlers);
  // This class applies the minimum level; spdlog's logger filters nothing.
  auto logger = std::make_shared<spdlog::logger>("LogCollectionTool", std::move(sink));
  logger->set_level(spdlog::level::trace);
  logger->flush_on(spdlog::level::warn);
  logger->set_pattern(kLinePattern);

  boost::system::error_code ec;
  const bool debug = fs::exists(options_.debugSwitch, ec);
  minimumLevel_ = debug ? static_cast<int>(kDebug) : options_.level;
  sinks_.push_back(logger);
  sink_ = logger.get();
  if (notRotated) {
    LOG_CALL(kWarn, "log {} not rotated.; Reason: code:{} msg:{}", options_.logFile, notRotated.value(),
             notRotated.message());
  }
}

std::string Logger::GetFmt(const char* file, const char* function, int line, fmt::string_view message) {
  std::string text;
  text.reserve(message.size() + 64);
  fmt::format_to(std::back_inserter(text), "[{}:{}:{}] ", file, function, line);
  return text.append(message.data(), message.size());
}

void Logger::flush() {
  if (spdlog::logger* sink = sink_) sink->flush();
}

void Logger::write(int level, const char* file, const char* function, int line, const Context& context,
                   fmt::string_view format, fmt::format_args args) {
  spdlog::logger* const sink = sink_;
  if (sink != nullptr && level < minimumLevel_) return;

  std::string text;
  {
    // In its own scope: a dump takes megabytes, which are freed before the sink allocates as much.
    fmt::basic_memory_buffer<char, kInlineMessageBytes> message;
    fmt::vformat_to(fmt::appender(message), format, args);
    if (sink == nullptr) {
      text = "log isn't inited." + fmt::to_string(message) + "\n";
      std::fwrite(text.data(), 1, text.size(), stderr);
      return;
    }
    text = GetFmt(file, function, line, {message.data(), message.size()});
  }
  if (context) text += context();
  if (level == kInfo && text.size() > kLongLineBytes && minimumLevel_ > kDebug) {
    text.resize(kCutLineBytes);
    text += "...";
  }
  const int written = level > kOff ? static_cast<int>(kInfo) : level;
  sink->log(static_cast<spdlog::level::level_enum>(written), spdlog::string_view_t(text));
}

}  // namespace quelmar
