// Record parsing of the three hex formats.
#include "image/records.h"

#include "support/util/hex_digits.h"

#include <array>

namespace fusekit::image {
namespace {

constexpr const std::array<signed char, 256>& kHexValues = hex::kDigitValue;

// Reads digits hex digits at text[at]; false when one is missing or not a digit.
bool ReadHex(std::string_view text, std::size_t at, int digits, std::uint64_t& value) {
  if (text.size() < at + static_cast<std::size_t>(digits)) return false;
  value = 0;
  for (int i = 0; i < digits; ++i) {
    const int v = kHexValues[static_cast<unsigned char>(text[at + static_cast<std::size_t>(i)])];
    if (v < 0) return false;
    value = value << 4 | static_cast<unsigned>(v);
  }
  return true;
}

// The text from at to the first blank or the line's end (what "%s" takes).
std::string_view RestFrom(std::string_view line, std::size_t at) {
  if (at >= line.size()) return {};
  std::size_t end = at;
  while (end < line.size() && line[end] != ' ' && line[end] != '\t' && line[end] != '\r' &&
         line[end] != '\n' && line[end] != '\v' && line[end] != '\f')
    ++end;
  return line.substr(at, end - at);
}

Record ParseIntel(std::string_view line) {
  Record r;
  std::uint64_t count, address, type;
  if (!ReadHex(line, 1, 2, count) || !ReadHex(line, 3, 4, address) || !ReadHex(line, 7, 2, type))
    return r;
  r.count = static_cast<int>(count);
  r.address = address;
  r.type = static_cast<int>(type);
  r.rest = RestFrom(line, 9);
  if (type == 0) {
    r.kind = RecordKind::kData;
    r.data_bytes = static_cast<long>(count);
  } else if (type == 2 || type == 4) {
    std::uint64_t value;
    if (!ReadHex(r.rest, 0, 4, value)) return Record{};
    r.value = static_cast<std::uint32_t>(value);
    r.kind = type == 2 ? RecordKind::kSegmentAddress : RecordKind::kLinearAddress;
  } else {
    r.kind = RecordKind::kIgnored;
  }
  return r;
}

Record ParseMotorola(std::string_view line) {
  Record r;
  std::uint64_t type, count;
  if (!ReadHex(line, 1, 1, type)) return r;
  r.type = static_cast<int>(type);
  if (type < 1 || type > 3) {
    r.kind = RecordKind::kIgnored;
    return r;
  }
  const int address_digits = 2 * (static_cast<int>(type) + 1);
  std::uint64_t address;
  if (!ReadHex(line, 2, 2, count) || !ReadHex(line, 4, address_digits, address)) return r;
  r.count = static_cast<int>(count);
  r.address = address;
  r.rest = RestFrom(line, 4 + static_cast<std::size_t>(address_digits));
  r.data_bytes = static_cast<long>(count) - address_digits / 2 - 1;
  r.kind = RecordKind::kData;
  return r;
}

Record ParseTektronix(std::string_view line) {
  Record r;
  std::uint64_t length, type, checksum, address_length, address;
  if (!ReadHex(line, 1, 2, length) || !ReadHex(line, 3, 1, type) ||
      !ReadHex(line, 4, 2, checksum) || !ReadHex(line, 6, 1, address_length))
    return r;
  if (address_length != 8) {
    r.kind = RecordKind::kBadAddressLength;
    return r;
  }
  if (!ReadHex(line, 7, 8, address)) return r;
  r.count = static_cast<int>(length);
  r.type = static_cast<int>(type);
  r.checksum = static_cast<int>(checksum);
  r.address = address;
  r.rest = RestFrom(line, 15);
  r.data_bytes = static_cast<long>(length / 2) - 7;
  r.kind = type == 6 ? RecordKind::kData : RecordKind::kChecked;
  return r;
}

// Decodes count bytes from the digits of text; false when text holds fewer digits.
bool DecodeBytes(std::string_view text, long count, std::uint8_t* out, unsigned& sum) {
  if (count < 0 || text.size() < static_cast<std::size_t>(count) * 2) return false;
  for (long i = 0; i < count; ++i) {
    const int high = kHexValues[static_cast<unsigned char>(text[static_cast<std::size_t>(2 * i)])];
    const int low =
        kHexValues[static_cast<unsigned char>(text[static_cast<std::size_t>(2 * i + 1)])];
    if ((high | low) < 0) return false;
    out[i] = static_cast<std::uint8_t>(high << 4 | low);
    sum += out[i];
  }
  return true;
}

// The value of each character in the Tektronix checksum: 0-9, A-F as 10-15, a-f as 40-45, and 0
// for every other character.
constexpr std::array<unsigned char, 256> kTekValues = [] {
  std::array<unsigned char, 256> values{};
  for (int c = 0; c < 256; ++c) {
    values[static_cast<std::size_t>(c)] =
        static_cast<unsigned char>(c >= '0' && c <= '9'   ? c - '0'
                                   : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                   : c >= 'a' && c <= 'f' ? c - 'a' + 40
                                                          : 0);
  }
  return values;
}();

// The digits of value as "%<width>X" prints them, each counted by its value.
unsigned FormattedDigitSum(std::uint64_t value) {
  unsigned sum = 0;
  for (; value != 0; value >>= 4) sum += static_cast<unsigned>(value & 0xF);
  return sum;
}

bool CheckIntel(const Record& r, std::uint8_t* data) {
  unsigned sum = static_cast<unsigned>(r.count) + static_cast<unsigned>(r.address >> 8) +
                 static_cast<unsigned>(r.address & 0xFF) + static_cast<unsigned>(r.type);
  std::uint8_t checksum;
  if (r.kind == RecordKind::kData) {
    if (!DecodeBytes(r.rest, r.data_bytes, data, sum)) return false;
    if (!DecodeBytes(r.rest.substr(static_cast<std::size_t>(r.data_bytes) * 2), 1, &checksum, sum))
      return false;
  } else {
    std::uint8_t value[3];
    if (!DecodeBytes(r.rest, 3, value, sum)) return false;  // the value and the checksum
  }
  return (sum & 0xFF) == 0;
}

bool CheckMotorola(const Record& r, std::uint8_t* data) {
  unsigned sum = static_cast<unsigned>(r.count);
  for (std::uint64_t a = r.address; a != 0; a >>= 8) sum += static_cast<unsigned>(a & 0xFF);
  if (!DecodeBytes(r.rest, r.data_bytes, data, sum)) return false;
  unsigned ignored = 0;
  std::uint8_t checksum;
  if (!DecodeBytes(r.rest.substr(static_cast<std::size_t>(r.data_bytes) * 2), 1, &checksum,
                   ignored))
    return false;
  return static_cast<std::uint8_t>(~sum) == checksum;
}

bool CheckTektronix(const Record& r, std::uint8_t* data) {
  unsigned sum = FormattedDigitSum(static_cast<std::uint64_t>(r.count)) +
                 FormattedDigitSum(static_cast<std::uint64_t>(r.type)) + 8 +
                 FormattedDigitSum(r.address);
  for (char c : r.rest) sum += kTekValues[static_cast<unsigned char>(c)];
  if (r.kind == RecordKind::kData) {
    unsigned ignored = 0;
    if (!DecodeBytes(r.rest, r.data_bytes, data, ignored)) return false;
  }
  return (sum & 0xFF) == static_cast<unsigned>(r.checksum);
}

}  // namespace

int HexValue(char c) {
  return kHexValues[static_cast<unsigned char>(c)];
}

bool IsRecordMark(RecordFormat format, char c) {
  switch (format) {
    case RecordFormat::kIntel:
      return c == ':';
    case RecordFormat::kMotorola:
      return c == 'S' || c == 's';
    default:
      return c == '%';
  }
}

Record ParseRecord(RecordFormat format, std::string_view line) {
  switch (format) {
    case RecordFormat::kIntel:
      return ParseIntel(line);
    case RecordFormat::kMotorola:
      return ParseMotorola(line);
    default:
      return ParseTektronix(line);
  }
}

bool CheckRecord(RecordFormat format, const Record& record, std::uint8_t* data) {
  switch (format) {
    case RecordFormat::kIntel:
      return CheckIntel(record, data);
    case RecordFormat::kMotorola:
      return CheckMotorola(record, data);
    default:
      return CheckTektronix(record, data);
  }
}

}  // namespace fusekit::image
