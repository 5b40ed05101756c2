#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zipper {

/// Deflates files ahead on several threads and hands them out one by one, in the order in which they are
/// named. What comes out is what one thread makes that deflates each file in pieces of 8,192 bytes.
///
///   nextPath --> names ahead --> threads: read, deflate --> a queue for each file --> nextFile, nextPiece
///
/// Each thread takes the next file that nobody has and queues its output piece by piece. A full queue makes
/// its thread wait, and so does the sum of all queues, but never the file whose turn it is: so all of them
/// get on, no file is in memory whole, and a long file leaves the other threads work to do.
class DeflatePipeline {
 public:
  /// Names the next file; false when there are no more. Called on the caller's thread only.
  using NextPath = std::function<bool(std::string& path)>;

  /// A file whose turn it is.
  struct File {
    std::string path;
    bool deflated = false;  ///< false: no thread could do it, for lack of memory or of threads
    bool large = false;     ///< it needs the 64-bit size fields
    bool text = false;      ///< deflate takes it for text
  };

  /// What is known of a file after its last piece.
  struct Totals {
    std::uint64_t size = 0;  ///< bytes that were read; after an error those before it
    unsigned long crc = 0;   ///< their CRC-32
    bool torn = false;       ///< the thread could not go on for lack of memory; the output is cut off
  };

  /// @param level    deflate's, 1 to 9
  /// @param threads  how many to use at most; fewer are started for fewer files, or when there are no more
  DeflatePipeline(NextPath nextPath, int level, unsigned threads);

  /// Ends all threads, whatever they are at, and waits for them.
  ~DeflatePipeline();
  DeflatePipeline(const DeflatePipeline&) = delete;
  DeflatePipeline& operator=(const DeflatePipeline&) = delete;

  /// Leaves the current file and goes on to the next one, as soon as its first piece is there.
  /// @return false when there are no more.
  bool nextFile(File& file);

  /// Waits for the current file's next piece of output, 64 KiB at most.
  /// @return false when there are no more; `totals` holds then.
  bool nextPiece(std::vector<char>& piece, Totals& totals);

 private:
  struct Job;
  class Deflater;

  void nameAhead();
  void startThreads();
  void work();
  void deflateFile(Deflater& deflater, Job& job);
  bool queuePiece(Job& job, const File& file, std::vector<char> piece);
  bool hasRoom(const Job& job, std::size_t bytes) const;
  void finish(Job& job, const Totals& totals);
  void leaveFront(std::unique_lock<std::mutex>& lock);

  const NextPath nextPath_;
  const int level_;
  const unsigned maxThreads_;
  const std::size_t maxQueuedBytes_;  // of all files
  bool allNamed_ = false;
  bool frontIsCurrent_ = false;

  std::mutex mutex_;  // for what follows up to stopping_
  std::condition_variable fileNamed_;
  std::condition_variable roomMade_;
  std::condition_variable frontGrown_;
  std::deque<std::unique_ptr<Job>> jobs_;  // in order; it is the first one's turn
  std::size_t taken_ = 0;                  // so many of them have a thread, or had one
  std::size_t queuedBytes_ = 0;
  bool stopping_ = false;

  std::vector<std::thread> threads_;
};

}  // namespace zipper
