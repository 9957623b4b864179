// Table-driven CRC engines with compile-time tables: the CRC-16s fed most significant bit first,
// and the 32-bit data CRC of programming-data rows.
//
// Both are "slicing" engines: tables, the k-th giving the effect of one byte followed by k zero
// bytes, so that N input bytes cost N independent table look-ups instead of N dependent ones
// (N is 16 for the CRC-16s, which run over whole files, and 8 for the data CRC). Tests compare
// every engine with a bit-serial reference.
#ifndef FUSEKIT_SUPPORT_UTIL_CRC_ENGINE_H
#define FUSEKIT_SUPPORT_UTIL_CRC_ENGINE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fusekit::crc_engine {

// Tables of a 16-bit CRC fed most significant bit first: t[k][b] is the effect of byte b
// followed by k zero bytes.
constexpr int kCrc16Slices = 16;

template <std::uint16_t Poly>
constexpr std::array<std::array<std::uint16_t, 256>, kCrc16Slices> MakeCrc16Tables() {
  std::array<std::array<std::uint16_t, 256>, kCrc16Slices> t{};
  for (unsigned b = 0; b < 256; ++b) {
    unsigned c = b << 8;
    for (int bit = 0; bit < 8; ++bit) c = (c & 0x8000u) ? (c << 1) ^ Poly : c << 1;
    t[0][b] = static_cast<std::uint16_t>(c);
  }
  for (int k = 1; k < kCrc16Slices; ++k) {
    for (unsigned b = 0; b < 256; ++b) {
      const unsigned prev = t[k - 1][b];
      t[k][b] = static_cast<std::uint16_t>((prev << 8) ^ t[0][prev >> 8]);
    }
  }
  return t;
}

template <std::uint16_t Poly>
inline constexpr std::array<std::array<std::uint16_t, 256>, kCrc16Slices> kCrc16Tables =
    MakeCrc16Tables<Poly>();

// Bit i becomes bit 31 - i.
constexpr std::uint32_t Reflect32(std::uint32_t v) noexcept {
  v = ((v >> 1) & 0x55555555u) | ((v & 0x55555555u) << 1);
  v = ((v >> 2) & 0x33333333u) | ((v & 0x33333333u) << 2);
  v = ((v >> 4) & 0x0F0F0F0Fu) | ((v & 0x0F0F0F0Fu) << 4);
  v = ((v >> 8) & 0x00FF00FFu) | ((v & 0x00FF00FFu) << 8);
  return (v >> 16) | (v << 16);
}

constexpr std::uint32_t kDataCrcPoly = 0x04C11DB7u;
constexpr std::uint32_t kDataCrcReflectedPoly = 0xEDB88320u;
static_assert(Reflect32(kDataCrcPoly) == kDataCrcReflectedPoly, "reflected polynomial");

// Tables of the reflected 32-bit CRC: t[k][b] is the effect of byte b followed by k zero bytes.
constexpr std::array<std::array<std::uint32_t, 256>, 8> MakeReflectedCrc32Tables() {
  std::array<std::array<std::uint32_t, 256>, 8> t{};
  for (std::uint32_t b = 0; b < 256; ++b) {
    std::uint32_t c = b;
    for (int bit = 0; bit < 8; ++bit) c = (c & 1u) ? (c >> 1) ^ kDataCrcReflectedPoly : c >> 1;
    t[0][b] = c;
  }
  for (int k = 1; k < 8; ++k) {
    for (std::uint32_t b = 0; b < 256; ++b) {
      const std::uint32_t prev = t[k - 1][b];
      t[k][b] = (prev >> 8) ^ t[0][prev & 0xFF];
    }
  }
  return t;
}

inline constexpr std::array<std::array<std::uint32_t, 256>, 8> kDataCrcTables =
    MakeReflectedCrc32Tables();

