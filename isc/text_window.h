// The text of an ISC data file as its parser walks it.
#ifndef FUSEKIT_ISC_TEXT_WINDOW_H
#define FUSEKIT_ISC_TEXT_WINDOW_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/file_io.h"
#include "crc/file_crc.h"
#include "support/util/reused_block.h"

namespace fusekit::isc {

// Either the whole text at once (a text in memory, which must outlive the window), or a window
// onto a file read a chunk at a time that slides on as the parser asks for more: a file of any
// size is then read in memory of the size of its longest word, and its pages are copied into
// one buffer instead of each being mapped. The file CRC of the text the window leaves behind
// is taken on the way.
class TextWindow {
 public:
  explicit TextWindow(std::string_view whole);
  // The bytes a window holds at first: large enough that a read costs little beside the copy
  // it makes, small enough to stay in the processor's cache while the parser walks it.
  static constexpr std::size_t kWindowBytes = 512 * 1024;

  // Ready() is false when the file cannot be opened. Each read of the file is shown to seen,
  // when not null. A window from start on (not the file's first byte) takes the file CRC of its
  // text as a part to be joined to the CRC of what stands before (FileCrcOfPieces::Part).
  explicit TextWindow(const char* fileName, std::size_t windowBytes = kWindowBytes,
                      core::ChunkObserver* seen = nullptr, std::uint64_t start = 0);
  TextWindow(const TextWindow&) = delete;
  TextWindow& operator=(const TextWindow&) = delete;

  bool Ready() const { return ready_; }
  // Whether the whole text is held from the start, and never moves.
  bool Whole() const { return !file_; }
  // Whether a read failed before the end of the file.
  bool Failed() const { return failed_; }

  // The bytes held now, and where the first of them stands in the file.
  std::string_view Text() const { return text_; }
  std::uint64_t Offset() const { return offset_; }
  // The size of the file, the largest value when it is not known (a pipe).
  std::uint64_t Size() const { return size_; }

  // Drops the bytes held before keep (an index into Text()), which from then on stands at
  // index 0, and reads more of the file after the bytes held. False when nothing more could be
  // read: the end of the file, or of the whole text.
  bool More(std::size_t keep);

  // Drops the bytes held before keep, as More does, and goes on reading the file from offset
  // to, past the bytes between, whose file CRC (a part) is skipped. False when nothing could be
  // read from there.
  bool Jump(std::size_t keep, std::uint64_t to, const crc::FileCrcOfPieces& skipped);

  // The file CRC of the text before offset, which must not be before a byte still held.
  std::uint16_t FileCrcBefore(std::uint64_t offset) const {
    return FileCrcOfTextBefore(offset).Value();
  }
  crc::FileCrcOfPieces FileCrcOfTextBefore(std::uint64_t offset) const;

  // From now on the window reads no more once stop is set (by another thread that wants the
  // reading over): it then ends as a failed read does.
  void StopWhen(const std::atomic<bool>* stop) { stop_ = stop; }

 private:
  char* Buffer() const { return reinterpret_cast<char*>(buffer_.Data()); }
  // Drops the bytes held before keep, adding them to the file CRC.
  std::size_t Drop(std::size_t keep);
  // Reads after the kept bytes held; false when nothing more could be read.
  bool Read(std::size_t kept);

  core::UniqueFile file_;
  util::ReusedBlock buffer_;
  std::size_t capacity_ = 0;
  std::string_view text_;
  std::uint64_t offset_ = 0;
  std::uint64_t size_ = 0;
  crc::FileCrcOfPieces dropped_crc_;  // of the text dropped so far
  bool ready_ = false;
  bool failed_ = false;
  const std::atomic<bool>* stop_ = nullptr;
  core::ChunkObserver* seen_ = nullptr;
};

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_TEXT_WINDOW_H
