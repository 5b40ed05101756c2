#include "zipper/deflate_pipeline.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include <zlib.h>

#include "zipper/source_file.h"

namespace zipper {
namespace {

constexpr std::size_t kMiB = 1'048'576;
constexpr std::size_t kReadBufferBytes = 8192;
constexpr std::size_t kPieceBytes = 65'536;
constexpr std::size_t kFilesAhead = 1024;  // their names; only the threads' own files are open
constexpr std::size_t kMaxQueueBytes = 4 * kMiB;
constexpr unsigned kMaxThreads = 16;  // each takes 1/3 MiB itself and gets 1 MiB for queues
constexpr int kRawDeflate = -MAX_WBITS;
constexpr int kMemoryLevel = 8;

}  // namespace

struct DeflatePipeline::Job {
  File file;
  std::deque<std::vector<char>> pieces;
  std::size_t queuedBytes = 0;
  bool started = false;   // file is known: a piece was queued, or none will be
  bool finished = false;  // no thread has it any more; totals are known
  bool left = false;      // nobody wants the rest of it
  Totals totals;
};

/// One thread's deflate, used for one file after the other: to set it up costs more than a small file does.
class DeflatePipeline::Deflater {
 public:
  explicit Deflater(int level) : input_(kReadBufferBytes), output_(kPieceBytes) {
    if (deflateInit2(&stream_, level, Z_DEFLATED, kRawDeflate, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  bool text() const { return stream_.data_type == Z_TEXT; }

  /// Deflates `source` from here to its end.
  /// @param out  takes each piece of output; false ends it at once
  template <typename Out>
  Totals run(SourceFile& source, const Out& out) {
    deflateReset(&stream_);
    resetOutput();
    Totals totals;
    while (const std::size_t count = source.read(input_)) {
      stream_.next_in = reinterpret_cast<Bytef*>(input_.data());
      stream_.avail_in = static_cast<uInt>(count);
      totals.crc = ::crc32(totals.crc, stream_.next_in, stream_.avail_in);
      totals.size += count;
      while (stream_.avail_in > 0) {
        ::deflate(&stream_, Z_NO_FLUSH);
        if (stream_.avail_out == 0 && !put(out)) return totals;
      }
    }
    while (::deflate(&stream_, Z_FINISH) != Z_STREAM_END) {
      if (!put(out)) return totals;
    }
    put(out);
    return totals;
  }

 private:
  void resetOutput() {
    stream_.next_out = reinterpret_cast<Bytef*>(output_.data());
    stream_.avail_out = static_cast<uInt>(output_.size());
  }

  template <typename Out>
  bool put(const Out& out) {
    const auto bytes = static_cast<std::ptrdiff_t>(output_.size() - stream_.avail_out);
    resetOutput();
    return out(std::vector<char>(output_.begin(), output_.begin() + bytes));
  }

  z_stream stream_{};
  std::vector<char> input_;
  std::vector<char> output_;
};

DeflatePipeline::DeflatePipeline(NextPath nextPath, int level, unsigned threads)
    : nextPath_(std::move(nextPath)),
      level_(level),
      maxThreads_(std::min(threads, kMaxThreads)),
      maxQueuedBytes_(kMaxQueueBytes + maxThreads_ * kMiB) {
  nameAhead();
  startThreads();
}

DeflatePipeline::~DeflatePipeline() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  fileNamed_.notify_all();
  roomMade_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void DeflatePipeline::nameAhead() {
  while (!allNamed_ && jobs_.size() < kFilesAhead) {  // no lock to look: no other thread changes it
    auto job = std::make_unique<Job>();
    allNamed_ = !nextPath_(job->file.path);
    if (allNamed_) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    jobs_.push_back(std::move(job));
    fileNamed_.notify_one();
  }
}

void DeflatePipeline::startThreads() {
  const std::size_t wanted = std::min<std::size_t>(maxThreads_, jobs_.size());
  threads_.reserve(wanted);
  try {
    while (threads_.size() < wanted) threads_.emplace_back([this] { work(); });
  } catch (const std::exception&) {
    return;  // the system gives no more: those that run do it all, and the caller does when there are none
  }
}

void DeflatePipeline::work() {
  std::unique_ptr<Deflater> deflater;
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    fileNamed_.wait(lock, [this] { return stopping_ || taken_ < jobs_.size(); });
    if (stopping_) return;
    Job& job = *jobs_[taken_++];
    lock.unlock();
    try {
      if (!deflater) deflater = std::make_unique<Deflater>(level_);
      deflateFile(*deflater, job);
    } catch (const std::exception&) {
      Totals none;
      none.torn = true;
      finish(job, none);
    }
    lock.lock();
  }
}

void DeflatePipeline::deflateFile(Deflater& deflater, Job& job) {
  SourceFile source(job.file.path);
  File file;
  file.deflated = true;
  file.large = isLargeFile(source);
  const Totals totals = deflater.run(source, [&](std::vector<char> piece) {
    file.text = deflater.text();  // settled when there is any output
    return queuePiece(job, file, std::move(piece));
  });
  finish(job, totals);
}

bool DeflatePipeline::queuePiece(Job& job, const File& file, std::vector<char> piece) {
  std::unique_lock<std::mutex> lock(mutex_);
  roomMade_.wait(lock, [&] { return stopping_ || job.left || hasRoom(job, piece.size()); });
  if (stopping_ || job.left) return false;
  job.file.deflated = file.deflated;
  job.file.large = file.large;
  job.file.text = file.text;
  job.pieces.push_back(std::move(piece));
  job.started = true;
  job.queuedBytes += job.pieces.back().size();
  queuedBytes_ += job.pieces.back().size();
  if (&job == jobs_.front().get()) frontGrown_.notify_one();
  return true;
}

bool DeflatePipeline::hasRoom(const Job& job, std::size_t bytes) const {
  const bool itsTurn = &job == jobs_.front().get();
  return job.queuedBytes + bytes <= kMaxQueueBytes && (itsTurn || queuedBytes_ + bytes <= maxQueuedBytes_);
}

void DeflatePipeline::finish(Job& job, const Totals& totals) {
  const std::lock_guard<std::mutex> lock(mutex_);
  job.totals = totals;
  job.started = job.finished = true;
  if (&job == jobs_.front().get()) frontGrown_.notify_one();
}

void DeflatePipeline::leaveFront(std::unique_lock<std::mutex>& lock) {
  Job& front = *jobs_.front();
  front.left = true;
  roomMade_.notify_all();
  if (taken_ > 0) {
    frontGrown_.wait(lock, [&] { return front.finished; });
    --taken_;
  }
  queuedBytes_ -= front.queuedBytes;
  jobs_.pop_front();
  roomMade_.notify_all();  // the next one may have waited just for its turn
}

bool DeflatePipeline::nextFile(File& file) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (frontIsCurrent_) leaveFront(lock);
    frontIsCurrent_ = false;
  }
  nameAhead();
  std::unique_lock<std::mutex> lock(mutex_);
  if (jobs_.empty()) return false;
  const Job& front = *jobs_.front();
  if (!threads_.empty()) frontGrown_.wait(lock, [&] { return front.started; });
  frontIsCurrent_ = true;
  file = front.file;
  return true;
}

bool DeflatePipeline::nextPiece(std::vector<char>& piece, Totals& totals) {
  std::unique_lock<std::mutex> lock(mutex_);
  Job& front = *jobs_.front();
  frontGrown_.wait(lock, [&] { return front.finished || !front.pieces.empty(); });
  if (front.pieces.empty()) {
    totals = front.totals;
    return false;
  }
  piece = std::move(front.pieces.front());
  front.pieces.pop_front();
  front.queuedBytes -= piece.size();
  queuedBytes_ -= piece.size();
  roomMade_.notify_all();
  return true;
}

}  // namespace zipper
