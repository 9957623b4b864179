// A file read on a second thread ahead of the one that uses its bytes, and a file compared with
// bytes that something else reads.
#ifndef FUSEKIT_CORE_READ_AHEAD_H
#define FUSEKIT_CORE_READ_AHEAD_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <thread>

#include "core/file_io.h"
#include "support/util/byte_pipe.h"

namespace fusekit::core {

// Reads a file from where it stands on a second thread into a ring, whose runs of bytes the
// caller then uses where they stand: the copying of the file's pages out of the system's cache
// is done beside the caller's own work, and nothing is copied twice. The file must stay open
// while this lives.
class ReadAhead {
 public:
  explicit ReadAhead(std::FILE* file);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // False when no second thread could be started: the caller then reads the file itself.
  bool Started() const { return reader_.joinable(); }
  // Waits for bytes and points at the next run of them, which stays there until Done; 0 at the
  // end of the file.
  std::size_t Next(const unsigned char*& at) { return pipe_.Peek(at); }
  // The first count bytes of the run are used.
  void Done(std::size_t count) { pipe_.Consume(count); }
  // After Next gave 0: whether a read error, not the end of the file, ended the bytes.
  bool Failed() const { return failed_; }

 private:
  // The reader waits for a quarter of the ring to be free and fills it in one read, so that
  // each side wakes the other about once a quarter: on a virtual machine a wake costs as much as
  // reading a hundred KiB.
  static constexpr std::size_t kRingBytes = 2 << 20;
  static constexpr std::size_t kReadBytes = kRingBytes / 4;  // the most one read asks for
  void Read();

  util::BytePipe pipe_;
  std::FILE* file_;
  bool failed_ = false;  // set by the reading thread before it finishes the pipe
  std::thread reader_;
};

// Tells whether the bytes shown to it, in order, are the bytes of a file, which is read ahead
// on a second thread: each block shown is compared with the ring where it stands, so the bytes
// of two files are compared for the cost of reading the larger, with no copy of either.
class FileMatch {
 public:
  explicit FileMatch(const char* fileName);
  FileMatch(const FileMatch&) = delete;
  FileMatch& operator=(const FileMatch&) = delete;

  // The next count bytes. After a difference the file is read no more.
  void Next(const std::uint8_t* bytes, std::size_t count);
  // Whether every byte shown matched the file, and the file ends where they end. False too when
  // the file cannot be read or no second thread could be started: "not known to be the same".
  bool Same();

 private:
  UniqueFile file_;
  ReadAhead ahead_;  // after file_, which it reads: it ends first
  bool same_ = false;
};

}  // namespace fusekit::core

#endif  // FUSEKIT_CORE_READ_AHEAD_H
