// File access for the readers.
#include "core/file_io.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "support/util/reused_block.h"

#if defined(__unix__) || defined(__APPLE__)
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#define FUSEKIT_HAS_MMAP 1
#endif

namespace fusekit::core {

MappedFile::MappedFile(const char* fileName) {
  if (fileName == nullptr || fileName[0] == '\0') return;
#if defined(FUSEKIT_HAS_MMAP)
  const int fd = ::open(fileName, O_RDONLY);
  if (fd < 0) return;
  struct stat info;
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
    if (info.st_size == 0) {
      ready_ = true;
    } else {
      int flags = MAP_PRIVATE;
#if defined(MAP_POPULATE)
      flags |= MAP_POPULATE;  // the parser reads every page: map them all at once
#endif
      void* map = ::mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ, flags, fd, 0);
      if (map != MAP_FAILED) {
        map_ = map;
        map_size_ = static_cast<std::size_t>(info.st_size);
        text_ = std::string_view(static_cast<const char*>(map), map_size_);
        ready_ = true;
      }
    }
  }
  ::close(fd);
  if (ready_) return;
#endif
  UniqueFile file = OpenFile(fileName, "rb");
  if (!file) return;
  ready_ = ForEachChunk(file.get(), [&](const std::uint8_t* chunk, std::size_t count) {
    copy_.append(reinterpret_cast<const char*>(chunk), count);
    return true;
  });
  text_ = copy_;
}

MappedFile::~MappedFile() {
#if defined(FUSEKIT_HAS_MMAP)
  if (map_ != nullptr) ::munmap(map_, map_size_);
#endif
}

std::string PathInFolder(const char* folder, const char* name) {
  std::string path = folder != nullptr && folder[0] != '\0' ? folder : ".";
#if defined(_WIN32)
  path += '\\';
#else
  path += '/';
#endif
  return path + name;
}

bool FinishWriting(UniqueFile& file) {
  if (!file) return false;
  std::FILE* f = file.release();
  const bool written = std::fflush(f) == 0 && std::ferror(f) == 0;
  return std::fclose(f) == 0 && written;
}

std::uint64_t FileSize(std::FILE* file) {
#if defined(FUSEKIT_HAS_MMAP)
  struct stat info;
  if (file != nullptr && ::fstat(::fileno(file), &info) == 0 && S_ISREG(info.st_mode))
    return static_cast<std::uint64_t>(info.st_size);
#else
  (void)file;
#endif
  return ~std::uint64_t{0};
}

bool SameFileBytes(const char* one, const char* other, std::uint64_t start) {
  UniqueFile files[2] = {OpenFile(one, "rb"), OpenFile(other, "rb")};
  if (!files[0] || !files[1]) return false;
  const std::uint64_t size = FileSize(files[0].get());
  const std::uint64_t other_size = FileSize(files[1].get());
  if (size != ~std::uint64_t{0} && other_size != ~std::uint64_t{0} && other_size != size)
    return false;
  for (UniqueFile& file : files) {
    if (start != 0 && (start > static_cast<std::uint64_t>(std::numeric_limits<long>::max()) ||
                       std::fseek(file.get(), static_cast<long>(start), SEEK_SET) != 0))
      return false;
  }
  // Blocks of both files that fit in a core's cache together, so that the compare finds them
  // there as the reads left them.
  constexpr std::size_t kBlockBytes = 256 * 1024;
  const util::ReusedBlock blocks(2 * kBlockBytes);
  unsigned char* const block[2] = {blocks.Data(), blocks.Data() + kBlockBytes};
  for (;;) {
    std::size_t got[2];
    for (int i = 0; i < 2; ++i) got[i] = std::fread(block[i], 1, kBlockBytes, files[i].get());
    if (got[0] != got[1] || std::memcmp(block[0], block[1], got[0]) != 0) return false;
    if (got[0] < kBlockBytes)
      return std::ferror(files[0].get()) == 0 && std::ferror(files[1].get()) == 0;
  }
}

FileBytesMatch::FileBytesMatch(const char* fileName, std::uint64_t start)
    : file_(OpenForBlocks(fileName)) {
  same_ = file_ && start <= static_cast<std::uint64_t>(std::numeric_limits<long>::max()) &&
          std::fseek(file_.get(), static_cast<long>(start), SEEK_SET) == 0;
  if (same_) block_ = util::ReusedBlock(kBlockBytes);
}

