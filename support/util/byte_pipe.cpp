#include "support/util/byte_pipe.h"

#include <algorithm>
#include <cstring>

namespace fusekit::util {

BytePipe::BytePipe(std::size_t capacity)
    : ring_(std::max<std::size_t>(capacity, 1)), capacity_(std::max<std::size_t>(capacity, 1)) {}

bool BytePipe::Write(const unsigned char* bytes, std::size_t count) {
  while (count != 0) {
    unsigned char* at = nullptr;
    const std::size_t run = std::min(Room(at), count);
    if (run == 0) return false;
    std::memcpy(at, bytes, run);
    Commit(run);
    bytes += run;
    count -= run;
  }
  return true;
}

std::size_t BytePipe::Room(unsigned char*& at, std::size_t least) {
  // The room from the write position to the ring's end or to the unread bytes. Only the writer
  // puts bytes there: the reader does not look past written_.
  const std::size_t start = static_cast<std::size_t>(written_ % capacity_);
  const std::size_t wanted = std::max<std::size_t>(1, std::min(least, capacity_ - start));
  std::unique_lock<std::mutex> lock(mutex_);
  const auto room = [&] {
    return std::min(capacity_ - static_cast<std::size_t>(written_ - read_), capacity_ - start);
  };
  changed_.wait(lock, [&] { return stopped_ || room() >= wanted; });
  if (stopped_) return 0;
  at = ring_.Data() + start;
  return room();
}

void BytePipe::Commit(std::size_t count) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    written_ += count;
  }
  changed_.notify_all();
}

void BytePipe::Finish() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    finished_ = true;
  }
  changed_.notify_all();
}

std::size_t BytePipe::Peek(const unsigned char*& at) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return finished_ || written_ != read_; });
  const std::size_t start = static_cast<std::size_t>(read_ % capacity_);
  at = ring_.Data() + start;
  return std::min(static_cast<std::size_t>(written_ - read_), capacity_ - start);
}

void BytePipe::Consume(std::size_t count) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    read_ += std::min<std::uint64_t>(count, written_ - read_);
  }
  changed_.notify_all();
}

void BytePipe::Stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

PipeBatchWriter::~PipeBatchWriter() {
  pipe_.Finish();
}

void PipeBatchWriter::Flush() {
  if (!stopped_ && used_ != 0) stopped_ = !pipe_.Write(batch_.get(), used_);
  used_ = 0;
}

void PipeBatchMatcher::Flush() {
  for (std::size_t done = 0; alike_ && done < used_;) {
    const unsigned char* at = nullptr;
    const std::size_t held = pipe_.Peek(at);
    const std::size_t run = std::min(held, used_ - done);
    alike_ = run != 0 && std::memcmp(at, batch_.get() + done, run) == 0;
    pipe_.Consume(run);
    done += run;
  }
  used_ = 0;
  if (!alike_) pipe_.Stop();
}

bool PipeBatchMatcher::Alike() {
  Flush();
  const unsigned char* at = nullptr;
  if (alike_ && pipe_.Peek(at) != 0) alike_ = false;
  pipe_.Stop();
  return alike_;
}

}  // namespace fusekit::util
