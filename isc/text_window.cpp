// The text of an ISC data file, whole or through a window that slides on.
#include "isc/text_window.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace fusekit::isc {
TextWindow::TextWindow(std::string_view whole) : text_(whole), size_(whole.size()), ready_(true) {}

TextWindow::TextWindow(const char* fileName, std::size_t windowBytes, core::ChunkObserver* seen,
                       std::uint64_t start)
    : file_(core::OpenForBlocks(fileName)), seen_(seen) {
  if (!file_) return;
  if (start != 0) {
    if (start > static_cast<std::uint64_t>(std::numeric_limits<long>::max()) ||
        std::fseek(file_.get(), static_cast<long>(start), SEEK_SET) != 0)
      return;
    offset_ = start;
    dropped_crc_ = crc::FileCrcOfPieces::Part();
  }
  size_ = core::FileSize(file_.get());
  capacity_ = std::max<std::size_t>(windowBytes, 2);
  buffer_ = util::ReusedBlock(capacity_);
  text_ = std::string_view(Buffer(), 0);
  ready_ = true;
  More(0);
}

std::size_t TextWindow::Drop(std::size_t keep) {
  keep = std::min(keep, text_.size());
  dropped_crc_.Add(reinterpret_cast<const std::uint8_t*>(text_.data()), keep);
  offset_ += keep;
  return keep;
}

bool TextWindow::More(std::size_t keep) {
  if (!file_) return false;
  keep = Drop(keep);
  const std::size_t kept = text_.size() - keep;
  // A word as long as most of the window (a row of many digits) makes it twice as large.
  if (kept > capacity_ / 2 && capacity_ <= std::numeric_limits<std::size_t>::max() / 4) {
    util::ReusedBlock larger(2 * capacity_);
    std::memcpy(larger.Data(), text_.data() + keep, kept);
    buffer_ = std::move(larger);
    capacity_ *= 2;
  } else if (kept != 0 && keep != 0) {
    std::memmove(Buffer(), text_.data() + keep, kept);
  }
  return Read(kept);
}

bool TextWindow::Read(std::size_t kept) {
  std::size_t got = 0;
  if (stop_ != nullptr && stop_->load(std::memory_order_relaxed)) failed_ = true;
  if (!failed_ && !std::feof(file_.get()) && kept < capacity_) {
    got = std::fread(Buffer() + kept, 1, capacity_ - kept, file_.get());
    if (got == 0 && std::ferror(file_.get())) failed_ = true;
  }
  text_ = std::string_view(Buffer(), kept + got);
  if (seen_ != nullptr && got != 0)
    seen_->Observe(offset_ + kept, reinterpret_cast<const std::uint8_t*>(Buffer() + kept), got);
  return got != 0;
}

bool TextWindow::Jump(std::size_t keep, std::uint64_t to, const crc::FileCrcOfPieces& skipped) {
  if (!file_) return false;
  Drop(keep);
  dropped_crc_.Join(skipped);
  offset_ = to;
  text_ = std::string_view(Buffer(), 0);
  if (to > static_cast<std::uint64_t>(std::numeric_limits<long>::max()) ||
      std::fseek(file_.get(), static_cast<long>(to), SEEK_SET) != 0) {
    failed_ = true;
    return false;
  }
  return Read(0);
}

crc::FileCrcOfPieces TextWindow::FileCrcOfTextBefore(std::uint64_t offset) const {
  crc::FileCrcOfPieces crc = dropped_crc_;
  const std::uint64_t held = offset > offset_ ? offset - offset_ : 0;
  crc.Add(reinterpret_cast<const std::uint8_t*>(text_.data()),
          static_cast<std::size_t>(std::min<std::uint64_t>(held, text_.size())));
  return crc;
}

}  // namespace fusekit::isc
