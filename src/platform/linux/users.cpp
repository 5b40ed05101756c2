#include "platform/users.h"

#include <cstdlib>

#include <systemd/sd-login.h>
#include <unistd.h>

namespace quelmar {

const uid_t platform::kFirstPerson = 1000;

bool process::getCurrentLoginUser(std::string& user) {
  uid_t uid = 0;
  user = sd_seat_get_active("seat0", nullptr, &uid) < 0 ? "" : userName(uid);
  return !user.empty();
}

std::string platform::userApplicationSupport() {
  // By the XDG base directory convention a relative value is ignored.
  const char* const dataHome = std::getenv("XDG_DATA_HOME");
  if (dataHome != nullptr && dataHome[0] == '/') return dataHome;
  const char* const given = std::getenv("HOME");
  const std::string home = given != nullptr && given[0] == '/' ? given : homeFolder(geteuid());
  return home.empty() ? "" : home + "/.local/share";
}

std::string platform::machineApplicationSupport() {
  return {};
}

}  // namespace quelmar