// Folding a 16-bit CRC with carry-less multiplication. The message, most significant bit of
// its first byte first, is a polynomial M; the CRC-16 register after it, from crc, is
// (crc x^(8n) + M x^16) mod P, which is (M' x^16) mod P for M' the message with crc added to its
// first two bytes. A 128-bit block X followed by more data stands for X x^128 + the rest, and
// X x^128 = H x^192 + L x^128 (H, L the halves of X) is congruent to H (x^192 mod P) +
// L (x^128 mod P): two 64 x 16-bit products that fold X into the next block without changing
// the remainder. Four blocks are folded side by side over 512 bits, then into one; the last
// 128 bits are reduced by the table engine (the CRC of 16 bytes from 0 is X x^16 mod P).
struct FoldConstants {
  std::uint64_t x128, x192;    // x^128 and x^192 mod P
  std::uint64_t x512, x576;    // x^512 and x^576 mod P
  std::uint64_t x2048, x2112;  // x^2048 and x^2112 mod P: sixteen blocks on, for 512-bit lanes
};

// x^power mod P, for P = x^degree + poly.
constexpr std::uint64_t XPowerMod(unsigned power, std::uint64_t poly, unsigned degree) {
  const std::uint64_t top = std::uint64_t{1} << degree;
  std::uint64_t r = 1;
  for (unsigned i = 0; i < power; ++i) {
    r <<= 1;
    if (r & top) r ^= top | poly;
  }
  return r;
}

// a b mod P for P = x^degree + poly, a and b of lower degree than P.
constexpr std::uint64_t MulMod(std::uint64_t a, std::uint64_t b, std::uint64_t poly,
                               unsigned degree) {
  const std::uint64_t top = std::uint64_t{1} << degree;
  std::uint64_t r = 0;
  for (unsigned i = degree; i-- > 0;) {  // Horner's rule over the bits of b, highest first
    r <<= 1;
    if (r & top) r ^= top | poly;
    if ((b >> i) & 1u) r ^= a;
  }
  return r;
}

// value x^bits mod P: the register of a CRC of P without reflection (or the remainder of the
// data CRC) carried over bits more bits of zero. Joining CRCs rests on it: the register after a
// text A then B is the register after A carried over B's bits, plus the register of B alone
// from 0.
constexpr std::uint64_t ShiftMod(std::uint64_t value, std::uint64_t bits, std::uint64_t poly,
                                 unsigned degree) {
  std::uint64_t power = XPowerMod(1, poly, degree);  // x^(2^i) for the i-th bit of bits
  for (; bits != 0; bits >>= 1) {
    if (bits & 1u) value = MulMod(value, power, poly, degree);
    power = MulMod(power, power, poly, degree);
  }
  return value;
}

constexpr FoldConstants MakeFoldConstants(std::uint64_t poly, unsigned degree) {
  return {XPowerMod(128, poly, degree),  XPowerMod(192, poly, degree),
          XPowerMod(512, poly, degree),  XPowerMod(576, poly, degree),
          XPowerMod(2048, poly, degree), XPowerMod(2112, poly, degree)};
}

template <std::uint16_t Poly>
inline constexpr FoldConstants kCrc16Fold = MakeFoldConstants(Poly, 16);

// Folds blocks (at least 4) of 16 bytes from bytes, with crc added to the first two, into the
// 16 bytes of remainder (in message order); false, and remainder untouched, when the processor
// has no carry-less multiplier.
bool FoldCrc16Blocks(std::uint16_t crc, const std::uint8_t* bytes, std::size_t blocks,
                     const FoldConstants& k, std::uint8_t remainder[16]) noexcept;

// A 16-bit CRC, no reflection of input or output; initial value and final XOR are the caller's.
template <std::uint16_t Poly>
class Crc16 {
 public:
  static constexpr std::size_t kFoldBytes = 256;  // shorter runs go by table only

