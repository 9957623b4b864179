// The line reader of the record converters.
#include "image/line_reader.h"

#include <cstring>

namespace fusekit::image {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 20;

}  // namespace

LineReader::LineReader(std::FILE* file) : file_(file), buffer_(new char[kBufferBytes]) {}

// Moves what is left to the front and reads more behind it; false when nothing more came.
bool LineReader::Refill() {
  if (at_end_) return false;
  const std::size_t left = end_ - pos_;
  std::memmove(buffer_.get(), buffer_.get() + pos_, left);
  pos_ = 0;
  end_ = left;
  const std::size_t got = std::fread(buffer_.get() + end_, 1, kBufferBytes - end_, file_);
  end_ += got;
  if (got == 0) at_end_ = true;
  return got != 0;
}

bool LineReader::Next(std::string_view& line) {
  for (;;) {
    const std::size_t avail = end_ - pos_;
    const std::size_t span = avail < kLinePieceChars ? avail : kLinePieceChars;
    const char* start = buffer_.get() + pos_;
    const auto* lf = static_cast<const char*>(std::memchr(start, '\n', span));
    std::size_t size;
    std::size_t taken;
    if (lf != nullptr) {
      size = static_cast<std::size_t>(lf - start);
      taken = size + 1;
    } else if (avail >= kLinePieceChars) {
      size = taken = kLinePieceChars;  // a piece of a longer line
    } else if (Refill()) {
      continue;
    } else if (avail == 0) {
      return false;
    } else {
      size = taken = avail;  // the last line, without a line feed
    }
    line = std::string_view(buffer_.get() + pos_, size);
    pos_ += taken;
    ++number_;
    return true;
  }
}

}  // namespace fusekit::image
