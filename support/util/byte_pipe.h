// Bytes handed from one thread to another through a ring of fixed size.
#ifndef FUSEKIT_SUPPORT_UTIL_BYTE_PIPE_H
#define FUSEKIT_SUPPORT_UTIL_BYTE_PIPE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>

#include "support/util/reused_block.h"
#include "support/util/side_task.h"

namespace fusekit::util {

// One writer thread, one reader thread. The writer waits while the ring is full, the reader
// while it is empty; memory stays at the ring's size however many bytes go through. Either side
// may end it: the writer by Finish (the reader then reads what is left, then sees the end), the
// reader by Stop (the writer's bytes are then dropped at once).
class BytePipe {
 public:
  explicit BytePipe(std::size_t capacity);
  BytePipe(const BytePipe&) = delete;
  BytePipe& operator=(const BytePipe&) = delete;

  // Writer: hands count bytes over, waiting for room; false when the reader has stopped.
  bool Write(const unsigned char* bytes, std::size_t count);
  // Writer: waits for room and points at where the bytes that follow go, in one run of the
  // returned count (so that a read can put them there itself); 0 when the reader has stopped.
  // It waits for least bytes of room, or for the room up to the ring's end when that is less:
  // a writer that fills large pieces then wakes once a piece, not once a read of the reader.
  std::size_t Room(unsigned char*& at, std::size_t least = 1);
  // Writer: the first count bytes Room pointed at are handed over.
  void Commit(std::size_t count);
  // Writer: no more bytes come.
  void Finish();

  // Reader: waits for bytes and points at those that can be read in one run; 0 when the
  // writer has finished and every byte has been read.
  std::size_t Peek(const unsigned char*& at);
  // Reader: the first count bytes Peek pointed at are read.
  void Consume(std::size_t count);
  // Reader: no more bytes are wanted.
  void Stop();

 private:
  ReusedBlock ring_;
  std::size_t capacity_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t written_ = 0;  // bytes written since the start
  std::uint64_t read_ = 0;     // bytes read since the start
  bool finished_ = false;
  bool stopped_ = false;
};

// A stream of bytes made a piece at a time and handed on a batch at a time.
class ByteBatches {
 public:
  static constexpr std::size_t kBatchBytes = 64 * 1024;
  // A pipe that holds a few batches, so that neither side waits for each one.
  static constexpr std::size_t kPipeBytes = 4 * kBatchBytes;

  ByteBatches() : batch_(new unsigned char[kBatchBytes]) {}
  virtual ~ByteBatches() = default;
  ByteBatches(const ByteBatches&) = delete;
  ByteBatches& operator=(const ByteBatches&) = delete;

  void Add(const unsigned char* bytes, std::size_t count) {
    // Pieces of whole 16-byte blocks, the most common, are copied without a call to memcpy.
    if (count % 16 == 0 && kBatchBytes - used_ >= count) {
      for (std::size_t i = 0; i < count; i += 16)
        std::memcpy(batch_.get() + used_ + i, bytes + i, 16);
      used_ += count;
      if (used_ == kBatchBytes) Flush();
      return;
    }
    while (count != 0) {
      const std::size_t take = count < kBatchBytes - used_ ? count : kBatchBytes - used_;
      std::memcpy(batch_.get() + used_, bytes, take);
      used_ += take;
      bytes += take;
      count -= take;
      if (used_ == kBatchBytes) Flush();
    }
  }

  // Hands on what the batch holds and empties it.
  virtual void Flush() = 0;

 protected:
  std::unique_ptr<unsigned char[]> batch_;
  std::size_t used_ = 0;  // bytes of the batch filled
};

// The writing side: batches go into the pipe; the pipe is finished when this ends.
class PipeBatchWriter final : public ByteBatches {
 public:
  explicit PipeBatchWriter(BytePipe& pipe) : pipe_(pipe) {}
  ~PipeBatchWriter() override;
  void Flush() override;

 private:
  BytePipe& pipe_;
  bool stopped_ = false;  // the reader wants no more
};

// The reading side: each batch is compared with as many bytes from the pipe; the pipe is
// stopped at the first that differs, or when this ends.
class PipeBatchMatcher final : public ByteBatches {
 public:
  explicit PipeBatchMatcher(BytePipe& pipe) : pipe_(pipe) {}
  ~PipeBatchMatcher() override { pipe_.Stop(); }
  void Flush() override;
  // At the end of this side's stream: whether both streams were alike to their ends.
  bool Alike();

 private:
  BytePipe& pipe_;
  bool alike_ = true;
};

// Makes two streams of bytes at once, make(0, out) on a second thread and make(1, out) on the
// caller's, each adding its bytes to out, and tells whether they were alike to their ends: the
// first stream goes through a pipe and is compared with the second as both are made, so
// neither is kept. False, having run neither, when no second thread can be started. make must
// not throw.
template <class Make>
bool StreamsAlike(Make&& make) {
  BytePipe pipe(ByteBatches::kPipeBytes);
  bool alike = false;
  const bool ran = RunSideBySide([&](int i) {
    if (i == 0) {
      PipeBatchWriter writer(pipe);
      make(0, static_cast<ByteBatches&>(writer));
      writer.Flush();
      return;
    }
    PipeBatchMatcher matcher(pipe);
    make(1, static_cast<ByteBatches&>(matcher));
    alike = matcher.Alike();
  });
  return ran && alike;
}

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_BYTE_PIPE_H
