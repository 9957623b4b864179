// The bytes a parse walks: a window over a file that is read a block at a time as the parse
// moves on, or over bytes already in memory. A parse that passes over most of a large file
// (the data frames of a stream when only its usercode is wanted) never holds more of it than
// one block.
#ifndef FUSEKIT_SUPPORT_BITSTREAM_MODEL_BYTE_SOURCE_H
#define FUSEKIT_SUPPORT_BITSTREAM_MODEL_BYTE_SOURCE_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "support/util/reused_block.h"

namespace fusekit::bitstream_model {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
// A file opened for reading in binary, closed with its handle; null when it cannot be opened.
// Unbuffered: a ByteSource reads it in blocks of its own, and a refill of a size that is not a
// whole number of the stream buffer's blocks would be two reads of the file through one.
using InputFile = std::unique_ptr<std::FILE, FileCloser>;
inline InputFile OpenInput(const char* name) {
  InputFile file(name != nullptr ? std::fopen(name, "rb") : nullptr);
  if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
  return file;
}

class ByteSource {
 public:
  // Reads file (left open, owned by the caller) from where it stands.
  explicit ByteSource(std::FILE* file);
  // Reads file from where it stands, offset bytes into it: offsets count from the file's start.
  ByteSource(std::FILE* file, std::uint64_t offset);
  // Walks bytes, which must outlive the source.
  explicit ByteSource(const std::vector<std::uint8_t>& bytes);
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  // Makes count bytes from the cursor available through At; false when the input ends first.
  bool Need(std::size_t count) { return end_ - at_ >= count || Fill(count); }
  // The bytes from the cursor on; as many as the last successful Need asked for are there.
  const std::uint8_t* At() const { return window_ + at_; }
  // Moves the cursor over count bytes that Need made available.
  void Advance(std::size_t count) { at_ += count; }
  // Moves the cursor over count bytes, reading through them; false when the input ends first
  // (the cursor is then at the end).
  bool Skip(std::uint64_t count);
  // The distance from the cursor of the first byte value at or after from, reading on as far
  // as needed; false when the input ends first.
  bool Find(std::uint8_t value, std::size_t from, std::size_t& distance);
  // The bytes before the cursor.
  std::uint64_t Offset() const { return passed_ + at_; }
  // A read of the file failed.
  bool Failed() const { return failed_; }

  // Every block read from the file from now on is shown to observe, once, in file order.
  using Observer = void (*)(void* context, const std::uint8_t* bytes, std::size_t count);
  void SetObserver(Observer observe, void* context) {
    observe_ = observe;
    context_ = context;
  }
  // From offset on, the bytes the parse passes over with Skip are passed over unread, by seeking,
  // where the file's size is known: no one looks at them (the observer needs only the bytes
  // before offset). Drain then ends there too.
  void SeekOverFrom(std::uint64_t offset);
  // Reads the file to its end, or to where SeekOverFrom says (for the observer).
  void Drain();

 private:
  static constexpr std::size_t kBlockBytes = 512 * 1024;
  bool Fill(std::size_t count);
  // Passes over count bytes after the window, the cursor at its end, unread: the next read
  // seeks there. False when the file ends first (the cursor is then at its end).
  bool SeekOver(std::uint64_t count);

  std::FILE* file_ = nullptr;
  util::ReusedBlock buffer_;  // the window of a file, left unset until read into
  std::size_t capacity_ = 0;  // its size
  const std::uint8_t* window_ = nullptr;
  std::size_t at_ = 0;        // the cursor, in the window
  std::size_t end_ = 0;       // the bytes in the window
  std::uint64_t passed_ = 0;  // the bytes dropped before the window
  bool failed_ = false;
  Observer observe_ = nullptr;
  void* context_ = nullptr;
  std::uint64_t seek_from_ = ~std::uint64_t{0};
  std::uint64_t size_ = ~std::uint64_t{0};  // the file's, when bytes are passed over unread
  bool seek_ = false;                       // the next read must seek to the cursor first
};

}  // namespace fusekit::bitstream_model

#endif  // FUSEKIT_SUPPORT_BITSTREAM_MODEL_BYTE_SOURCE_H
