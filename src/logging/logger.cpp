#include "logging/logger.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <mutex>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"
#include "base/limits.h"
#include "base/threads.h"
#include "platform/command.h"
#include "platform/users.h"

namespace quelmar {
namespace {

constexpr std::size_t kInlineMessageBytes = 500;
constexpr std::size_t kLongLineBytes = 2048;
constexpr std::size_t kCutLineBytes = 2045;
constexpr std::int64_t kRunReserveBytes = 8 * 1024 * 1024;  // more than the records of a run take
constexpr std::chrono::seconds kOutputLimit{1};
constexpr const char* kLinePattern = "[%Y-%m-%d %H:%M:%S.%e] [%l] [%t] %v";

bool isLog(const struct stat& info) {
  return S_ISREG(info.st_mode) && info.st_nlink == 1;
}

/// Opens a log for reading and appending. A missing one is made, with mode 0666 when root makes it. Anything else than
/// a regular file with a single link is removed before, except a folder.
/// @param ec    cleared, then set when it cannot be opened
/// @param made  when not null: set to true when this call has made the file
Descriptor openLog(const std::string& path, std::error_code& ec, bool* made = nullptr) {
  constexpr int kFlags = O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const Place place = locate(path, Links::kOwn, ec);
  if (ec) return Descriptor();
  const int folder = place.folder.get();
  const char* const name = place.name.c_str();
  Descriptor file = makeFile(folder, name, kFlags, 0666, Overwrite::kNo, ec);
  if (ec == std::errc::file_exists) {
    struct stat info {};
    ec = lookUp(folder, name, info);
    if (ec) return file;
    if (isLog(info)) {  // else not opened: that has an effect on a pipe or a device
      file = Descriptor(openat(folder, name, kFlags));
      if (!file) ec = lastError();
      if (!file || (fstat(file.get(), &info) == 0 && isLog(info))) return file;
    }
    file = makeFile(folder, name, kFlags, 0666, Overwrite::kYes, ec);
  }
  if (file && geteuid() == 0) fchmod(file.get(), 0666);  // whatever the umask is: other users log here too
  if (file && made != nullptr) *made = true;
  return file;
}

/// The log's file. Each record is appended with one call, so that two runs may share the file.
class FileSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  /// @param cap  the size at which the file is put away, and a new one begun
  FileSink(std::string path, Descriptor file, std::int64_t cap)
      : path_(std::move(path)), file_(std::move(file)), cap_(cap) {}

  [[nodiscard]] int descriptor() const { return file_.get(); }

  /// Puts the file away when `bytes` more would exceed the cap. When that fails, the file has no cap any more.
  std::error_code makeRoom(std::int64_t bytes) {
    struct stat info {};
    if (fstat(file_.get(), &info) != 0 || info.st_size <= cap_ - bytes) return {};
    const std::error_code ec = rotate();
    if (ec) cap_ = INT64_MAX;
    return ec;
  }

 private:
  void sink_it_(const spdlog::details::log_msg& record) override {
    spdlog::memory_buf_t text;
    formatter_->format(record, text);
    makeRoom(static_cast<std::int64_t>(text.size()));
    if (!writeAll(file_.get(), text.data(), text.size())) throw spdlog::spdlog_ex("log file cannot be written", errno);
  }

  void flush_() override {}

  std::error_code rotate() {
    std::error_code ec;
    const Place place = locate(path_, Links::kOwn, ec);
    if (ec) return ec;
    const fs::path name(place.name);
    const std::string kept = name.stem().string() + ".1" + name.extension().string();
    const int folder = place.folder.get();
    struct stat named {
    }, open{};
    // Another run may have put the file away already.
    const bool isThere = !lookUp(folder, name.c_str(), named) && fstat(file_.get(), &open) == 0 && isSame(named, open);
    if (isThere && renameat(folder, name.c_str(), folder, kept.c_str()) != 0) return lastError();
    const Descriptor fresh = openLog(path_, ec);
    // The descriptor's number stays, since others know it.
    if (!ec && dup2(fresh.get(), file_.get()) < 0) ec = lastError();
    fcntl(file_.get(), F_SETFD, FD_CLOEXEC);
    return ec;
  }

  const std::string path_;
  const Descriptor file_;
  std::int64_t cap_;
};

/// Tells, until `deadline` at most, whether a write of PIPE_BUF bytes would not block.
bool canTake(int descriptor, std::chrono::steady_clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
  timeval limit{0, static_cast<suseconds_t>(std::clamp<std::int64_t>(left.count(), 0, 999'999))};
  fd_set descriptors;
  FD_ZERO(&descriptors);
  FD_SET(descriptor, &descriptors);
  // Not poll: on some hosts it does not work on terminals.
  return select(descriptor + 1, nullptr, &descriptors, nullptr, &limit) == 1;
}

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

/// As initLogName, with a name that is not empty.
bool setUp(const std::string& name) try {
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
  return true;
} catch (...) {
  return false;
}

}  // namespace

void tell(int descriptor, std::string_view text) {
  static std::atomic<bool> isStuck[STDERR_FILENO + 1];
  const auto now = std::chrono::steady_clock::now();
  const auto deadline = isStuck[descriptor] ? now : now + kOutputLimit;
  while (!text.empty()) {
    const bool isReady = canTake(descriptor, deadline);
    const ssize_t put = isReady ? write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF)) : -1;
    if (put <= 0) {
      isStuck[descriptor] = true;
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(put));
  }
}

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    shown += value < 0x20 || value == 0x7f ? fmt::format("\\x{:02x}", value) : std::string(1, byte);
  }
  return shown;
}

