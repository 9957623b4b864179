// Bit mirroring of bytes, with a compile-time table.
#ifndef FUSEKIT_SUPPORT_UTIL_BIT_OPS_H
#define FUSEKIT_SUPPORT_UTIL_BIT_OPS_H

#include <array>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace fusekit::bits {

constexpr std::uint8_t MirrorSlow(std::uint8_t b) {
  std::uint8_t r = 0;
  for (int i = 0; i < 8; ++i) r = static_cast<std::uint8_t>(r | (((b >> i) & 1u) << (7 - i)));
  return r;
}

constexpr std::array<std::uint8_t, 256> MakeMirrorTable() {
  std::array<std::uint8_t, 256> t{};
  for (unsigned b = 0; b < 256; ++b) t[b] = MirrorSlow(static_cast<std::uint8_t>(b));
  return t;
}

inline constexpr std::array<std::uint8_t, 256> kMirror = MakeMirrorTable();

// Bit 0 becomes bit 7, bit 1 becomes bit 6, and so on.
constexpr std::uint8_t Mirror(std::uint8_t b) {
  return kMirror[b];
}

static_assert(Mirror(0x01) == 0x80 && Mirror(0x02) == 0x40 && Mirror(0xF0) == 0x0F);

#if defined(__SSE2__)
// Sixteen bytes in reverse order, each mirrored.
inline __m128i MirrorReverse16(__m128i v) {
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
#endif

// to[count - 1 - i] = Mirror(from[i]) for every i below count: the bytes mirrored and laid out
// from the end of the destination down. The two ranges must not overlap.
inline void MirrorReverse(const std::uint8_t* from, std::size_t count, std::uint8_t* to) {
  std::uint8_t* end = to + count;
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; count - i >= 16; i += 16) {
    end -= 16;
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(end), MirrorReverse16(v));
  }
#endif
  for (; i < count; ++i) *--end = Mirror(from[i]);
}

}  // namespace fusekit::bits

#endif  // FUSEKIT_SUPPORT_UTIL_BIT_OPS_H
