// Bit-serial reference CRCs, written straight from the definitions, one bit per step. The tests
// hold the table-driven engines to them and the benchmarks measure against them.
#ifndef FUSEKIT_TESTS_SUPPORT_CRC_REFERENCE_H
#define FUSEKIT_TESTS_SUPPORT_CRC_REFERENCE_H

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace fusekit::reference {

// Data CRC register after feeding one row: bytes from the last to the first, each from bit 0 to
// bit 7, at most widthBits bits; every bit shifted into bit 0, bit 31 deciding the reduction.
inline std::uint32_t DataCrcRow(std::uint32_t reg, const std::uint8_t* row, std::size_t count,
                                std::uint64_t widthBits) {
  std::uint64_t fed = 0;
  for (std::size_t i = count; i-- > 0;) {
    for (int bit = 0; bit < 8; ++bit) {
      if (fed == widthBits) return reg;
      const std::uint32_t top = reg >> 31;
      reg = (reg << 1) | ((row[i] >> bit) & 1u);
      if (top != 0) reg ^= 0x04C11DB7u;
      ++fed;
    }
  }
  return reg;
}

// A CRC-16 fed most significant bit first, with the caller's initial value and no final XOR.
inline std::uint16_t Crc16Msb(std::uint16_t poly, std::uint16_t reg, const std::uint8_t* bytes,
                              std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    for (int bit = 7; bit >= 0; --bit) {
      const bool data = ((bytes[i] >> bit) & 1u) != 0;
      const bool top = (reg & 0x8000u) != 0;
      reg = static_cast<std::uint16_t>(reg << 1);
      if (data != top) reg ^= poly;
    }
  }
  return reg;
}

inline std::uint16_t CcittFalse(const std::vector<std::uint8_t>& bytes) {
  return Crc16Msb(0x1021, 0xFFFF, bytes.data(), bytes.size());
}

// The file CRC of a text file read one character at a time, as the definition reads it: a first
// pass finds the marker (four characters; null for none) with its naive matching, a second pass
// feeds every character before it bit by bit, carriage returns left out; a byte 0xFF ends both.
inline std::uint16_t FileCrc(const std::string& path, const char* marker) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return 0xFFF3;
  char given[4] = {};
  char lowered[4] = {};
  for (int i = 0; marker != nullptr && i < 4 && marker[i] != '\0'; ++i) {
    given[i] = marker[i];
    lowered[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(marker[i])));
  }
  std::uint64_t count = 0;
  std::uint64_t marker_position = 0;  // 1-based position of the marker's first character
  int matched = 0;
  for (int c; (c = std::fgetc(file)) != EOF && c != 0xFF;) {
    ++count;
    if (marker == nullptr) continue;
    if (c == static_cast<unsigned char>(given[matched]) ||
        c == static_cast<unsigned char>(lowered[matched])) {
      if (++matched == 4) {
        marker_position = count - 3;
        break;
      }
    } else {
      matched = 0;
    }
  }
  std::rewind(file);
  std::uint16_t crc = 0xFFFF;
  count = 0;
  for (int c; (c = std::fgetc(file)) != EOF && c != 0xFF;) {
    if (++count == marker_position) break;
    const std::uint8_t byte = static_cast<std::uint8_t>(c);
    if (byte != '\r') crc = Crc16Msb(0x1021, crc, &byte, 1);
  }
  std::fclose(file);
  return crc;
}

}  // namespace fusekit::reference

#endif  // FUSEKIT_TESTS_SUPPORT_CRC_REFERENCE_H
