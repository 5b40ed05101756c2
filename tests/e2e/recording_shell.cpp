// Stands where a box has /bin/sh: adds to /started what it was handed, then becomes the shell that is at /fakes/sh.
// Fields end with 037, a record with 036; so nothing that a command line may hold breaks it. Reading it: state.py.
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

int main(int, char** argv) {
  std::ostringstream text;
  for (const fs::directory_entry& open : fs::directory_iterator("/proc/self/fd"))
    text << open.path().filename().string() << ' ' << fs::read_symlink(open.path()).string() << '\n';
  for (const char* file : {"/proc/self/status", "/proc/self/limits"}) text << '\037' << std::ifstream(file).rdbuf();
  text << '\037' << fs::read_symlink("/proc/self/cwd").string();
  for (char** word = argv; *word != nullptr; ++word) text << '\037' << *word;
  const std::string record = text.str() + "\036";
  const int file = open("/started", O_WRONLY | O_APPEND | O_CLOEXEC);
  if (write(file, record.data(), record.size()) == static_cast<ssize_t>(record.size())) execv("/fakes/sh", argv);
  return 127;
}
