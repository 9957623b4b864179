// The carry-less folding of the CRC engines, where the processor has PCLMULQDQ.
#include "support/util/crc_engine.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define FUSEKIT_CLMUL 1
#include <immintrin.h>
#endif

namespace fusekit::crc_engine {
namespace {

// Where the data CRC's blocks stand. Walking down one row: block i ends 16 i bytes below end.
// Walking up rows of 16 bytes each, in order: block i is row i from first on, each row fed from
// its last byte as a row is.
struct DownFrom {
  const std::uint8_t* end;
  const std::uint8_t* At(std::size_t i) const { return end - 16 * (i + 1); }
  // Where blocks i to i + 3 start, as one 64-byte load.
  const std::uint8_t* FourAt(std::size_t i) const { return end - 16 * (i + 4); }
  static constexpr bool kUp = false;
};
struct UpFrom {
  const std::uint8_t* first;
  const std::uint8_t* At(std::size_t i) const { return first + 16 * i; }
  const std::uint8_t* FourAt(std::size_t i) const { return first + 16 * i; }
  static constexpr bool kUp = true;
};

#if FUSEKIT_CLMUL
constexpr std::size_t kPrefetchBytes = 16 * 1024;

// One 128-bit block X folded forward by the distance whose constants k holds (x^d mod P low,
// x^(d+64) mod P high): L (x^d mod P) + H (x^(d+64) mod P).
__attribute__((target("pclmul,ssse3"))) inline __m128i Fold(__m128i x, __m128i k) {
  return _mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11));
}

// Block i of bytes as a 128-bit number whose most significant byte is the first one.
__attribute__((target("pclmul,ssse3"))) inline __m128i Block(const std::uint8_t* bytes,
                                                             std::size_t i) {
  const __m128i reverse = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 16 * i)),
                          reverse);
}

// Four blocks folded side by side over 512 bits from x (the four blocks from block i on, the
// CRC already added), then into one, then the blocks after them; remainder as FoldClmul's.
__attribute__((target("pclmul,ssse3"))) void FoldFourLanes(__m128i x[4], const std::uint8_t* bytes,
                                                           std::size_t i, std::size_t blocks,
                                                           const FoldConstants& k,
                                                           std::uint8_t remainder[16]) {
  const __m128i by128 =
      _mm_set_epi64x(static_cast<long long>(k.x192), static_cast<long long>(k.x128));
  const __m128i by512 =
      _mm_set_epi64x(static_cast<long long>(k.x576), static_cast<long long>(k.x512));
  for (; blocks - i >= 4; i += 4) {
    for (int lane = 0; lane < 4; ++lane)
      x[lane] =
          _mm_xor_si128(Fold(x[lane], by512), Block(bytes, i + static_cast<std::size_t>(lane)));
  }
  __m128i folded = x[0];
  for (int lane = 1; lane < 4; ++lane) folded = _mm_xor_si128(Fold(folded, by128), x[lane]);
  for (; i < blocks; ++i) folded = _mm_xor_si128(Fold(folded, by128), Block(bytes, i));
  const __m128i reverse = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(remainder), _mm_shuffle_epi8(folded, reverse));
}

__attribute__((target("pclmul,ssse3"))) bool FoldClmul(std::uint16_t crc, const std::uint8_t* bytes,
                                                       std::size_t blocks, const FoldConstants& k,
                                                       std::uint8_t remainder[16]) {
  __m128i x[4] = {Block(bytes, 0), Block(bytes, 1), Block(bytes, 2), Block(bytes, 3)};
  x[0] = _mm_xor_si128(x[0], _mm_set_epi64x(static_cast<long long>(std::uint64_t{crc} << 48), 0));
  FoldFourLanes(x, bytes, 4, blocks, k, remainder);
  return true;
}

// The 128-bit blocks i to i + 3 of bytes in one 512-bit register, each as Block gives it.
__attribute__((target("avx512f,avx512bw,vpclmulqdq,pclmul,ssse3"))) inline __m512i WideBlock(
    const std::uint8_t* bytes, std::size_t i) {
  static constexpr std::uint8_t kReverse[64] = {
      15, 14, 13, 12, 11, 10, 9,  8,  7,  6,  5,  4,  3,  2,  1,  0,  15, 14, 13, 12, 11, 10,
      9,  8,  7,  6,  5,  4,  3,  2,  1,  0,  15, 14, 13, 12, 11, 10, 9,  8,  7,  6,  5,  4,
      3,  2,  1,  0,  15, 14, 13, 12, 11, 10, 9,  8,  7,  6,  5,  4,  3,  2,  1,  0};
  const __m512i reverse = _mm512_loadu_si512(kReverse);
  return _mm512_shuffle_epi8(_mm512_loadu_si512(bytes + 16 * i), reverse);
}

