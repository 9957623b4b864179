// The carry-less folding of the CRC-16 engines, where the processor has PCLMULQDQ.
#include "support/util/crc_engine.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define FUSEKIT_CLMUL 1
#include <immintrin.h>
#endif

namespace fusekit::crc_engine {
namespace {

#if FUSEKIT_CLMUL
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

__attribute__((target("pclmul,ssse3"))) bool FoldClmul(std::uint16_t crc, const std::uint8_t* bytes,
                                                       std::size_t blocks,
                                                       const Crc16FoldConstants& k,
                                                       std::uint8_t remainder[16]) {
  const __m128i by128 =
      _mm_set_epi64x(static_cast<long long>(k.x192), static_cast<long long>(k.x128));
  const __m128i by512 =
      _mm_set_epi64x(static_cast<long long>(k.x576), static_cast<long long>(k.x512));
  __m128i x[4] = {Block(bytes, 0), Block(bytes, 1), Block(bytes, 2), Block(bytes, 3)};
  x[0] = _mm_xor_si128(x[0], _mm_set_epi64x(static_cast<long long>(std::uint64_t{crc} << 48), 0));
  std::size_t i = 4;
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
  return true;
}

bool HasClmul() {
  static const bool has = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
  return has;
}
#endif

}  // namespace

bool FoldCrc16Blocks(std::uint16_t crc, const std::uint8_t* bytes, std::size_t blocks,
                     const Crc16FoldConstants& k, std::uint8_t remainder[16]) noexcept {
#if FUSEKIT_CLMUL
  if (blocks >= 4 && HasClmul()) return FoldClmul(crc, bytes, blocks, k, remainder);
#else
  (void)crc, (void)bytes, (void)blocks, (void)k, (void)remainder;
#endif
  return false;
}

}  // namespace fusekit::crc_engine
