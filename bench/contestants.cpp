// What bench/run compares with other programs, one job a process:
// - contestants pack THREADS ARCHIVE TREE: this project's zip writer at level 9
// - contestants store ARCHIVE TREE: the same without deflating: what is left to one thread, and more to write
// - contestants copy TREE TARGET: this project's collection of a tree
// - contestants minizip ARCHIVE TREE: the least loop around minizip, level 9
// - contestants zlib TREE: deflate at level 9, thrown away: what no writer can be quicker than
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/filesystem/operations.hpp>
#include <zip.h>
#include <zlib.h>

#include "collect/selection.h"
#include "collect/tree_copy.h"
#include "support/confine.h"
#include "zipper/zipper.h"

namespace fs = boost::filesystem;

namespace {

constexpr int kLevel = 9;
constexpr std::size_t kBufferBytes = 8192;

void check(bool good, const char* what) {
  if (!good) throw std::runtime_error(std::string(what) + " failed");
}

void pack(unsigned threads, const std::string& archive, const std::string& tree, unsigned flags) {
  zipper::Zipper zip(archive, "");
  zipper::Zipper::Hooks hooks;
  hooks.threads = threads;
  zip.setHooks(hooks);
  zip.add(tree, flags);
  zip.close();
}

void copy(const std::string& tree, const std::string& target) {
  const auto filter = quelmar::logutils::copyFilter(quelmar::logutils::collectedExtensions(),
                                                    boost::posix_time::second_clock::local_time());
  check(!quelmar::helper::copyDir(tree, target, filter), "copying");
}

/// Calls back with each piece of each file below `tree`, and without one at a file's start and at its end.
void readTree(const std::string& tree,
              const std::function<void(const std::string& file, char* data, std::size_t size, bool end)>& take) {
  std::vector<char> buffer(kBufferBytes);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
    if (!fs::is_regular_file(entry.symlink_status())) continue;
    const std::string file = entry.path().string();
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(file.c_str(), "rb"), &std::fclose);
    check(stream != nullptr, "opening a file");
    take(file, buffer.data(), 0, false);
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), stream.get())) {
      take(file, buffer.data(), count, false);
    }
    take(file, buffer.data(), 0, true);
  }
}

void minizip(const std::string& archive, const std::string& tree) {
  const zipFile zip = zipOpen64(archive.c_str(), APPEND_STATUS_CREATE);
  check(zip != nullptr, "opening the archive");
  readTree(tree, [zip](const std::string& file, const char* data, std::size_t size, bool end) {
    int result = ZIP_OK;
    if (end) {
      result = zipCloseFileInZip(zip);
    } else if (size > 0) {
      result = zipWriteInFileInZip(zip, data, static_cast<unsigned>(size));
    } else {
      result =
          zipOpenNewFileInZip64(zip, file.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, kLevel, 0);
    }
    check(result == ZIP_OK, "writing an entry");
  });
  check(zipClose(zip, nullptr) == ZIP_OK, "closing the archive");
}

void zlib(const std::string& tree) {
  z_stream stream{};
  check(deflateInit2(&stream, kLevel, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK, "deflateInit2");
  std::vector<char> out(kBufferBytes);
  readTree(tree, [&](const std::string&, char* data, std::size_t size, bool end) {
    stream.next_in = reinterpret_cast<Bytef*>(data);
    stream.avail_in = static_cast<uInt>(size);
    do {
      stream.next_out = reinterpret_cast<Bytef*>(out.data());
      stream.avail_out = static_cast<uInt>(out.size());
      deflate(&stream, end ? Z_FINISH : Z_NO_FLUSH);
    } while (stream.avail_out == 0);
    if (end) deflateReset(&stream);
  });
  deflateEnd(&stream);
}

void run(const std::vector<std::string>& words) {
  const std::string& job = words.at(0);
  if (job == "pack") {
    return pack(static_cast<unsigned>(std::stoul(words.at(1))), words.at(2), words.at(3), zipper::Zipper::CompressBest);
  }
  if (job == "store") return pack(1, words.at(1), words.at(2), 0);
  if (job == "copy") return copy(words.at(1), words.at(2));
  if (job == "minizip") return minizip(words.at(1), words.at(2));
  if (job == "zlib") return zlib(words.at(1));
  throw std::invalid_argument("no such job");
}

}  // namespace

int main(int argc, char** argv) {
  testing_support::confine({argv, argv + argc});
  try {
    run({argv + 1, argv + argc});
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return EXIT_FAILURE;
  }
}
