#include "sysinfo/login_user.h"

#include <memory>

#include "base/bounded_call.h"
#include "base/limits.h"
#include "platform/console_user.h"

namespace quelmar::process {
namespace {

std::optional<std::string> ask() {
  const auto answer =
      std::make_shared<std::optional<std::string>>();  // it may come when nobody waits any more
  const bool inTime = utilities::runWithin(kLimits.loginService, [answer] {
    std::string user;
    if (getCurrentLoginUser(user)) *answer = user;
  });
  return inTime ? *answer : std::nullopt;
}

}  // namespace

const std::optional<std::string>& loginUser() {
  // Never destroyed: a thread may still ask while the process ends.
  static const auto* const kUser = new std::optional<std::string>(ask());
  return *kUser;
}

}  // namespace quelmar::process