void reportLoggerFailure(const char* function, int line) noexcept try {
  // The misspelt words are kept on purpose: support staff search for them.
  try {
    throw;
  } catch (const std::exception& failure) {
    const bool isSinks = dynamic_cast<const spdlog::spdlog_ex*>(&failure) != nullptr;
    tell(STDERR_FILENO, fmt::format("{}[{}:{}:{}]: {}\n", isSinks ? "sdplog exception" : "", kFileTag, function, line,
                                    printable(failure.what())));
  } catch (...) {
    tell(STDERR_FILENO, "Unknown excepiton When logger\n");
  }
} catch (...) {  // NOLINT(bugprone-empty-catch): no memory for the text
}

Logger& Logger::GetInstance() {
  static auto* const kInstance = new Logger;
  return *kInstance;
}

void Logger::setOptions(LoggerOptions& options) {
  options_ = options;
  std::error_code ec;
  Descriptor file = openLog(options_.logFile, ec);
  if (ec) {
    LOG_CALL(kErr, "log file {} cannot be opened: {}", options_.logFile, ec.message());
    throw std::system_error(ec);
  }
  auto sink = std::make_shared<FileSink>(options_.logFile, std::move(file), options_.maxFileBytes);
  const std::error_code notRotated = sink->makeRoom(kRunReserveBytes);
  descriptor_ = sink->descriptor();
  // This class applies the minimum level; spdlog's logger filters nothing.
  auto logger = std::make_shared<spdlog::logger>(kFileTag, std::move(sink));
  logger->set_level(spdlog::level::trace);
  logger->set_pattern(kLinePattern);
  logger->set_error_handler([](const std::string& text) {
    static std::atomic<bool> wasTold{false};  // the next record would fail in the same way
    if (!wasTold.exchange(true)) tell(STDERR_FILENO, "[*** LOG ERROR ***] " + printable(text) + "\n");
  });

  boost::system::error_code ignored;
  const bool debug = fs::exists(options_.debugSwitch, ignored);
  minimumLevel_ = debug ? static_cast<int>(kDebug) : options_.level;
  std::atomic_store(&sink_, std::move(logger));
  if (notRotated) {
    LOG_CALL(kWarn, "log {} not rotated.; Reason: code:{} msg:{}", options_.logFile, notRotated.value(),
             notRotated.message());
  }
}

std::string Logger::GetFmt(const char* file, const char* function, int line, fmt::string_view message) {
  std::string text = fmt::format("[{}:{}:{}] ", file, function, line);
  return text.append(message.data(), message.size());
}

void Logger::flush() {
  if (const auto sink = std::atomic_load(&sink_)) sink->flush();
}

void Logger::write(int level, const char* file, const char* function, int line, const Context& context,
                   fmt::string_view format, fmt::format_args args) {
  const auto sink = std::atomic_load(&sink_);
  if (sink != nullptr && level < minimumLevel_) return;

  std::string text;
  {
    // In its own scope: a dump takes megabytes, which are freed before the sink allocates as much.
    fmt::basic_memory_buffer<char, kInlineMessageBytes> message;
    fmt::vformat_to(fmt::appender(message), format, args);
    const std::string_view all(message.data(), message.size());
    text = level == kDump ? std::string(all) : printable(all);
  }
  if (sink == nullptr) return tell(STDERR_FILENO, "log isn't inited." + text + "\n");
  text = GetFmt(file, function, line, text);
  if (context) text += context();
  if (level == kInfo && text.size() > kLongLineBytes && minimumLevel_ > kDebug) {
    text.resize(kCutLineBytes);
    text += "...";
  }
  const int written = level > kOff ? static_cast<int>(kInfo) : level;
  sink->log(static_cast<spdlog::level::level_enum>(written), spdlog::string_view_t(text));
}

bool initLogName(const std::string& name) {
  if (name.empty()) {
    LOG_CALL(kErr, "{}{}", "name.empty()", "");
    return false;
  }
  const auto fail = [] {
    tell(STDERR_FILENO, "exception in init log\n");
    return false;
  };
  try {
    const auto isSetUp = std::make_shared<std::atomic<bool>>(false);
    const auto work = [name, isSetUp] { *isSetUp = setUp(name); };
    // The log may be in a home on a server that does not answer.
    runWhileMoving(2 * kLimits.openOwnLog, work, [](const char*) {});
    return *isSetUp || fail();
  } catch (...) {  // no memory to wait with
    return fail();
  }
}

}  // namespace quelmar