  static std::uint16_t Update(std::uint16_t crc, const std::uint8_t* bytes,
                              std::size_t count) noexcept {
    if (count >= kFoldBytes) {
      std::uint8_t remainder[16];
      const std::size_t blocks = count / 16;
      if (FoldCrc16Blocks(crc, bytes, blocks, kCrc16Fold<Poly>, remainder)) {
        crc = UpdateSliced(0, remainder, 16);
        bytes += blocks * 16;
        count -= blocks * 16;
      }
    }
    return UpdateSliced(crc, bytes, count);
  }

  // Update by tables alone.
  static std::uint16_t UpdateSliced(std::uint16_t crc, const std::uint8_t* bytes,
                                    std::size_t count) noexcept {
    const auto& t = kCrc16Tables<Poly>;
    while (count >= 16) {
      const unsigned a = t[15][(crc >> 8) ^ bytes[0]] ^ t[14][(crc & 0xFF) ^ bytes[1]] ^
                         t[13][bytes[2]] ^ t[12][bytes[3]] ^ t[11][bytes[4]] ^ t[10][bytes[5]] ^
                         t[9][bytes[6]] ^ t[8][bytes[7]];
      const unsigned b = t[7][bytes[8]] ^ t[6][bytes[9]] ^ t[5][bytes[10]] ^ t[4][bytes[11]] ^
                         t[3][bytes[12]] ^ t[2][bytes[13]] ^ t[1][bytes[14]] ^ t[0][bytes[15]];
      crc = static_cast<std::uint16_t>(a ^ b);
      bytes += 16;
      count -= 16;
    }
    while (count-- > 0) crc = UpdateByte(crc, *bytes++);
    return crc;
  }

  static std::uint16_t UpdateByte(std::uint16_t crc, std::uint8_t byte) noexcept {
    return static_cast<std::uint16_t>((crc << 8) ^ kCrc16Tables<Poly>[0][(crc >> 8) ^ byte]);
  }

  // The register after a text of two pieces: crc after the first, later the register of the
  // second (of bytes bytes) from 0.
  static std::uint16_t Join(std::uint16_t crc, std::uint16_t later, std::uint64_t bytes) noexcept {
    return static_cast<std::uint16_t>(ShiftMod(crc, 8 * bytes, Poly, 16) ^ later);
  }
};

// CRC-16/CCITT-FALSE: the file checksum of ISC data files.
using Ccitt16 = Crc16<0x1021>;
constexpr std::uint16_t kCcittInitial = 0xFFFF;
// The CRC-16 of polynomial 0x8005 used for device data checks.
using Vandi16 = Crc16<0x8005>;

// The 32-bit data CRC of programming-data rows.
//
// The register R is the remainder of the plain bit sequence divided by the polynomial
// x^32 + 0x04C11DB7: each bit is shifted into bit 0 and the bit falling out of bit 31 decides
// the reduction. There is no augmentation, so R = message mod G, unlike the usual CRC-32 which
// computes message * x^32 mod G. A row is fed from its last byte to its first, each byte from
// bit 0 to bit 7, and only as many bits as the row's declared width.
//
// Bits fed least significant first suggest working on the bit-reversed register Rr. Feeding a
// byte d then becomes Rr' = (Rr >> 8) ^ (d << 24) ^ T[Rr & 0xFF], where T is the familiar
// reflected table of 0xEDB88320: the register's low byte is pushed out and reduced, and the
// data byte enters at the top unreduced. Eight bytes d0..d7 give
//   Rr' = T7[r0] ^ T6[r1] ^ T5[r2] ^ T4[r3] ^ T3[d0] ^ T2[d1] ^ T1[d2] ^ T0[d3]
//         ^ (d4 | d5 << 8 | d6 << 16 | d7 << 24),
// r0..r3 being the bytes of Rr from the lowest; d4..d7 have not yet reached the bottom of the
// register and need no reduction. The class keeps Rr and reflects only when asked for R.
//
// Long rows are folded like the CRC-16s (see there), the row read as one polynomial: walking
// down from its end, 16 bytes at a time, each byte's bits mirrored so that the first bit fed is
// the most significant. The register R starts the fold as R x^128 added to the first block,
// since a remainder R followed by N more bits stands for R x^N + the rest. The folded 128 bits
// are then reduced by the table engine from a register of 0 (the remainder holds no x^32).
inline constexpr FoldConstants kDataCrcFold = MakeFoldConstants(kDataCrcPoly, 32);

