// The parse window over a file or over bytes in memory.
#include "support/bitstream_model/byte_source.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "core/file_io.h"

namespace fusekit::bitstream_model {

ByteSource::ByteSource(std::FILE* file) : file_(file) {}

ByteSource::ByteSource(std::FILE* file, std::uint64_t offset) : file_(file), passed_(offset) {}

ByteSource::ByteSource(const std::vector<std::uint8_t>& bytes)
    : window_(bytes.data()), end_(bytes.size()) {}

// Keeps the bytes from the cursor, moved to the front of the window, and reads until count of
// them are there or the file ends.
bool ByteSource::Fill(std::size_t count) {
  if (file_ == nullptr || failed_) return false;
  const std::size_t kept = end_ - at_;
  if (at_ != 0) {
    if (kept != 0) std::memmove(buffer_.Data(), buffer_.Data() + at_, kept);
    passed_ += at_;
    at_ = 0;
    end_ = kept;
  }
  if (seek_) {
    seek_ = false;
    if (std::fseek(file_, static_cast<long>(passed_), SEEK_SET) != 0) {
      failed_ = true;
      return false;
    }
  }
  while (end_ < count) {
    // A full window grows by doubling, so that memory follows the bytes the file has and a long
    // search reads in large blocks.
    if (end_ == capacity_) {
      const std::size_t capacity = std::max(kBlockBytes, 2 * capacity_);
      util::ReusedBlock grown(capacity);
      if (end_ != 0) std::memcpy(grown.Data(), buffer_.Data(), end_);
      buffer_ = std::move(grown);
      capacity_ = capacity;
    }
    const std::size_t got = std::fread(buffer_.Data() + end_, 1, capacity_ - end_, file_);
    if (got != 0 && observe_ != nullptr) observe_(context_, buffer_.Data() + end_, got);
    end_ += got;
    if (got == 0) {
      failed_ = std::ferror(file_) != 0;
      break;
    }
  }
  window_ = buffer_.Data();
  return end_ >= count;
}

bool ByteSource::Skip(std::uint64_t count) {
  for (;;) {
    const std::size_t here = end_ - at_;
    if (count <= here) {
      at_ += static_cast<std::size_t>(count);
      return true;
    }
    count -= here;
    at_ = end_;
    // Only a run longer than a block is worth a seek: shorter ones end in the block read next.
    if (Offset() >= seek_from_ && count >= kBlockBytes) return SeekOver(count);
    if (!Fill(std::min<std::uint64_t>(count, kBlockBytes))) {
      at_ = end_;
      return false;
    }
  }
}

void ByteSource::SeekOverFrom(std::uint64_t offset) {
  if (file_ == nullptr) return;
  size_ = core::FileSize(file_);
  // Where the size is not known (a pipe), everything is read.
  if (size_ != ~std::uint64_t{0} &&
      size_ <= static_cast<std::uint64_t>(std::numeric_limits<long>::max()))
    seek_from_ = offset;
}

bool ByteSource::SeekOver(std::uint64_t count) {
  const std::uint64_t wanted = Offset() + count;
  passed_ = std::min(wanted, size_);
  at_ = end_ = 0;
  seek_ = true;
  return passed_ == wanted;
}

void ByteSource::Drain() {
  while (Offset() < seek_from_ &&
         Skip(std::min<std::uint64_t>(kBlockBytes, seek_from_ - Offset()))) {
  }
}

bool ByteSource::Find(std::uint8_t value, std::size_t from, std::size_t& distance) {
  for (;;) {
    if (!Need(from + 1)) return false;
    const std::uint8_t* start = At() + from;
    const auto* hit =
        static_cast<const std::uint8_t*>(std::memchr(start, value, end_ - at_ - from));
    if (hit != nullptr) {
      distance = static_cast<std::size_t>(hit - At());
      return true;
    }
    from = end_ - at_;
  }
}

}  // namespace fusekit::bitstream_model
