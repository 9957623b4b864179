// One long run of even rows of an ISC data file read by two threads: the thread that reads the
// file decodes the run up to an offset near the file's middle while a helper decodes it from
// there on; the reader then takes the helper's rows (their count and CRCs, not their bytes) and
// reads on where they end. Meanwhile each compares its part of the file with another file.
#ifndef FUSEKIT_ISC_RUN_SPLIT_H
#define FUSEKIT_ISC_RUN_SPLIT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/file_io.h"
#include "crc/file_crc.h"
#include "support/util/hand_off.h"

namespace fusekit::isc {

// How the rows of a run stand: each row's digits, then its separator (a comma and blanks, at
// most eight bytes), step bytes from one row's digits to the next's.
struct EvenRunLayout {
  std::size_t step = 0;
  std::size_t digits = 0;
  unsigned long width = 0;      // bits of each row
  std::uint64_t separator = 0;  // its bytes, the first lowest
  std::size_t separator_bytes = 0;

  bool operator==(const EvenRunLayout& other) const {
    return step == other.step && digits == other.digits && width == other.width &&
           separator == other.separator && separator_bytes == other.separator_bytes;
  }
};

// The rows a helper decoded from the split on: how many, their data CRC from a register of 0,
// and the file CRC of their text (their separators and digits) as a part.
struct RunTail {
  std::size_t rows = 0;
  std::uint32_t data_crc = 0;
  crc::FileCrcOfPieces file_crc = crc::FileCrcOfPieces::Part();
};

// The split of one file between its reader and a helper, decided by the reader at its first
// run of even rows.
class RunSplit {
 public:
  // A file of size bytes is split only where at least min_bytes stand after its first run's
  // start, and only when that run starts within its first kDecideWithin bytes.
  RunSplit(std::uint64_t size, std::uint64_t min_bytes) : size_(size), min_bytes_(min_bytes) {}
  RunSplit(const RunSplit&) = delete;
  RunSplit& operator=(const RunSplit&) = delete;

  static constexpr std::uint64_t kDecideWithin = 1 << 20;

  // The reader's side.
  //
  // At a run of rows of layout, at just after a row's digits whose separator was checked. The
  // first call decides: the helper takes rows of that layout from a whole number of steps on,
  // near the middle of the file, or the file is not split. Later calls change nothing.
  void Offer(const EvenRunLayout& layout, std::uint64_t at);
  // The reader has read up to offset: past kDecideWithin the file is not split, unless decided.
  void Reached(std::uint64_t offset);
  // No split, unless decided already.
  void Decline();
  // Where the helper takes rows of layout on; none when the file is not split, the helper's
  // rows were taken already, or they are of another layout.
  std::optional<std::uint64_t> SplitAt(const EvenRunLayout& layout) const;
  // Waits for the helper's rows; once.
  RunTail TakeTail();
  // Where the bytes the reader compares end: the split while split, 0 when not split, no end
  // while undecided.
  std::uint64_t ReaderPartEnd() const;

  // The helper's side.
  //
  // Waits for the reader's decision: true with the layout and the split when split.
  bool AwaitSplit(EvenRunLayout& layout, std::uint64_t& at);
  void PostTail(const RunTail& tail);

 private:
  // Where the helper takes rows of which layout on.
  struct Split {
    EvenRunLayout layout;
    std::uint64_t at = 0;
  };

  const std::uint64_t size_;
  const std::uint64_t min_bytes_;
  util::HandOff<Split, RunTail> hand_off_;
  bool tail_taken_ = false;  // read and written by the reader only
};

// The reader's compare: the file's bytes as its reader reads them, from the start up to where
// the split says, compared with the other file's. A difference sets differ.
class ReaderPartMatch final : public core::ChunkObserver {
 public:
  ReaderPartMatch(const char* otherFile, const RunSplit& split, std::atomic<bool>& differ)
      : match_(otherFile, 0), split_(split), differ_(differ) {}
  void Observe(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) override;
  // Whether every byte of fileName up to the reader's part's end (or the file's end, when
  // sooner) matched: those the reader did not read (it ends at the file's closing checksum) are
  // read now.
  bool Finish(const char* fileName);

 private:
  core::FileBytesMatch match_;
  const RunSplit& split_;
  std::atomic<bool>& differ_;
  std::uint64_t compared_ = 0;
  bool same_ = true;
};

// The helper: waits for the reader's decision, then compares both files' bytes from the split on
// (or whole, when not split), decoding the run from the split on and posting its rows as soon as
// the run ends, or reading stops. True when both files hold the same bytes from there to their
// ends. A difference sets stop, and stop set stops the reading.
bool CompareHelperPart(const char* file, const char* otherFile, RunSplit& split,
                       std::atomic<bool>& stop, std::size_t windowBytes);

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_RUN_SPLIT_H