bool FileBytesMatch::Next(const std::uint8_t* bytes, std::size_t count) {
  while (same_ && count != 0) {
    const std::size_t want = std::min(count, kBlockBytes);
    same_ = std::fread(block_.Data(), 1, want, file_.get()) == want &&
            std::memcmp(block_.Data(), bytes, want) == 0;
    bytes += want;
    count -= want;
  }
  return same_;
}

bool FileBytesMatch::SameToEnd() {
  if (same_) same_ = std::fgetc(file_.get()) == EOF && std::ferror(file_.get()) == 0;
  return same_;
}

UniqueFile OpenFile(const char* fileName, const char* mode) {
  if (fileName == nullptr || fileName[0] == '\0') return UniqueFile();
  return UniqueFile(std::fopen(fileName, mode));
}

UniqueFile OpenForBlocks(const char* fileName, const char* mode) {
  UniqueFile file = OpenFile(fileName, mode);
  if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
  return file;
}

TextReader::TextReader(std::FILE* file)
    : file_(file),
      buffer_(kReadChunkBytes),
      begin_(buffer_.Data()),
      pos_(buffer_.Data()),
      end_(buffer_.Data()) {
  const long at = std::ftell(file);
  begin_offset_ = at > 0 ? static_cast<std::uint64_t>(at) : 0;
}

TextReader::TextReader(std::string_view text)
    : file_(nullptr),
      begin_(reinterpret_cast<const std::uint8_t*>(text.data())),
      pos_(begin_),
      end_(begin_ + text.size()) {}

bool TextReader::Refill() {
  if (file_ == nullptr) return false;
  begin_offset_ += static_cast<std::uint64_t>(end_ - begin_);
  const std::size_t got = std::fread(buffer_.Data(), 1, kReadChunkBytes, file_);
  begin_ = pos_ = buffer_.Data();
  end_ = pos_ + got;
  if (observer_ != nullptr && got > 0 && begin_offset_ + got > observed_end_) {
    const std::uint64_t skip = observed_end_ > begin_offset_ ? observed_end_ - begin_offset_ : 0;
    observer_->Observe(begin_offset_ + skip, begin_ + skip, got - static_cast<std::size_t>(skip));
    observed_end_ = begin_offset_ + got;
  }
  return got > 0;
}

std::uint64_t TextReader::Tell() const {
  return begin_offset_ + static_cast<std::uint64_t>(pos_ - begin_);
}

void TextReader::Seek(std::uint64_t position) {
  if (file_ == nullptr) {
    const std::uint64_t size = static_cast<std::uint64_t>(end_ - begin_);
    pos_ = begin_ + (position < size ? position : size);
    return;
  }
  // Within the chunk at hand, move; otherwise read from the file again.
  if (position >= begin_offset_ &&
      position <= begin_offset_ + static_cast<std::uint64_t>(end_ - begin_)) {
    pos_ = begin_ + (position - begin_offset_);
    return;
  }
  std::fseek(file_, static_cast<long>(position), SEEK_SET);
  begin_offset_ = position;
  begin_ = pos_ = end_ = buffer_.Data();
}

std::size_t TextReader::ReadLine(char* out, std::size_t size) {
  if (out == nullptr || size < 2) return 0;
  std::size_t n = 0;
  while (n + 1 < size) {
    if (pos_ == end_ && !Refill()) break;
    // Copy up to the first line end within what the buffer and the line may still take.
    const std::size_t room = size - 1 - n;
    const std::size_t avail = static_cast<std::size_t>(end_ - pos_);
    const std::size_t span = avail < room ? avail : room;
    const auto* lf = static_cast<const std::uint8_t*>(std::memchr(pos_, '\n', span));
    const std::uint8_t* stop = lf != nullptr ? lf : pos_ + span;
    const auto* cr = static_cast<const std::uint8_t*>(
        std::memchr(pos_, '\r', static_cast<std::size_t>(stop - pos_)));
    if (cr != nullptr) stop = cr;
    std::memcpy(out + n, pos_, static_cast<std::size_t>(stop - pos_));
    n += static_cast<std::size_t>(stop - pos_);
    pos_ = stop;
    if (cr != nullptr || lf != nullptr) {
      out[n++] = static_cast<char>(Get());  // the line end, CR LF and CR read as LF
      break;
    }
  }
  out[n] = '\0';
  return n;
}

ReaderState& SharedReaderState() {
  static ReaderState state;
  return state;
}

ReaderStateScope::ReaderStateScope(TextReader& reader) {
  ReaderState& state = SharedReaderState();
  state.reader = &reader;
  state.current = EOF;
  state.at_end = false;
}

ReaderStateScope::~ReaderStateScope() {
  SharedReaderState() = ReaderState();
}

}  // namespace fusekit::core
