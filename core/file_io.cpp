// File access for the readers.
#include "core/file_io.h"

namespace fusekit::core {

UniqueFile OpenFile(const char* fileName, const char* mode) {
  if (fileName == nullptr || fileName[0] == '\0') return UniqueFile();
  return UniqueFile(std::fopen(fileName, mode));
}

TextReader::TextReader(std::FILE* file)
    : file_(file), buffer_(new std::uint8_t[kReadChunkBytes]), pos_(nullptr), end_(nullptr) {}

TextReader::TextReader(std::string_view text)
    : file_(nullptr),
      pos_(reinterpret_cast<const std::uint8_t*>(text.data())),
      end_(reinterpret_cast<const std::uint8_t*>(text.data()) + text.size()) {}

bool TextReader::Refill() {
  if (file_ == nullptr) return false;
  const std::size_t got = std::fread(buffer_.get(), 1, kReadChunkBytes, file_);
  pos_ = buffer_.get();
  end_ = pos_ + got;
  return got > 0;
}

std::size_t TextReader::ReadLine(char* out, std::size_t size) {
  if (out == nullptr || size < 2) return 0;
  std::size_t n = 0;
  while (n + 1 < size) {
    const int c = Get();
    if (c == EOF) break;
    out[n++] = static_cast<char>(c);
    if (c == '\n') break;
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
