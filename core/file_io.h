// File access for the readers: an owning file handle, chunked reading, and a text reader that
// reads CR LF and CR line ends as LF, from a file or from memory.
#ifndef FUSEKIT_CORE_FILE_IO_H
#define FUSEKIT_CORE_FILE_IO_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "support/util/reused_block.h"

namespace fusekit::core {

// Size of the chunks in which files are read.
constexpr std::size_t kReadChunkBytes = 256 * 1024;

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != nullptr) std::fclose(file);
  }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

// Ends the writing of a file: flushes it, and closes it. False when any write to it failed since
// it was opened (the stream's error flag, which every failed fwrite, fputs, fputc and fprintf
// sets), or the flush or the close failed: the file on disk is then incomplete.
bool FinishWriting(UniqueFile& file);

// folder joined with name by the platform's separator; a null or empty folder is the current one.
std::string PathInFolder(const char* folder, const char* name);

// A whole file as one text, for parsers that need it at once: a regular file is mapped into
// memory (no copy, and no fresh memory to fault in), anything else (a pipe, a device) is read
// into a buffer. Ready is false when the file cannot be opened or read.
class MappedFile {
 public:
  explicit MappedFile(const char* fileName);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  bool Ready() const { return ready_; }
  std::string_view Text() const { return text_; }

 private:
  void* map_ = nullptr;
  std::size_t map_size_ = 0;
  std::string copy_;  // the bytes of a file that could not be mapped
  std::string_view text_;
  bool ready_ = false;
};

// Opens a file; a null or empty name gives a null handle.
UniqueFile OpenFile(const char* fileName, const char* mode);

// Opens a file to be read or written in blocks of the caller's own, unbuffered: each fread or
// fwrite is one read or write of the file. Through a buffer, a block whose size is not a whole
// number of the buffer's (what a window refilled after the text it keeps asks for) takes two,
// and each costs several microseconds on a virtual machine.
UniqueFile OpenForBlocks(const char* fileName, const char* mode = "rb");

// The size in bytes of an open regular file; the largest value for a pipe or a device, whose
// size is not known in advance.
std::uint64_t FileSize(std::FILE* file);

// Whether two files hold the same bytes (from start on, when start is not 0), read side by side a
// block at a time. False when either cannot be read, and as soon as a block differs.
bool SameFileBytes(const char* one, const char* other, std::uint64_t start = 0);

// Tells whether the bytes shown to it, in order, are a file's bytes from an offset on: each
// piece shown is read from the file, on the caller's thread, and compared with it.
class FileBytesMatch {
 public:
  FileBytesMatch(const char* fileName, std::uint64_t start);
  FileBytesMatch(const FileBytesMatch&) = delete;
  FileBytesMatch& operator=(const FileBytesMatch&) = delete;

  // The next count bytes; false from the first difference, or a file that cannot be read, on.
  bool Next(const std::uint8_t* bytes, std::size_t count);
  // Whether every byte shown matched and the file holds no more after them.
  bool SameToEnd();

 private:
  static constexpr std::size_t kBlockBytes = 256 * 1024;
  UniqueFile file_;
  util::ReusedBlock block_;
  bool same_ = false;
};

// Calls consume(bytes, count) for each chunk of the rest of the file until it returns false.
// Returns false when a read error stopped it, true at end of file or when consume stopped it.
template <class Consume>
bool ForEachChunk(std::FILE* file, Consume&& consume) {
  std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[kReadChunkBytes]);
  for (;;) {
    const std::size_t got = std::fread(buffer.get(), 1, kReadChunkBytes, file);
    if (got > 0 && !consume(static_cast<const std::uint8_t*>(buffer.get()), got)) return true;
    if (got < kReadChunkBytes) return std::ferror(file) == 0;
  }
}

// Sees every chunk a TextReader reads from its file, once, in file order: a way to look at the
// text for something else while one pass parses it.
class ChunkObserver {
 public:
  virtual ~ChunkObserver() = default;
  virtual void Observe(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) = 0;
};

// Sequential text reading with line ends folded: CR LF and a lone CR both read as LF, so a
// file reads the same whatever system wrote it.
class TextReader {
 public:
  explicit TextReader(std::FILE* file);
  explicit TextReader(std::string_view text);
  TextReader(const TextReader&) = delete;
  TextReader& operator=(const TextReader&) = delete;

  // The next character (0 to 255), or EOF.
  int Get() {
    if (pos_ == end_ && !Refill()) return EOF;
    const int c = *pos_++;
    if (c != '\r') return c;
    if (pos_ == end_ && !Refill()) return '\n';
    if (*pos_ == '\n') ++pos_;
    return '\n';
  }

  // The next character without taking it (a CR reads as LF), or EOF.
  int Peek() {
    if (pos_ == end_ && !Refill()) return EOF;
    return *pos_ == '\r' ? '\n' : *pos_;
  }

  // The raw characters at hand (line ends not folded), refilled when none are; begin == end at
  // the end of input. Bulk scanners read from it and give back what they used with Consume.
  const std::uint8_t* WindowBegin() {
    if (pos_ == end_) Refill();
    return pos_;
  }
  const std::uint8_t* WindowEnd() const { return end_; }
  void Consume(const std::uint8_t* upto) { pos_ = upto; }

  // Hands every chunk read from now on to observer (null for none); chunks read again after a
  // Seek back are not handed out twice.
  void SetObserver(ChunkObserver* observer) { observer_ = observer; }

  // Reads the rest of the file (for the observer's sake); nothing is left to read after it.
  void ReadToEnd() {
    pos_ = end_;
    while (Refill()) pos_ = end_;
  }

  // Position as a count of raw characters from the start, and a return to such a position.
  std::uint64_t Tell() const;
  void Seek(std::uint64_t position);
  void Rewind() { Seek(0); }

  // Reads one line as fgets does: at most size - 1 characters, stopping after a line feed, and
  // terminates it. Returns the count stored; 0 at end of input (or when size < 2).
  std::size_t ReadLine(char* out, std::size_t size);

 private:
  bool Refill();

  std::FILE* file_;                    // null when reading from memory
  util::ReusedBlock buffer_;           // chunk of the file being read
  const std::uint8_t* begin_;          // start of the characters at hand
  const std::uint8_t* pos_;            // next unread character
  const std::uint8_t* end_;            // end of the characters at hand
  std::uint64_t begin_offset_ = 0;     // position of begin_ in the file (0 for memory)
  ChunkObserver* observer_ = nullptr;  // sees each chunk read, or null
  std::uint64_t observed_end_ = 0;     // end of the text the observer has seen
};

// The reader state shared by the text readers of one call: the reader in use and the current
// character. Calls that read files are therefore not reentrant; ReaderStateScope binds a reader
// for the duration of one call and clears the state when the call ends.
struct ReaderState {
  TextReader* reader = nullptr;
  int current = EOF;
  bool at_end = true;
};
ReaderState& SharedReaderState();

class ReaderStateScope {
 public:
  explicit ReaderStateScope(TextReader& reader);
  ~ReaderStateScope();
  ReaderStateScope(const ReaderStateScope&) = delete;
  ReaderStateScope& operator=(const ReaderStateScope&) = delete;
};

}  // namespace fusekit::core

#endif  // FUSEKIT_CORE_FILE_IO_H