// Each 128-bit lane of x folded forward by the distance whose constants k holds.
__attribute__((target("avx512f,avx512bw,vpclmulqdq,pclmul,ssse3"))) inline __m512i WideFold(
    __m512i x, __m512i k) {
  return _mm512_xor_si512(_mm512_clmulepi64_epi128(x, k, 0x00),
                          _mm512_clmulepi64_epi128(x, k, 0x11));
}

// FoldClmul with sixteen blocks at a time in four 512-bit registers, each folded sixteen blocks
// on: four times the products in flight, where the processor multiplies 512-bit lanes.
__attribute__((target("avx512f,avx512bw,vpclmulqdq,pclmul,ssse3"))) bool FoldWideClmul(
    std::uint16_t crc, const std::uint8_t* bytes, std::size_t blocks, const FoldConstants& k,
    std::uint8_t remainder[16]) {
  const auto x2048 = static_cast<long long>(k.x2048), x2112 = static_cast<long long>(k.x2112);
  const auto x512 = static_cast<long long>(k.x512), x576 = static_cast<long long>(k.x576);
  const __m512i by2048 = _mm512_set_epi64(x2112, x2048, x2112, x2048, x2112, x2048, x2112, x2048);
  const __m512i by512 = _mm512_set_epi64(x576, x512, x576, x512, x576, x512, x576, x512);
  __m512i z[4] = {WideBlock(bytes, 0), WideBlock(bytes, 4), WideBlock(bytes, 8),
                  WideBlock(bytes, 12)};
  z[0] = _mm512_xor_si512(z[0], _mm512_zextsi128_si512(_mm_set_epi64x(
                                    static_cast<long long>(std::uint64_t{crc} << 48), 0)));
  std::size_t i = 16;
  for (; blocks - i >= 16; i += 16) {
    for (int r = 0; r < 4; ++r)
      z[r] = _mm512_xor_si512(WideFold(z[r], by2048),
                              WideBlock(bytes, i + 4 * static_cast<std::size_t>(r)));
  }
  // The four registers hold sixty-four consecutive bytes each: fold each into the next.
  __m512i folded = z[0];
  for (int r = 1; r < 4; ++r) folded = _mm512_xor_si512(WideFold(folded, by512), z[r]);
  __m128i x[4];
  _mm512_storeu_si512(x, folded);
  FoldFourLanes(x, bytes, i, blocks, k, remainder);
  return true;
}

bool HasWideClmul() {
  static const bool has = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                          __builtin_cpu_supports("vpclmulqdq");
  return has;
}

// Sixteen bytes with the bits of each mirrored, by nibble tables.
__attribute__((target("pclmul,ssse3"))) inline __m128i MirrorBytes(__m128i v) {
  const __m128i low_nibble = _mm_set1_epi8(0x0F);
  const __m128i to_low =
      _mm_setr_epi8(0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF);
  const __m128i to_high = _mm_slli_epi16(to_low, 4);  // each entry is below 16
  const __m128i low = _mm_and_si128(v, low_nibble);
  const __m128i high = _mm_and_si128(_mm_srli_epi16(v, 4), low_nibble);
  return _mm_or_si128(_mm_shuffle_epi8(to_high, low), _mm_shuffle_epi8(to_low, high));
}

// A block of the data CRC as a 128-bit number whose most significant bit is the first one fed.
template <class Walk>
__attribute__((target("pclmul,ssse3"))) inline __m128i RowBlock(const Walk& walk, std::size_t i) {
  return MirrorBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(walk.At(i))));
}

// The blocks of the data CRC walking down are taken in an order which the processor's
// prefetchers follow poorly (five times slower on a field of 1 KiB rows). A row of up to
// kPrefetchBytes is asked for whole first, walking up, which also sets the prefetchers on the
// row after it; the lines of a longer one are asked for kPrefetchBytes ahead of the fold
// (PrefetchAhead). Rows walked up need neither.
template <class Walk>
__attribute__((target("pclmul,ssse3"))) inline void PrefetchShortRow(const Walk& walk,
                                                                     std::size_t blocks) {
  const std::size_t bytes = 16 * blocks;
  if (Walk::kUp || bytes > kPrefetchBytes) return;
  for (const std::uint8_t* line = walk.At(blocks - 1); line < walk.At(0) + 16; line += 64) {
    _mm_prefetch(reinterpret_cast<const char*>(line), _MM_HINT_T0);
  }
}

