#include "zipper/deflate_pipeline.h"

#include <algorithm>
#include <new>

#include <zlib.h>

namespace zipper {

constexpr std::size_t kStepBytes = 16'384;
constexpr unsigned kMaxThreads = 16;
// Pieces beside two for each thread; all together take 37 MiB at most.
constexpr unsigned kSparePieces = 4;
constexpr int kRawDeflate = -MAX_WBITS;
constexpr int kMemoryLevel = 8;

/// The deflate state of one thread, reused for all its pieces: setting it up costs more than deflating a small file.
class DeflatePipeline::Deflater {
 public:
  explicit Deflater(int level) {
    if (deflateInit2(&stream_, level, Z_DEFLATED, kRawDeflate, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;

  /// Deflates the piece within its own memory: the output begins where the dictionary was, 32 KiB before the data, and
  /// so never reaches data that has not been read. Random data, the worst case, grows by 400 bytes a piece.
  void run(Piece& piece) {
    auto* in = reinterpret_cast<Bytef*>(piece.data());
    auto* const out = reinterpret_cast<Bytef*>(piece.packed());
    deflateReset(&stream_);
    if (piece.dictionarySize > 0) {
      deflateSetDictionary(&stream_, in - piece.dictionarySize, static_cast<uInt>(piece.dictionarySize));
    }
    piece.crc = ::crc32(0, nullptr, 0);
    piece.good = true;
    stream_.next_out = out;
    const Bytef* const end = in + piece.size;
    const auto step = [&](uInt size, int flush) {
      stream_.next_in = in;
      stream_.avail_in = size;
      stream_.avail_out = static_cast<uInt>(in - stream_.next_out);
      const int result = ::deflate(&stream_, flush);
      const bool whole = stream_.avail_in == 0 && stream_.avail_out > 0;
      if (!whole || result != (flush == Z_FINISH ? Z_STREAM_END : Z_OK)) piece.good = false;
      in += size;
    };
    while (piece.good && in < end) {
      const auto size = static_cast<uInt>(std::min<std::size_t>(static_cast<std::size_t>(end - in), kStepBytes));
      piece.crc = ::crc32(piece.crc, in, size);
      step(size, Z_NO_FLUSH);
    }
    if (piece.good) step(0, piece.last ? Z_FINISH : Z_SYNC_FLUSH);
    piece.text = stream_.data_type == Z_TEXT;
    piece.packedSize = static_cast<std::size_t>(stream_.next_out - out);
  }

 private:
  z_stream stream_{};
};

DeflatePipeline::DeflatePipeline(int level, unsigned threads) {
  const unsigned deflating = std::min(std::max(threads, 1U), kMaxThreads);
  ring_.resize(2 * deflating + kSparePieces);
  try {
    for (Piece& piece : ring_) {
      // Left uninitialised: pages that are never written take no memory.
      piece.bytes.reset(new char[kDictionaryBytes + kPieceBytes]);
      if (deflaters_.size() < deflating) deflaters_.push_back(std::make_unique<Deflater>(level));
    }
  } catch (const std::bad_alloc&) {
    if (deflaters_.empty()) throw;
    while (!ring_.back().bytes) ring_.pop_back();
  }
  try {
    while (threads_.size() + 1 < deflaters_.size()) {
      threads_.emplace_back([this, &deflater = *deflaters_[threads_.size() + 1]] { work(deflater); });
    }
  } catch (const std::exception&) {
    return;  // go on with the threads that could be started
  }
}

DeflatePipeline::~DeflatePipeline() {
  std::unique_lock<std::mutex> lock(mutex_);
  stopping_ = true;
  lock.unlock();
  pieceSubmitted_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void DeflatePipeline::work(Deflater& deflater) {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    pieceSubmitted_.wait(lock, [this] { return stopping_ || started_ < submitted_; });
    if (stopping_) return;
    deflateNext(lock, deflater);
  }
}

void DeflatePipeline::deflateNext(std::unique_lock<std::mutex>& lock, Deflater& deflater) {
  const std::uint64_t number = started_++;
  lock.unlock();
  deflater.run(at(number));
  lock.lock();
  at(number).done = true;
  if (number == popped_) frontDone_.notify_one();
}

Piece* DeflatePipeline::freePiece() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return submitted_ - popped_ < ring_.size() ? &at(submitted_) : nullptr;
}

void DeflatePipeline::submit() {
  const std::lock_guard<std::mutex> lock(mutex_);
  at(submitted_++).done = false;
  pieceSubmitted_.notify_one();
}

Piece* DeflatePipeline::front() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (popped_ == submitted_) return nullptr;
  Piece& piece = at(popped_);
  while (!piece.done) {
    if (started_ < submitted_) {
      deflateNext(lock, *deflaters_.front());
    } else {
      frontDone_.wait(lock);
    }
  }
  return &piece;
}

void DeflatePipeline::pop() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++popped_;
}

}  // namespace zipper
