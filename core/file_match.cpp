// A file read on a second thread and compared with bytes shown to it.
#include "core/file_match.h"

#include <algorithm>
#include <cstring>
#include <system_error>

namespace fusekit::core {

FileMatch::FileMatch(const char* fileName) : pipe_(kRingBytes), file_(OpenFile(fileName, "rb")) {
  if (!file_) return;
  try {
    reader_ = std::thread([this] { ReadFile(); });
    same_ = true;
  } catch (const std::system_error&) {
    same_ = false;
  }
}

FileMatch::~FileMatch() {
  pipe_.Stop();
  if (reader_.joinable()) reader_.join();
}

void FileMatch::ReadFile() {
  for (;;) {
    unsigned char* at = nullptr;
    const std::size_t room = std::min(pipe_.Room(at, kReadBytes), kReadBytes);
    if (room == 0) break;  // stopped
    const std::size_t got = std::fread(at, 1, room, file_.get());
    pipe_.Commit(got);
    if (got < room) {
      read_failed_ = std::ferror(file_.get()) != 0;
      break;
    }
  }
  pipe_.Finish();
}

void FileMatch::Next(const std::uint8_t* bytes, std::size_t count) {
  while (same_ && count != 0) {
    const unsigned char* at = nullptr;
    const std::size_t run = std::min(pipe_.Peek(at), count);
    same_ = run != 0 && std::memcmp(at, bytes, run) == 0;
    pipe_.Consume(run);
    bytes += run;
    count -= run;
  }
  if (!same_) pipe_.Stop();
}

bool FileMatch::Same() {
  const unsigned char* at = nullptr;
  if (same_) same_ = pipe_.Peek(at) == 0 && !read_failed_;
  pipe_.Stop();
  return same_;
}

}  // namespace fusekit::core
