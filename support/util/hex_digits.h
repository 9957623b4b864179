// The value of each hex digit character, by table.
#ifndef FUSEKIT_SUPPORT_UTIL_HEX_DIGITS_H
#define FUSEKIT_SUPPORT_UTIL_HEX_DIGITS_H

#include <array>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace fusekit::hex {

// 0 to 15 for 0-9, A-F and a-f; -1 for every other character.
inline constexpr std::array<signed char, 256> kDigitValue = [] {
  std::array<signed char, 256> values{};
  for (int c = 0; c < 256; ++c) {
    values[static_cast<std::size_t>(c)] =
        static_cast<signed char>(c >= '0' && c <= '9'   ? c - '0'
                                 : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                 : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                        : -1);
  }
  return values;
}();

inline int DigitValue(char c) {
  return kDigitValue[static_cast<unsigned char>(c)];
}

// Decodes the 32 characters at text as 16 pairs of hex digits, high digit first, into out.
// False, with out unchanged, when any of them is not a hex digit.
inline bool DecodePairs32(const std::uint8_t* text, std::uint8_t* out) {
#if defined(__SSE2__)
  const __m128i nine = _mm_set1_epi8(9), five = _mm_set1_epi8(5);
  __m128i bytes[2];
  for (int half = 0; half < 2; ++half) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + 16 * half));
    // Unsigned range checks: x is within 0..n when min(x, n) == x.
    const __m128i digit = _mm_sub_epi8(c, _mm_set1_epi8('0'));
    const __m128i is_digit = _mm_cmpeq_epi8(_mm_min_epu8(digit, nine), digit);
    const __m128i letter = _mm_sub_epi8(_mm_or_si128(c, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    const __m128i is_letter = _mm_cmpeq_epi8(_mm_min_epu8(letter, five), letter);
    if (_mm_movemask_epi8(_mm_or_si128(is_digit, is_letter)) != 0xFFFF) return false;
    const __m128i value =
        _mm_or_si128(_mm_and_si128(is_digit, digit),
                     _mm_and_si128(is_letter, _mm_add_epi8(letter, _mm_set1_epi8(10))));
    // Each 16-bit lane holds a pair: the high digit in its low byte (it comes first).
    const __m128i high = _mm_and_si128(value, _mm_set1_epi16(0x00FF));
    const __m128i low = _mm_srli_epi16(value, 8);
    bytes[half] = _mm_or_si128(_mm_slli_epi16(high, 4), low);
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(bytes[0], bytes[1]));
  return true;
#else
  std::uint8_t decoded[16];
  for (int i = 0; i < 16; ++i) {
    const int high = kDigitValue[text[2 * i]], low = kDigitValue[text[2 * i + 1]];
    if ((high | low) < 0) return false;
    decoded[i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  for (int i = 0; i < 16; ++i) out[i] = decoded[i];
  return true;
#endif
}

// Writes the count bytes at bytes as pairs of upper-case hex digits, high digit first, from out
// on; returns the end of what was written.
inline char* EncodePairs(const std::uint8_t* bytes, std::size_t count, char* out) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i low_nibble = _mm_set1_epi8(0x0F), nine = _mm_set1_epi8(9);
  // A digit is the nibble plus '0', and 7 more past 9 ('A' is '9' + 8).
  auto digits = [&](__m128i nibbles) {
    const __m128i letters = _mm_and_si128(_mm_cmpgt_epi8(nibbles, nine), _mm_set1_epi8(7));
    return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')), letters);
  };
  for (; count - i >= 16; i += 16, out += 32) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
    const __m128i high = digits(_mm_and_si128(_mm_srli_epi16(v, 4), low_nibble));
    const __m128i low = digits(_mm_and_si128(v, low_nibble));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(high, low));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), _mm_unpackhi_epi8(high, low));
  }
#endif
  for (; i < count; ++i) {
    *out++ = kDigits[bytes[i] >> 4];
    *out++ = kDigits[bytes[i] & 0xF];
  }
  return out;
}

}  // namespace fusekit::hex

#endif  // FUSEKIT_SUPPORT_UTIL_HEX_DIGITS_H
