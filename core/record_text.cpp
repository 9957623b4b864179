#include "core/record_text.h"

namespace fusekit::core {
namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

void PutByte(std::string& line, unsigned value) {
  line += kDigits[(value >> 4) & 0xF];
  line += kDigits[value & 0xF];
}

}  // namespace

std::string IntelRecord(unsigned type, std::uint16_t address, const std::uint8_t* bytes,
                        std::size_t count) {
  std::string line = ":";
  unsigned sum = static_cast<unsigned>(count) + (address >> 8) + (address & 0xFFu) + type;
  PutByte(line, static_cast<unsigned>(count));
  PutByte(line, address >> 8);
  PutByte(line, address & 0xFFu);
  PutByte(line, type);
  for (std::size_t i = 0; i < count; ++i) {
    PutByte(line, bytes[i]);
    sum += bytes[i];
  }
  PutByte(line, (0x100 - (sum & 0xFF)) & 0xFF);
  return line;
}

std::string MotorolaRecord(unsigned type, std::uint32_t address, const std::uint8_t* bytes,
                           std::size_t count) {
  const unsigned address_bytes = type == 2 || type == 8 ? 3 : type == 3 || type == 7 ? 4 : 2;
  std::string line = "S";
  line += static_cast<char>('0' + type);
  const unsigned length = static_cast<unsigned>(count) + address_bytes + 1;
  unsigned sum = length;
  PutByte(line, length);
  for (unsigned k = address_bytes; k-- > 0;) {
    const unsigned byte = (address >> (8 * k)) & 0xFFu;
    PutByte(line, byte);
    sum += byte;
  }
  for (std::size_t i = 0; i < count; ++i) {
    PutByte(line, bytes[i]);
    sum += bytes[i];
  }
  PutByte(line, ~sum & 0xFFu);
  return line;
}

std::string TektronixRecord(unsigned type, std::uint32_t address, const std::uint8_t* bytes,
                            std::size_t count) {
  // After '%': length (2 digits), type (1), checksum (2), address length (1), address (8), data.
  std::string body;
  body += kDigits[type & 0xF];
  body += "00";  // the checksum's place
  body += '8';
  for (int k = 7; k >= 0; --k) body += kDigits[(address >> (4 * k)) & 0xF];
  for (std::size_t i = 0; i < count; ++i) PutByte(body, bytes[i]);
  std::string length;
  PutByte(length, static_cast<unsigned>(body.size() + 2));
  body.insert(0, length);
  unsigned sum = 0;
  for (std::size_t i = 0; i < body.size(); ++i) {
    if (i == 3 || i == 4) continue;
    const char c = body[i];
    sum += static_cast<unsigned>(c <= '9' ? c - '0' : c - 'A' + 10);
  }
  body[3] = kDigits[(sum >> 4) & 0xF];
  body[4] = kDigits[sum & 0xF];
  return "%" + body;
}

void IntelHexLines::Put(std::uint32_t address, const std::uint8_t* bytes, std::size_t count,
                        std::string& out) {
  if (count_ != 0 && address != address_ + count_) Flush(out);
  for (std::size_t i = 0; i < count; ++i) {
    if (count_ == 0) address_ = address + static_cast<std::uint32_t>(i);
    pending_[count_++] = bytes[i];
    if (count_ == record_bytes_ || ((address_ + count_) & 0xFFFF) == 0) Flush(out);
  }
}

void IntelHexLines::Finish(std::string& out) {
  Flush(out);
  out += IntelRecord(0x01, 0, nullptr, 0) + eol_;
}

void IntelHexLines::Flush(std::string& out) {
  if (count_ == 0) return;
  const std::uint32_t upper = address_ >> 16;
  if (!segment_written_ || upper != segment_) {
    const std::uint8_t value[2] = {static_cast<std::uint8_t>(upper >> 8),
                                   static_cast<std::uint8_t>(upper)};
    out += IntelRecord(0x04, 0, value, 2) + eol_;
    segment_ = upper;
    segment_written_ = true;
  }
  out += IntelRecord(0x00, static_cast<std::uint16_t>(address_), pending_, count_) + eol_;
  count_ = 0;
}

}  // namespace fusekit::core
