#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zipper {

/// So many bytes of a file are deflated at a time; shorter files come out as one deflate makes them.
constexpr std::size_t kPieceBytes = 1'048'576;
/// So many bytes before a piece may be referred to: all that deflate ever looks back.
constexpr std::size_t kDictionaryBytes = 32'768;

/// A piece of a file: first its data, then what became of it.
struct Piece {
  std::string path;                ///< the file's; it and the next three are for the caller alone, and only
  std::string name;                ///< hold in a file's first piece: its entry's name
  bool first = false;              ///< a file begins with it
  bool large = false;              ///< the file needs the 64-bit size fields
  bool last = false;               ///< the file ends with it, and so does the deflate stream
  std::size_t size = 0;            ///< bytes at data(), at most kPieceBytes
  std::size_t dictionarySize = 0;  ///< bytes of the file right before data(), at most kDictionaryBytes

  bool good = false;           ///< false: deflate has failed
  bool text = false;           ///< deflate takes it for text
  unsigned long crc = 0;       ///< CRC-32 of the data
  std::size_t packedSize = 0;  ///< bytes at packed()

  char* data() { return bytes.get() + kDictionaryBytes; }
  char* packed() const { return bytes.get(); }  // which takes the data's place: see Deflater::run

 private:
  friend class DeflatePipeline;
  std::unique_ptr<char[]> bytes;
  bool done = false;
};

/// Deflates pieces of files on several threads and hands them out in the order in which they came. The pieces
/// of a file, one after the other, are one deflate stream, whose bytes depend on the file alone.
///
///   blank, handIn --> ring of pieces --> threads: deflate in place --> front, takeOff
///
/// All memory is taken at the start, and no more threads than there is memory for are started; a thread that
/// cannot be started leaves its work to the others and to the caller, who deflates rather than waits. Too
/// little memory for the caller alone is an std::bad_alloc of the constructor; later nothing can fail.
/// A failed write is the caller's concern, who takes off what is under way.
class DeflatePipeline {
 public:
  /// @param level    deflate's, 1 to 9
  /// @param threads  how many deflate, the caller's included; at most 16
  DeflatePipeline(int level, unsigned threads);
  ~DeflatePipeline();
  DeflatePipeline(const DeflatePipeline&) = delete;
  DeflatePipeline& operator=(const DeflatePipeline&) = delete;

  /// The piece to be filled next; null when all are in use: one must be taken off first.
  Piece* freePiece();

  /// Gives the filled piece to the threads.
  void submit();

  /// The oldest piece that was handed in, deflated; null when there is none.
  Piece* front();

  /// Makes the front piece a blank one.
  void pop();

 private:
  class Deflater;

  Piece& at(std::uint64_t number) { return ring_[number % ring_.size()]; }
  void deflateNext(std::unique_lock<std::mutex>& lock, Deflater& deflater);
  void work(Deflater& deflater);

  std::vector<std::unique_ptr<Deflater>> deflaters_;  // the caller's first
  std::vector<Piece> ring_;

  std::mutex mutex_;  // for what follows up to stopping_, and for Piece::done
  std::condition_variable pieceSubmitted_;
  std::condition_variable frontDone_;
  std::uint64_t submitted_ = 0;  // so many pieces were
  std::uint64_t started_ = 0;     // so many of them were given to a thread
  std::uint64_t popped_ = 0;
  bool stopping_ = false;

  std::vector<std::thread> threads_;
};

}  // namespace zipper
