// Mirrored, reversed byte runs: sixteen bytes a step with the baseline vector unit of x86-64,
// thirty-two with AVX2 where the processor has it, a byte at a time elsewhere.
#include "support/util/bit_ops.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define FUSEKIT_X86_VECTORS 1
#include <immintrin.h>
#endif

namespace fusekit::bits {
namespace {

#if FUSEKIT_X86_VECTORS
// Sixteen bytes in reverse order, each mirrored.
__m128i MirrorReverse16(__m128i v) {
  const __m128i m4 = _mm_set1_epi8(0x0F), m2 = _mm_set1_epi8(0x33), m1 = _mm_set1_epi8(0x55);
  // Within each byte: nibbles swapped, then pairs, then neighbouring bits. The masks keep the
  // 16-bit shifts from carrying bits into the next byte.
  v = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 4), m4),
                   _mm_slli_epi16(_mm_and_si128(v, m4), 4));
  v = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 2), m2),
                   _mm_slli_epi16(_mm_and_si128(v, m2), 2));
  v = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 1), m1),
                   _mm_slli_epi16(_mm_and_si128(v, m1), 1));
  // Byte order reversed: the 32-bit words, the 16-bit halves of each, the bytes of each half.
  v = _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3));
  v = _mm_shufflehi_epi16(_mm_shufflelo_epi16(v, _MM_SHUFFLE(2, 3, 0, 1)), _MM_SHUFFLE(2, 3, 0, 1));
  return _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
}

// Thirty-two bytes a step: each nibble mirrored by table, the halves swapped, the bytes of each
// 128-bit lane reversed by shuffle and the two lanes exchanged.
__attribute__((target("avx2"))) void MirrorReverseAvx2(const std::uint8_t* from, std::size_t count,
                                                       std::uint8_t* to) {
  const __m256i low_nibble = _mm256_set1_epi8(0x0F);
  // The mirror of nibble n, in the low nibble and (shifted, each below 16) in the high one.
  const __m256i to_low = _mm256_setr_epi8(0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE, 0x1, 0x9, 0x5,
                                          0xD, 0x3, 0xB, 0x7, 0xF, 0x0, 0x8, 0x4, 0xC, 0x2, 0xA,
                                          0x6, 0xE, 0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF);
  const __m256i to_high = _mm256_slli_epi16(to_low, 4);
  const __m256i reverse = _mm256_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 15,
                                           14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
  std::uint8_t* end = to + count;
  std::size_t i = 0;
  for (; count - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
    const __m256i low = _mm256_and_si256(v, low_nibble);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(v, 4), low_nibble);
    __m256i m =
        _mm256_or_si256(_mm256_shuffle_epi8(to_high, low), _mm256_shuffle_epi8(to_low, high));
    m = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(m, reverse), 0x4E);
    end -= 32;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(end), m);
  }
  MirrorReverseBaseline(from + i, count - i, to);
}

using Kernel = void (*)(const std::uint8_t*, std::size_t, std::uint8_t*);

Kernel ChooseKernel() {
  return __builtin_cpu_supports("avx2") ? &MirrorReverseAvx2 : &MirrorReverseBaseline;
}
#endif

}  // namespace

void MirrorReverseBaseline(const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
  std::uint8_t* end = to + count;
  std::size_t i = 0;
#if FUSEKIT_X86_VECTORS
  for (; count - i >= 16; i += 16) {
    end -= 16;
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(end), MirrorReverse16(v));
  }
#endif
  for (; i < count; ++i) *--end = Mirror(from[i]);
}

void MirrorReverse(const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
#if FUSEKIT_X86_VECTORS
  static const Kernel kernel = ChooseKernel();
  kernel(from, count, to);
#else
  MirrorReverseBaseline(from, count, to);
#endif
}

}  // namespace fusekit::bits
