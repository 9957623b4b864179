// Device CRC-16s, the JEDEC transmission checksum and the binary-file checksum.
#include <new>

#include "core/file_io.h"
#include "fusekit/crc.h"
#include "fusekit/util.h"
#include "support/util/bit_ops.h"
#include "support/util/crc_engine.h"

namespace {

constexpr std::uint8_t kStx = 0x02;
constexpr std::uint8_t kEtx = 0x03;
constexpr int kStoredChecksumDigits = 4;

}  // namespace

unsigned short GetVandi_CRC16(const std::vector<unsigned char>& bytes) {
  // An empty sequence gives 0: the initial value is not complemented.
  if (bytes.empty()) return 0;
  return static_cast<unsigned short>(
      fusekit::crc_engine::Vandi16::Update(0xFFFF, bytes.data(), bytes.size()) ^ 0xFFFF);
}

unsigned short GetNix_CRC16(unsigned char* bytes, unsigned int length, char* crcText) {
  if (crcText == nullptr) return 0;
  const std::uint16_t crc = fusekit::crc_engine::Ccitt16::Update(
      fusekit::crc_engine::kCcittInitial, bytes, bytes != nullptr ? length : 0);
  for (int bit = 15; bit >= 0; --bit) crcText[15 - bit] = ((crc >> bit) & 1u) ? '1' : '0';
  crcText[16] = '\0';
  return 0;  // the CRC is delivered only as text
}

char Exor(char a, char b) {
  return a != b ? 1 : 0;
}

int ValidTransmissionChecksum(char* fileName, unsigned short* computed, unsigned short* stored) {
  if (computed != nullptr) *computed = 0;
  if (stored != nullptr) *stored = 0;
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "rb");
  if (!file) return 0;

  enum class Phase { kBeforeStx, kSumming, kStoredDigits, kDone };
  Phase phase = Phase::kBeforeStx;
  std::uint16_t sum = 0;
  std::uint16_t stored_value = 0;
  int digits = 0;
  try {
    fusekit::core::ForEachChunk(file.get(), [&](const std::uint8_t* bytes, std::size_t count) {
      for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t c = bytes[i];
        switch (phase) {
          case Phase::kBeforeStx:
            if (c == kStx) {
              sum = kStx;
              phase = Phase::kSumming;
            }
            break;
          case Phase::kSumming:
            sum = static_cast<std::uint16_t>(sum + c);
            if (c == kEtx) phase = Phase::kStoredDigits;
            break;
          case Phase::kStoredDigits:
            stored_value = static_cast<std::uint16_t>((stored_value << 4) |
                                                      util_HexAnsi2Hex(static_cast<char>(c)));
            if (++digits == kStoredChecksumDigits) phase = Phase::kDone;
            break;
          case Phase::kDone:
            return false;
        }
      }
      return phase != Phase::kDone;
    });
  } catch (const std::bad_alloc&) {
    return 0;
  }
  if (phase == Phase::kBeforeStx || phase == Phase::kSumming) return 0;
  // Digits missing at the end of the file read as the value of a non-digit, 0.
  for (; digits < kStoredChecksumDigits; ++digits)
    stored_value = static_cast<std::uint16_t>(stored_value << 4);
  if (computed != nullptr) *computed = sum;
  if (stored != nullptr) *stored = stored_value;
  // A stored checksum of 0 ("0000") means the writer did not compute one: accepted.
  return (sum == stored_value || stored_value == 0) ? 1 : 0;
}

unsigned short GetBinaryFileChecksum16(const char* fileName, bool reverseBits) {
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "rb");
  if (!file) return 0xFFFF;
  std::uint32_t sum = 0;
  try {
    fusekit::core::ForEachChunk(file.get(), [&](const std::uint8_t* bytes, std::size_t count) {
      if (reverseBits) {
        for (std::size_t i = 0; i < count; ++i) sum += fusekit::bits::Mirror(bytes[i]);
      } else {
        for (std::size_t i = 0; i < count; ++i) sum += bytes[i];
      }
      sum &= 0xFFFFu;
      return true;
    });
  } catch (const std::bad_alloc&) {
    return 0xFFFF;
  }
  return static_cast<unsigned short>((0x10000u - sum) & 0xFFFFu);
}
