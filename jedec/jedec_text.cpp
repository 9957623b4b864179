// Shared pieces of the JEDEC writers.
#include "jedec/jedec_text.h"

#include <cstdio>
#include <cstring>

#include "core/file_io.h"
#include "core/status.h"

namespace fusekit::jedec {

unsigned FuseChecksum(const std::vector<std::uint8_t>& fuses) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < fuses.size(); i += 8) {
    unsigned byte = 0;
    for (std::size_t j = 0; j < 8 && i + j < fuses.size(); ++j) {
      if (fuses[i + j] != 0) byte |= 1u << j;
    }
    sum += byte;
  }
  return sum & 0xFFFF;
}

unsigned TransmissionChecksum(const std::string& stx_to_etx) {
  unsigned sum = 0;
  for (const char c : stx_to_etx) sum += static_cast<unsigned char>(c);
  return sum & 0xFFFF;
}

void AppendFuseField(std::string& text, const std::vector<std::uint8_t>& fuses, std::uint64_t first,
                     std::uint64_t end) {
  char address[24];
  std::snprintf(address, sizeof address, "L%.8llu ", static_cast<unsigned long long>(first));
  text += address;
  for (std::uint64_t f = first; f < end; ++f) text += fuses[f] != 0 ? '1' : '0';
  text += std::string("*") + kEol;
}

std::string UsercodeFieldText(const std::string& bits) {
  if (bits.size() % 4 != 0) return bits;
  std::string text = "H";
  for (std::size_t i = 0; i < bits.size(); i += 4) {
    unsigned nibble = 0;
    for (std::size_t j = 0; j < 4; ++j) nibble = nibble << 1 | (bits[i + j] == '1' ? 1u : 0u);
    text += "0123456789ABCDEF"[nibble];
  }
  return text;
}

std::string AsNoteText(const std::string& line) {
  std::string text;
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    text += c == '*' ? '+' : (byte < 0x20 || byte >= 0x7F) && c != '\t' ? '?' : c;
  }
  return text;
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(at, end - at);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
    at = end + 1;
  }
  return lines;
}

namespace {

constexpr std::size_t kFlushBytes = 1 << 20;

// The eight digits of a byte's bits, bit 0 first.
struct ByteDigits {
  char digits[256][8];
  ByteDigits() {
    for (int b = 0; b < 256; ++b)
      for (int j = 0; j < 8; ++j) digits[b][j] = ((b >> j) & 1) != 0 ? '1' : '0';
  }
};

const ByteDigits& DigitsOfBytes() {
  static const ByteDigits table;
  return table;
}

}  // namespace

JedecTextWriter::JedecTextWriter() : buffer_(kFlushBytes + 4096) {}

JedecTextWriter::~JedecTextWriter() {
  if (file_ != nullptr) std::fclose(file_);
}

bool JedecTextWriter::Open(const char* path) {
  file_ = path != nullptr && path[0] != '\0' ? std::fopen(path, "wb") : nullptr;
  return file_ != nullptr;
}

void JedecTextWriter::Flush() {
  const auto* bytes = reinterpret_cast<const unsigned char*>(buffer_.data());
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < used_; ++i) sum += bytes[i];
  sum_ += sum;
  if (used_ != 0) std::fwrite(buffer_.data(), 1, used_, file_);
  used_ = 0;
}

char* JedecTextWriter::Room(std::size_t count) {
  if (buffer_.size() - used_ < count) {
    Flush();
    if (buffer_.size() < count) buffer_.resize(count);
  }
  return buffer_.data() + used_;
}

void JedecTextWriter::Put(const std::string& text) {
  std::memcpy(Room(text.size()), text.data(), text.size());
  used_ += text.size();
}

void JedecTextWriter::PutFuses(const KvByteBuffer* row, std::uint64_t width, std::uint64_t start,
                               std::uint64_t from, std::uint64_t to, bool mirrored,
                               FuseChecksummer& checksum) {
  // "L", the address in eight digits or more, a blank, a digit a fuse, "*" and the line end.
  char* out = Room(static_cast<std::size_t>(to - from) + 32);
  char* const begin = out;
  *out++ = 'L';
  char digits[24];
  int count = 0;
  for (std::uint64_t address = start + from; address != 0 || count < 8; address /= 10)
    digits[count++] = static_cast<char>('0' + address % 10);
  while (count > 0) *out++ = digits[--count];
  *out++ = ' ';
  const std::uint64_t pad = (8 - width % 8) % 8;
  const unsigned char* bytes = row != nullptr ? row->GetBuffer() : nullptr;
  std::uint64_t c = from;
  if (bytes != nullptr && !mirrored && pad == 0 && from % 8 == 0 && (start + from) % 8 == 0) {
    // Whole bytes: columns 8k to 8k + 7 are bits 0 to 7 of byte width / 8 - 1 - k, and those
    // eight fuses make one byte of the checksum as they stand.
    const ByteDigits& table = DigitsOfBytes();
    const unsigned char* byte = bytes + (width / 8 - 1 - c / 8);
    std::uint32_t sum = 0;
    for (; c + 8 <= to; c += 8, --byte) {
      std::memcpy(out, table.digits[*byte], 8);
      out += 8;
      sum += *byte;
    }
    checksum.AddBytes(sum);
  }
  for (; c < to; ++c) {
    const std::uint64_t p = mirrored ? pad + c : pad + width - 1 - c;
    const bool set = bytes != nullptr && ((bytes[p / 8] >> (7 - p % 8)) & 1u) != 0;
    *out++ = set ? '1' : '0';
    if (set) checksum.AddFuse(start + c);
  }
  *out++ = '*';
  *out++ = '\r';
  *out++ = '\n';
  used_ += static_cast<std::size_t>(out - begin);
}

int JedecTextWriter::Finish() {
  Flush();
  char text[8];
  std::snprintf(text, sizeof text, "%.4X", sum_ & 0xFFFF);
  std::fputs(text, file_);
  const bool written = std::fflush(file_) == 0 && std::ferror(file_) == 0;
  const bool closed = std::fclose(file_) == 0;
  file_ = nullptr;
  return written && closed ? static_cast<int>(sum_ & 0xFFFF) : kStatusWriteFailed;
}

HeaderFields SplitHeaderBlock(const char* block, const std::string& default_design) {
  HeaderFields fields{default_design, {}};
  if (block == nullptr) return fields;
  const std::vector<std::string> lines = LinesOf(block);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i == 0) {
      fields.design = lines[0];
    } else if (!lines[i].empty()) {
      fields.notes.push_back(lines[i]);
    }
  }
  return fields;
}

int WriteJedecText(const char* path, const std::string& stx_to_etx) {
  const unsigned checksum = TransmissionChecksum(stx_to_etx);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", checksum);
  core::UniqueFile file = core::OpenFile(path, "wb");
  if (!file) return kStatusCannotOpenFile;
  std::fwrite(stx_to_etx.data(), 1, stx_to_etx.size(), file.get());
  std::fputs(digits, file.get());
  if (!core::FinishWriting(file)) return kStatusWriteFailed;
  return static_cast<int>(checksum);
}

}  // namespace fusekit::jedec