// Folds blocks (at least 4) of 16 bytes, block i ending 16 i bytes below end, after the
// register value r, into 16 bytes that the engine, fed them as a row from a register of 0,
// turns into the remainder; false, and remainder untouched, when the processor has no
// carry-less multiplier.
bool FoldDataCrcBlocks(std::uint32_t r, const std::uint8_t* end, std::size_t blocks,
                       std::uint8_t remainder[16]) noexcept;

// FoldDataCrcBlocks over rows (at least 4) of 16 bytes each, in order from first on, each
// block one row: the blocks of the rows walked up instead of one row's walked down.
bool FoldDataCrcRows16(std::uint32_t r, const std::uint8_t* first, std::size_t rows,
                       std::uint8_t remainder[16]) noexcept;

class DataCrc32 {
 public:
  static constexpr std::size_t kFoldBytes = 256;  // shorter rows go by table only

  DataCrc32() = default;
  explicit DataCrc32(std::uint32_t value) noexcept : reflected_(Reflect32(value)) {}

  std::uint32_t Value() const noexcept { return Reflect32(reflected_); }

  // Rows of bits bits whose remainder from 0 is later, fed after the rows fed so far.
  void Join(std::uint32_t later, std::uint64_t bits) noexcept {
    reflected_ =
        Reflect32(static_cast<std::uint32_t>(ShiftMod(Value(), bits, kDataCrcPoly, 32)) ^ later);
  }

  // Rows of 16 bytes and 128 bits each, count of them one after another from rows on: as
  // AddRow on each in turn, folded at once.
  void AddRows16(const std::uint8_t* rows, std::size_t count) noexcept {
    std::uint8_t remainder[16];
    if (16 * count >= kFoldBytes && FoldDataCrcRows16(Value(), rows, count, remainder)) {
      DataCrc32 reduced;
      reduced.AddRow(remainder, 16, 128);
      reflected_ = reduced.reflected_;
      return;
    }
    for (std::size_t r = 0; r < count; ++r) AddRow(rows + 16 * r, 16, 128);
  }

  // Feeds one row of count bytes declared widthBits wide: min(widthBits, 8 * count) bits from
  // the end of the row.
  void AddRow(const std::uint8_t* row, std::size_t count, std::uint64_t widthBits) noexcept {
    if (row == nullptr || count == 0 || widthBits == 0) return;
    const std::uint64_t total_bits = count * std::uint64_t{8};
    const std::uint64_t fed_bits = widthBits < total_bits ? widthBits : total_bits;
    const std::size_t full_bytes = static_cast<std::size_t>(fed_bits / 8);
    const unsigned rest_bits = static_cast<unsigned>(fed_bits % 8);
    const std::uint8_t* p = row + count;  // one past the next byte to feed, walking down
    const std::uint8_t* const stop = p - full_bytes;
    std::uint32_t r = reflected_;
    if (full_bytes >= kFoldBytes) {
      std::uint8_t remainder[16];
      const std::size_t blocks = full_bytes / 16;
      if (FoldDataCrcBlocks(Reflect32(r), p, blocks, remainder)) {
        DataCrc32 reduced;
        reduced.AddRow(remainder, 16, 128);
        r = reduced.reflected_;
        p -= blocks * 16;
      }
    }
    const auto& t = kDataCrcTables;
    while (p - stop >= 8) {
      p -= 8;
      r = t[7][r & 0xFF] ^ t[6][(r >> 8) & 0xFF] ^ t[5][(r >> 16) & 0xFF] ^ t[4][r >> 24] ^
          t[3][p[7]] ^ t[2][p[6]] ^ t[1][p[5]] ^ t[0][p[4]] ^
          (std::uint32_t{p[3]} | std::uint32_t{p[2]} << 8 | std::uint32_t{p[1]} << 16 |
           std::uint32_t{p[0]} << 24);
    }
    while (p != stop) {
      --p;
      r = (r >> 8) ^ (std::uint32_t{*p} << 24) ^ t[0][r & 0xFF];
    }
    if (rest_bits != 0) {
      const std::uint8_t byte = *(p - 1);
      for (unsigned bit = 0; bit < rest_bits; ++bit) {
        const std::uint32_t out = r & 1u;
        r = (r >> 1) ^ (std::uint32_t{(byte >> bit) & 1u} << 31) ^
            (out ? kDataCrcReflectedPoly : 0u);
      }
    }
    reflected_ = r;
  }

