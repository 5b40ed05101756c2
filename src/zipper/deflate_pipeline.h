#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zipper {

constexpr std::size_t kPieceBytes = 1'048'576;    ///< into which files are cut
constexpr std::size_t kDictionaryBytes = 32'768;  ///< before a piece: all that deflate can refer back to

/// A piece of a file: its data, which deflating replaces by the output.
struct Piece {
  // For the caller's own use, set in a file's first piece only.
  std::string path;
  std::string name;    ///< of the file's entry
  bool large = false;  ///< the file needs the 64-bit size fields

  // Set by the caller.
  bool last = false;               ///< the file ends with this piece, and so does the deflate stream
  std::size_t size = 0;            ///< bytes at data(), at most kPieceBytes
  std::size_t dictionarySize = 0;  ///< bytes of the file right before data(), at most kDictionaryBytes

  // Set by deflating.
  bool good = false;           ///< whether deflate has succeeded
  bool text = false;           ///< whether deflate takes the data for text
  unsigned long crc = 0;       ///< CRC-32 of the data
  std::size_t packedSize = 0;  ///< bytes at packed()

  char* data() { return bytes.get() + kDictionaryBytes; }
  char* packed() const { return bytes.get(); }  // overwrites the data: see Deflater::run

 private:
  friend class DeflatePipeline;
  std::unique_ptr<char[]> bytes;
  bool done = false;
};

/// Deflates pieces of files on several threads and returns them in the order in which they were submitted. The outputs
/// of a file's pieces, put together, are one deflate stream, whose bytes depend on the file alone.
///   freePiece, submit --> ring of pieces --> threads: deflate in place --> front, pop
/// The calling thread deflates too, rather than wait, and alone when no other can be started. Only the constructor can
/// fail: std::bad_alloc when the memory is not enough for one thread. Requires: one calling thread at a time.
class DeflatePipeline {
 public:
  /// @param level    1 to 9
  /// @param threads  how many threads deflate, the calling one included; at most 16
  DeflatePipeline(int level, unsigned threads);
  ~DeflatePipeline();

  /// The next piece to fill; null when all are in use and one has to be popped first.
  Piece* freePiece();

  /// Submits the piece that freePiece() has returned for deflating.
  void submit();

  /// Waits until the oldest submitted piece is deflated, and returns it; null when there is none.
  Piece* front();

  /// Makes the front piece free again.
  void pop();

 private:
  class Deflater;

  Piece& at(std::uint64_t number) { return ring_[number % ring_.size()]; }
  void deflateNext(std::unique_lock<std::mutex>& lock, Deflater& deflater);
  void work(Deflater& deflater);

  std::vector<std::unique_ptr<Deflater>> deflaters_;  // the caller's first
  std::vector<Piece> ring_;

  std::mutex mutex_;  // guards the members up to stopping_, and Piece::done
  std::condition_variable pieceSubmitted_;
  std::condition_variable frontDone_;
  std::uint64_t submitted_ = 0;  // how many pieces were submitted so far
  std::uint64_t started_ = 0;    // how many of them a thread has begun to deflate
  std::uint64_t popped_ = 0;     // how many of them were popped
  bool stopping_ = false;

  std::vector<std::thread> threads_;
};

}  // namespace zipper
