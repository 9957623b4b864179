// Bit-serial reference CRCs, written straight from the definitions, one bit per step. The tests
// hold the table-driven engines to them and the benchmarks measure against them.
#ifndef FUSEKIT_TESTS_SUPPORT_CRC_REFERENCE_H
#define FUSEKIT_TESTS_SUPPORT_CRC_REFERENCE_H

#include <cstddef>
#include <cstdint>
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

}  // namespace fusekit::reference

#endif  // FUSEKIT_TESTS_SUPPORT_CRC_REFERENCE_H
