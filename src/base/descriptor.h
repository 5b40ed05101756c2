#pragma once

#include <cerrno>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace quelmar::utilities {

/// errno as an error code.
inline std::error_code lastError() {
  return {errno, std::generic_category()};
}

/// Owns a file descriptor and closes it; holds -1 when there is none. Not thread-safe.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  [[nodiscard]] int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  /// Hands the descriptor to the caller, who closes it.
  int release() noexcept { return std::exchange(fd_, -1); }
  /// Closes now, since some file systems report write errors only then. @return false with errno set.
  bool closeNow() { return close(release()) == 0; }

 private:
  int fd_;
};

}  // namespace quelmar::utilities
