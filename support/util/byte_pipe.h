// Bytes handed from one thread to another through a ring of fixed size.
#ifndef FUSEKIT_SUPPORT_UTIL_BYTE_PIPE_H
#define FUSEKIT_SUPPORT_UTIL_BYTE_PIPE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

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
  std::unique_ptr<unsigned char[]> ring_;
  std::size_t capacity_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t written_ = 0;  // bytes written since the start
  std::uint64_t read_ = 0;     // bytes read since the start
  bool finished_ = false;
  bool stopped_ = false;
};

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_BYTE_PIPE_H