// Asks for the line kPrefetchBytes below block i of a long row (never for a row asked for whole).
template <class Walk>
__attribute__((target("pclmul,ssse3"))) inline void PrefetchAhead(const Walk& walk, std::size_t i,
                                                                  std::size_t blocks) {
  if (!Walk::kUp && 16 * i + kPrefetchBytes < 16 * blocks)
    _mm_prefetch(reinterpret_cast<const char*>(walk.At(i) + 15 - kPrefetchBytes), _MM_HINT_T0);
}

// The data CRC's four blocks folded side by side from x (blocks i to i + 3, the register
// already added), then into one, then the blocks after them, into remainder.
template <class Walk>
__attribute__((target("pclmul,ssse3"))) void FoldFourRowLanes(__m128i x[4], const Walk& walk,
                                                              std::size_t i, std::size_t blocks,
                                                              std::uint8_t remainder[16]) {
  const FoldConstants& k = kDataCrcFold;
  const __m128i by128 =
      _mm_set_epi64x(static_cast<long long>(k.x192), static_cast<long long>(k.x128));
  const __m128i by512 =
      _mm_set_epi64x(static_cast<long long>(k.x576), static_cast<long long>(k.x512));
  for (; blocks - i >= 4; i += 4) {
    PrefetchAhead(walk, i, blocks);
    for (int lane = 0; lane < 4; ++lane)
      x[lane] =
          _mm_xor_si128(Fold(x[lane], by512), RowBlock(walk, i + static_cast<std::size_t>(lane)));
  }
  __m128i folded = x[0];
  for (int lane = 1; lane < 4; ++lane) folded = _mm_xor_si128(Fold(folded, by128), x[lane]);
  for (; i < blocks; ++i) folded = _mm_xor_si128(Fold(folded, by128), RowBlock(walk, i));
  // As a row the engine feeds from its last byte down, each byte from bit 0 up.
  _mm_storeu_si128(reinterpret_cast<__m128i*>(remainder), MirrorBytes(folded));
}

template <class Walk>
__attribute__((target("pclmul,ssse3"))) bool FoldDataClmul(std::uint32_t r, const Walk& walk,
                                                           std::size_t blocks,
                                                           std::uint8_t remainder[16]) {
  const FoldConstants& k = kDataCrcFold;
  PrefetchShortRow(walk, blocks);
  const __m128i by128 =
      _mm_set_epi64x(static_cast<long long>(k.x192), static_cast<long long>(k.x128));
  __m128i x[4] = {RowBlock(walk, 0), RowBlock(walk, 1), RowBlock(walk, 2), RowBlock(walk, 3)};
  x[0] = _mm_xor_si128(x[0], Fold(_mm_set_epi64x(0, static_cast<long long>(r)), by128));
  FoldFourRowLanes(x, walk, 4, blocks, remainder);
  return true;
}

// The data CRC's blocks i to i + 3 in one 512-bit register, each as RowBlock gives it: the
// four are one load, so walking down lane q holds block i + 3 - q, and walking up block i + q.
// Folding treats each lane alike, so the order only matters where blocks go in and come out.
template <class Walk>
__attribute__((target("avx512f,avx512bw,vpclmulqdq,pclmul,ssse3"))) inline __m512i WideRowBlock(
    const Walk& walk, std::size_t i) {
  static constexpr std::uint8_t kToLow[64] = {
      0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF,
      0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF,
      0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF,
      0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF};
  const __m512i v = _mm512_loadu_si512(walk.FourAt(i));
  const __m512i low_nibble = _mm512_set1_epi8(0x0F);
  const __m512i to_low = _mm512_loadu_si512(kToLow);
  const __m512i to_high = _mm512_slli_epi16(to_low, 4);  // each entry is below 16
  const __m512i low = _mm512_and_si512(v, low_nibble);
  const __m512i high = _mm512_and_si512(_mm512_srli_epi16(v, 4), low_nibble);
  return _mm512_or_si512(_mm512_shuffle_epi8(to_high, low), _mm512_shuffle_epi8(to_low, high));
}

