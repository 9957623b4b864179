// A file compared with bytes that something else reads, each file read once and both at once.
#ifndef FUSEKIT_CORE_FILE_MATCH_H
#define FUSEKIT_CORE_FILE_MATCH_H

#include <cstddef>
#include <cstdint>
#include <thread>

#include "core/file_io.h"
#include "support/util/byte_pipe.h"

namespace fusekit::core {

// Tells whether the bytes shown to it, in order, are the bytes of a file. A second thread reads
// the file into a ring while the caller reads its own (a parse of another file, showing each
// block it reads), and each block shown is compared with the ring where it stands: the bytes of
// two files compared for the cost of reading the larger, with no copy of either.
class FileMatch {
 public:
  explicit FileMatch(const char* fileName);
  ~FileMatch();
  FileMatch(const FileMatch&) = delete;
  FileMatch& operator=(const FileMatch&) = delete;

  // The next count bytes. After a difference the file is read no more.
  void Next(const std::uint8_t* bytes, std::size_t count);
  // Whether every byte shown matched the file, and the file ends where they end. False too when
  // the file cannot be read or no second thread could be started: "not known to be the same".
  bool Same();

 private:
  // The reader fills half the ring at a time, so that each side wakes the other about once a
  // MiB: on a virtual machine a wake costs as much as reading a hundred KiB.
  static constexpr std::size_t kRingBytes = 2 << 20;
  static constexpr std::size_t kReadBytes = kRingBytes / 2;  // the most one read asks for
  void ReadFile();

  util::BytePipe pipe_;
  UniqueFile file_;
  bool same_ = false;
  bool read_failed_ = false;  // set by the reading thread before it finishes the pipe
  std::thread reader_;
};

}  // namespace fusekit::core

#endif  // FUSEKIT_CORE_FILE_MATCH_H
