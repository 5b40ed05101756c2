#include "platform/console_user.h"

#include <vector>

#include <pwd.h>
#include <systemd/sd-login.h>

namespace quelmar::process {

bool getCurrentLoginUser(std::string& user) {
  user.clear();
  uid_t uid = 0;
  if (sd_seat_get_active("seat0", nullptr, &uid) < 0) return false;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return false;
  user = entry.pw_name;
  return true;
}

}  // namespace quelmar::process