 private:
  std::uint32_t reflected_ = 0;  // the register, bit-reversed
};

// The data CRC of many rows, most of them short. Folding pays only from 256 bytes on, and most
// fields have rows of 16 bytes, so whole-byte rows shorter than that are gathered into one run
// that the engine folds at once: staged from the top of a buffer down, each row below the one
// before, so that the run fed from its last byte down gives the rows in order, each from its
// last byte. A row that feeds part of a byte, or a long one, goes to the engine directly once
// the run has been fed.
class DataCrc32Batch {
 public:
  DataCrc32Batch() = default;
  explicit DataCrc32Batch(std::uint32_t value) noexcept : crc_(value) {}
  DataCrc32Batch(const DataCrc32Batch&) = delete;
  DataCrc32Batch& operator=(const DataCrc32Batch&) = delete;

  // As DataCrc32::AddRow.
  void AddRow(const std::uint8_t* row, std::size_t count, std::uint64_t widthBits) noexcept {
    if (row == nullptr || count == 0 || widthBits == 0) return;
    if (widthBits < count * std::uint64_t{8} || count >= DataCrc32::kFoldBytes) {
      Flush();
      crc_.AddRow(row, count, widthBits);
      return;
    }
    if (kStageBytes - staged_ < count) Flush();
    staged_ += count;
    std::uint8_t* to = stage_ + (kStageBytes - staged_);
    if (count == 16) {
      std::memcpy(to, row, 16);  // the most common row, copied without a call
    } else {
      std::memcpy(to, row, count);
    }
  }

  // Rows of count bytes each, rows of them one after another from run on: rows of 16 whole
  // bytes, the most common, folded in place without being staged.
  void AddRows(const std::uint8_t* run, std::size_t rows, std::size_t count,
               std::uint64_t widthBits) noexcept {
    if (count == 16 && widthBits >= 128 && 16 * rows >= DataCrc32::kFoldBytes) {
      Flush();
      crc_.AddRows16(run, rows);
      return;
    }
    for (std::size_t r = 0; r < rows; ++r) AddRow(run + r * count, count, widthBits);
  }

  std::uint32_t Value() noexcept {
    Flush();
    return crc_.Value();
  }

  // As DataCrc32::Join.
  void Join(std::uint32_t later, std::uint64_t bits) noexcept {
    Flush();
    crc_.Join(later, bits);
  }

 private:
  void Flush() noexcept {
    if (staged_ == 0) return;
    crc_.AddRow(stage_ + (kStageBytes - staged_), staged_, staged_ * std::uint64_t{8});
    staged_ = 0;
  }

  static constexpr std::size_t kStageBytes = 4096;
  DataCrc32 crc_;
  std::size_t staged_ = 0;  // bytes at the top of stage_ not yet fed
  std::uint8_t stage_[kStageBytes];
};

}  // namespace fusekit::crc_engine

#endif  // FUSEKIT_SUPPORT_UTIL_CRC_ENGINE_H