// FoldDataClmul with sixteen blocks at a time in four 512-bit registers, as FoldWideClmul.
template <class Walk>
__attribute__((target("avx512f,avx512bw,vpclmulqdq,pclmul,ssse3"))) bool FoldWideDataClmul(
    std::uint32_t r, const Walk& walk, std::size_t blocks, std::uint8_t remainder[16]) {
  const FoldConstants& k = kDataCrcFold;
  const auto x2048 = static_cast<long long>(k.x2048), x2112 = static_cast<long long>(k.x2112);
  const auto x512 = static_cast<long long>(k.x512), x576 = static_cast<long long>(k.x576);
  const __m512i by2048 = _mm512_set_epi64(x2112, x2048, x2112, x2048, x2112, x2048, x2112, x2048);
  const __m512i by512 = _mm512_set_epi64(x576, x512, x576, x512, x576, x512, x576, x512);
  const __m128i by128 =
      _mm_set_epi64x(static_cast<long long>(k.x192), static_cast<long long>(k.x128));
  __m512i z[4] = {WideRowBlock(walk, 0), WideRowBlock(walk, 4), WideRowBlock(walk, 8),
                  WideRowBlock(walk, 12)};
  // The register goes into block 0: lane 3 walking down, lane 0 walking up.
  const int first_lane = Walk::kUp ? 0 : 3;
  __m128i lanes[4] = {_mm_setzero_si128(), _mm_setzero_si128(), _mm_setzero_si128(),
                      _mm_setzero_si128()};
  lanes[first_lane] = Fold(_mm_set_epi64x(0, static_cast<long long>(r)), by128);
  z[0] = _mm512_xor_si512(z[0], _mm512_loadu_si512(lanes));
  PrefetchShortRow(walk, blocks);
  std::size_t i = 16;
  for (; blocks - i >= 16; i += 16) {
    PrefetchAhead(walk, i, blocks);
    PrefetchAhead(walk, i + 8, blocks);
    for (int q = 0; q < 4; ++q)
      z[q] = _mm512_xor_si512(WideFold(z[q], by2048),
                              WideRowBlock(walk, i + 4 * static_cast<std::size_t>(q)));
  }
  __m512i folded = z[0];
  for (int q = 1; q < 4; ++q) folded = _mm512_xor_si512(WideFold(folded, by512), z[q]);
  _mm512_storeu_si512(lanes, folded);
  __m128i x[4];
  for (int q = 0; q < 4; ++q) x[q] = lanes[Walk::kUp ? q : 3 - q];
  FoldFourRowLanes(x, walk, i, blocks, remainder);
  return true;
}

bool HasClmul() {
  static const bool has = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
  return has;
}
#endif

template <class Walk>
bool FoldDataCrcWalk(std::uint32_t r, const Walk& walk, std::size_t blocks,
                     std::uint8_t remainder[16]) noexcept {
#if FUSEKIT_CLMUL
  if (blocks >= 32 && HasClmul() && HasWideClmul())
    return FoldWideDataClmul(r, walk, blocks, remainder);
  if (blocks >= 4 && HasClmul()) return FoldDataClmul(r, walk, blocks, remainder);
#else
  (void)r, (void)walk, (void)blocks, (void)remainder;
#endif
  return false;
}

}  // namespace

bool FoldDataCrcBlocks(std::uint32_t r, const std::uint8_t* end, std::size_t blocks,
                       std::uint8_t remainder[16]) noexcept {
  return FoldDataCrcWalk(r, DownFrom{end}, blocks, remainder);
}

bool FoldDataCrcRows16(std::uint32_t r, const std::uint8_t* first, std::size_t rows,
                       std::uint8_t remainder[16]) noexcept {
  return FoldDataCrcWalk(r, UpFrom{first}, rows, remainder);
}

bool FoldCrc16Blocks(std::uint16_t crc, const std::uint8_t* bytes, std::size_t blocks,
                     const FoldConstants& k, std::uint8_t remainder[16]) noexcept {
#if FUSEKIT_CLMUL
  if (blocks >= 32 && HasClmul() && HasWideClmul())
    return FoldWideClmul(crc, bytes, blocks, k, remainder);
  if (blocks >= 4 && HasClmul()) return FoldClmul(crc, bytes, blocks, k, remainder);
#else
  (void)crc, (void)bytes, (void)blocks, (void)k, (void)remainder;
#endif
  return false;
}

}  // namespace fusekit::crc_engine
