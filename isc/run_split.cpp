// A run of even rows read by two threads, and the compare of two files shared between them.
#include "isc/run_split.h"

#include <algorithm>
#include <limits>

#include "isc/flat_rows.h"
#include "isc/text_window.h"
#include "support/util/crc_engine.h"

namespace fusekit::isc {

void RunSplit::Offer(const EvenRunLayout& layout, std::uint64_t at) {
  if (hand_off_.Decided()) return;
  const bool size_known = size_ != std::numeric_limits<std::uint64_t>::max();
  if (!size_known || at > size_ || size_ - at < min_bytes_ || layout.step == 0) {
    hand_off_.Decide(std::nullopt);
    return;
  }
  const std::uint64_t middle = std::max(size_ / 2, at);
  hand_off_.Decide(Split{layout, at + (middle - at) / layout.step * layout.step});
}

void RunSplit::Reached(std::uint64_t offset) {
  if (offset > kDecideWithin) hand_off_.Decide(std::nullopt);
}

void RunSplit::Decline() {
  hand_off_.Decide(std::nullopt);
}

std::optional<std::uint64_t> RunSplit::SplitAt(const EvenRunLayout& layout) const {
  const std::optional<Split>& split = hand_off_.DecidedPlan();
  if (!split || tail_taken_ || !(layout == split->layout)) return std::nullopt;
  return split->at;
}

RunTail RunSplit::TakeTail() {
  tail_taken_ = true;
  return hand_off_.Take();
}

std::uint64_t RunSplit::ReaderPartEnd() const {
  if (!hand_off_.Decided()) return std::numeric_limits<std::uint64_t>::max();
  const std::optional<Split>& split = hand_off_.DecidedPlan();
  return split ? split->at : 0;
}

bool RunSplit::AwaitSplit(EvenRunLayout& layout, std::uint64_t& at) {
  const std::optional<Split> split = hand_off_.Await();
  if (!split) return false;
  layout = split->layout;
  at = split->at;
  return true;
}

void RunSplit::PostTail(const RunTail& tail) {
  hand_off_.Post(tail);
}

void ReaderPartMatch::Observe(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) {
  const std::uint64_t end = split_.ReaderPartEnd();
  if (!same_ || offset >= end) return;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, end - offset));
  same_ = offset == compared_ && match_.Next(bytes, count);
  compared_ = offset + count;
  if (!same_) differ_ = true;
}

bool ReaderPartMatch::Finish(const char* fileName) {
  const std::uint64_t end = split_.ReaderPartEnd();
  if (!same_ || compared_ >= end) return same_;
  core::UniqueFile file = core::OpenFile(fileName, "rb");
  if (!file || compared_ > static_cast<std::uint64_t>(std::numeric_limits<long>::max()) ||
      std::fseek(file.get(), static_cast<long>(compared_), SEEK_SET) != 0)
    return same_ = false;
  core::ForEachChunk(file.get(), [&](const std::uint8_t* bytes, std::size_t count) {
    Observe(compared_, bytes, count);
    return same_ && compared_ < end;
  });
  return same_ && !std::ferror(file.get());
}

namespace {

// The helper's compare: every read of its part of the file compared with the other file's bytes.
class HelperPartMatch final : public core::ChunkObserver {
 public:
  HelperPartMatch(const char* otherFile, std::uint64_t start, std::atomic<bool>& differ)
      : match_(otherFile, start), differ_(differ) {}
  void Observe(std::uint64_t, const std::uint8_t* bytes, std::size_t count) override {
    if (!match_.Next(bytes, count)) differ_ = true;
  }
  bool SameToEnd() { return match_.SameToEnd(); }

 private:
  core::FileBytesMatch match_;
  std::atomic<bool>& differ_;
};

// Decodes the rows of layout that stand one after another from the window's first byte (just
// after a row's digits), up to the first that stands otherwise, reading on as needed: their
// count and data CRC. The window is left holding the text after them from index *pos on.
RunTail DecodeRunFromStart(TextWindow& window, const EvenRunLayout& layout, std::size_t& pos) {
  constexpr std::size_t kRunBytes = 16 * 1024;
  unsigned char run[kRunBytes];
  const std::size_t row_bytes = (layout.width + 7) / 8;
  const bool short_lead = HasShortLead(layout.width);
  crc_engine::DataCrc32Batch crc;
  RunTail tail;
  if (row_bytes == 0 || row_bytes > kRunBytes) return tail;
  for (;;) {
    const std::size_t held = window.Text().size() - pos;
    // The rows whose separator after them has a whole word of the window from it on.
    const std::size_t fit = held >= layout.step + sizeof(std::uint64_t)
                                ? (held - sizeof(std::uint64_t)) / layout.step
                                : 0;
    const std::size_t want = std::min(fit, kRunBytes / row_bytes);
    if (want == 0) {
      if (!window.More(pos)) break;
      pos = 0;
      continue;
    }
    const char* const at = window.Text().data() + pos + layout.separator_bytes;
    const std::size_t done = DecodeEvenRows(at, layout.step, layout.digits, short_lead,
                                            layout.separator, layout.separator_bytes, want, run);
    crc.AddRows(run, done, row_bytes, layout.width);
    tail.rows += done;
    pos += done * layout.step;
    if (done < want) break;
  }
  tail.data_crc = crc.Value();
  return tail;
}

// Posts the helper's rows once: when they are known, or with none when the helper ends before,
// since the reader waits for them.
class TailPoster {
 public:
  explicit TailPoster(RunSplit& split) : split_(split) {}
  ~TailPoster() {
    if (!posted_) split_.PostTail(RunTail());
  }
  void Post(const RunTail& tail) {
    split_.PostTail(tail);
    posted_ = true;
  }

 private:
  RunSplit& split_;
  bool posted_ = false;
};

}  // namespace

bool CompareHelperPart(const char* file, const char* otherFile, RunSplit& split,
                       std::atomic<bool>& stop, std::size_t windowBytes) {
  EvenRunLayout layout;
  std::uint64_t at = 0;
  if (!split.AwaitSplit(layout, at)) return core::SameFileBytes(file, otherFile);
  TailPoster poster(split);
  HelperPartMatch match(otherFile, at, stop);
  TextWindow window(file, windowBytes, &match, at);
  if (!window.Ready()) {
    stop = true;
    return false;
  }
  window.StopWhen(&stop);
  std::size_t pos = 0;
  RunTail tail = DecodeRunFromStart(window, layout, pos);
  tail.file_crc = window.FileCrcOfTextBefore(at + tail.rows * layout.step);
  poster.Post(tail);
  // The rest is compared only.
  for (std::size_t held = window.Text().size(); window.More(held); held = window.Text().size()) {
  }
  return !window.Failed() && match.SameToEnd();
}

}  // namespace fusekit::isc
