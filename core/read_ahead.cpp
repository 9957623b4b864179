// Files read on a second thread.
#include "core/read_ahead.h"

#include <algorithm>
#include <cstring>
#include <system_error>

namespace fusekit::core {

ReadAhead::ReadAhead(std::FILE* file) : pipe_(kRingBytes), file_(file) {
  if (file_ == nullptr) return;
  try {
    reader_ = std::thread([this] { Read(); });
  } catch (const std::system_error&) {
    // Not started: the caller reads the file itself.
  }
}

ReadAhead::~ReadAhead() {
  pipe_.Stop();
  if (reader_.joinable()) reader_.join();
}

void ReadAhead::Read() {
  for (;;) {
    unsigned char* at = nullptr;
    const std::size_t room = std::min(pipe_.Room(at, kReadBytes), kReadBytes);
    if (room == 0) break;  // stopped
    const std::size_t got = std::fread(at, 1, room, file_);
    pipe_.Commit(got);
    if (got < room) {
      failed_ = std::ferror(file_) != 0;
      break;
    }
  }
  pipe_.Finish();
}

FileMatch::FileMatch(const char* fileName)
    : file_(OpenFile(fileName, "rb")), ahead_(file_.get()), same_(ahead_.Started()) {}

void FileMatch::Next(const std::uint8_t* bytes, std::size_t count) {
  while (same_ && count != 0) {
    const unsigned char* at = nullptr;
    const std::size_t run = std::min(ahead_.Next(at), count);
    same_ = run != 0 && std::memcmp(at, bytes, run) == 0;
    ahead_.Done(run);
    bytes += run;
    count -= run;
  }
}

bool FileMatch::Same() {
  const unsigned char* at = nullptr;
  if (same_) same_ = ahead_.Next(at) == 0 && !ahead_.Failed();
  return same_;
}

}  // namespace fusekit::core
