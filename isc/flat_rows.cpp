// Rows of an ISC data block, decoded or left in the file's text.
#include "isc/flat_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/util/bit_ops.h"

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace fusekit::isc {
namespace {

// The value of each character as a hex digit, kNotHex for a character that is not one: a
// table, as the digits of random data would defeat the branches of range tests.
struct HexTable {
  static constexpr unsigned char kNotHex = 0x80;
  unsigned char value[256];
  constexpr HexTable() : value() {
    for (int c = 0; c < 256; ++c) {
      value[c] = static_cast<unsigned char>(c >= '0' && c <= '9'   ? c - '0'
                                            : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                            : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                                   : kNotHex);
    }
  }
  unsigned Of(char c) const { return value[static_cast<unsigned char>(c)]; }
};
constexpr HexTable kHex;

#if defined(__SSE2__)
// 32 hex digits as 16 bytes, two digits a byte; false when one of them is not a hex digit.
bool Decode32Digits(const char* digits, unsigned char* out) {
  const __m128i zero_char = _mm_set1_epi8('0');
  const __m128i nine = _mm_set1_epi8(9);
  const __m128i lower_a = _mm_set1_epi8('a');
  const __m128i five = _mm_set1_epi8(5);
  const __m128i ten = _mm_set1_epi8(10);
  const __m128i case_bit = _mm_set1_epi8(0x20);
  __m128i halves[2];
  int valid = 0xFFFF;
  for (int h = 0; h < 2; ++h) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(digits + 16 * h));
    const __m128i digit = _mm_sub_epi8(text, zero_char);
    const __m128i is_digit = _mm_cmpeq_epi8(_mm_min_epu8(digit, nine), digit);
    const __m128i letter = _mm_sub_epi8(_mm_or_si128(text, case_bit), lower_a);
    const __m128i is_letter = _mm_cmpeq_epi8(_mm_min_epu8(letter, five), letter);
    valid &= _mm_movemask_epi8(_mm_or_si128(is_digit, is_letter));
    const __m128i value = _mm_or_si128(_mm_and_si128(is_digit, digit),
                                       _mm_and_si128(is_letter, _mm_add_epi8(letter, ten)));
    // Each 16-bit lane holds a high digit in its low byte and a low digit in its high byte.
    const __m128i high = _mm_slli_epi16(_mm_and_si128(value, _mm_set1_epi16(0x00FF)), 4);
    halves[h] = _mm_or_si128(high, _mm_srli_epi16(value, 8));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(halves[0], halves[1]));
  return valid == 0xFFFF;
}
#endif

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define FUSEKIT_HEX_AVX2 1
// Decode32Digits with one 256-bit register: the same tests on all 32 digits at once, and each
// pair of digits joined by one multiply-add (16 times the high digit plus the low one).
__attribute__((target("avx2"))) bool Decode32DigitsAvx2(const char* digits, unsigned char* out) {
  const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(digits));
  const __m256i digit = _mm256_sub_epi8(text, _mm256_set1_epi8('0'));
  const __m256i is_digit = _mm256_cmpeq_epi8(_mm256_min_epu8(digit, _mm256_set1_epi8(9)), digit);
  const __m256i letter =
      _mm256_sub_epi8(_mm256_or_si256(text, _mm256_set1_epi8(0x20)), _mm256_set1_epi8('a'));
  const __m256i is_letter = _mm256_cmpeq_epi8(_mm256_min_epu8(letter, _mm256_set1_epi8(5)), letter);
  const bool valid = _mm256_movemask_epi8(_mm256_or_si256(is_digit, is_letter)) == -1;
  const __m256i value =
      _mm256_or_si256(_mm256_and_si256(is_digit, digit),
                      _mm256_and_si256(is_letter, _mm256_add_epi8(letter, _mm256_set1_epi8(10))));
  const __m256i pairs = _mm256_maddubs_epi16(value, _mm256_set1_epi16(0x0110));
  const __m256i packed = _mm256_packus_epi16(pairs, pairs);  // bytes 0-7 and 8-15 per lane
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm256_castsi256_si128(_mm256_permute4x64_epi64(packed, 0x08)));
  return valid;
}
#endif

// Whether the separator stands at text: one 8-byte load, masked to its bytes.
bool SeparatorAt(const char* text, std::uint64_t separator, std::uint64_t mask) {
  std::uint64_t word;
  std::memcpy(&word, text, sizeof word);
  return ((word ^ separator) & mask) == 0;
}

std::uint64_t MaskOf(std::size_t bytes) {
  return bytes >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * bytes)) - 1;
}

#if defined(FUSEKIT_HEX_AVX2)
// DecodeEvenRows for rows of whole 32-digit pieces, each piece decoded with the 256-bit decoder
// inline: no call a row.
__attribute__((target("avx2"))) std::size_t DecodeEvenRowsAvx2(const char* text, std::size_t step,
                                                               std::size_t digits,
                                                               std::uint64_t separator,
                                                               std::uint64_t mask, std::size_t rows,
                                                               unsigned char* out) {
  const std::size_t row_bytes = digits / 2;
  for (std::size_t r = 0; r < rows; ++r, text += step, out += row_bytes) {
    if (!SeparatorAt(text + digits, separator, mask)) return r;
    for (std::size_t piece = 0; piece < digits; piece += 32) {
      if (!Decode32DigitsAvx2(text + piece, out + piece / 2)) return r;
    }
  }
  return rows;
}

// 64 hex digits, 32 at a and 32 at b, as 32 bytes at out (a's 16, then b's): the tests of
// Decode32DigitsAvx2 on all 64 at once, their results as bit masks.
__attribute__((target("avx512f,avx512bw"))) bool Decode64DigitsAvx512(const char* a, const char* b,
                                                                      unsigned char* out) {
  // a's digits in the low half, b's in the high half (loaded from 32 bytes below b, where a
  // masked load reads only the high half).
  const __m512i text = _mm512_mask_loadu_epi64(_mm512_maskz_loadu_epi64(0x0F, a), 0xF0, b - 32);
  const __m512i digit = _mm512_sub_epi8(text, _mm512_set1_epi8('0'));
  const __mmask64 is_digit = _mm512_cmple_epu8_mask(digit, _mm512_set1_epi8(9));
  const __m512i letter =
      _mm512_sub_epi8(_mm512_or_si512(text, _mm512_set1_epi8(0x20)), _mm512_set1_epi8('a'));
  const __mmask64 is_letter = _mm512_cmple_epu8_mask(letter, _mm512_set1_epi8(5));
  const __m512i value =
      _mm512_mask_blend_epi8(is_digit, _mm512_add_epi8(letter, _mm512_set1_epi8(10)), digit);
  const __m512i pairs = _mm512_maddubs_epi16(value, _mm512_set1_epi16(0x0110));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                      _mm512_maskz_cvtepi16_epi8(~__mmask32{0}, pairs));
  return (is_digit | is_letter) == ~__mmask64{0};
}

bool HasAvx512Bw() {
  static const bool has = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw");
  return has;
}

// DecodeEvenRowsAvx2 for rows of 32 digits, two rows at a time; the last row, and a pair in
// which something stands otherwise, one at a time.
__attribute__((target("avx512f,avx512bw,avx2"))) std::size_t DecodeEvenRowPairsAvx512(
    const char* text, std::size_t step, std::uint64_t separator, std::uint64_t mask,
    std::size_t rows, unsigned char* out) {
  std::size_t r = 0;
  for (; r + 2 <= rows; r += 2, text += 2 * step, out += 32) {
    if (!SeparatorAt(text + 32, separator, mask) ||
        !SeparatorAt(text + step + 32, separator, mask) ||
        !Decode64DigitsAvx512(text, text + step, out))
      break;
  }
  for (; r < rows; ++r, text += step, out += 16) {
    if (!SeparatorAt(text + 32, separator, mask) || !Decode32DigitsAvx2(text, out)) return r;
  }
  return rows;
}
#endif

}  // namespace

std::size_t DecodeEvenRows(const char* text, std::size_t step, std::size_t digits, bool short_lead,
                           std::uint64_t separator, std::size_t separator_bytes, std::size_t rows,
                           unsigned char* out) {
  const std::uint64_t mask = MaskOf(separator_bytes);
#if defined(FUSEKIT_HEX_AVX2)
  if (!short_lead && digits == 32 && HasAvx512Bw())
    return DecodeEvenRowPairsAvx512(text, step, separator, mask, rows, out);
  if (!short_lead && digits % 32 == 0 && digits != 0 && bits::HasAvx2())
    return DecodeEvenRowsAvx2(text, step, digits, separator, mask, rows, out);
#endif
  const std::size_t row_bytes = (digits + (short_lead ? 1 : 0)) / 2;
  for (std::size_t r = 0; r < rows; ++r, text += step, out += row_bytes) {
    if (!SeparatorAt(text + digits, separator, mask) || !DecodeRow(text, digits, short_lead, out))
      return r;
  }
  return rows;
}

std::size_t DigitsOfRow(unsigned long width) {
  const std::size_t count = (width + 7) / 8;
  return count * 2 - (HasShortLead(width) ? 1 : 0);
}

bool HasShortLead(unsigned long width) {
  return width % 8 >= 1 && width % 8 <= 4;
}

bool DecodeRow(const char* digits, std::size_t count, bool short_lead, unsigned char* out) {
  unsigned bad = 0;
  if (short_lead && count != 0) {
    const unsigned low = kHex.Of(*digits++);
    bad |= low;
    *out++ = static_cast<unsigned char>(low);
    --count;
  }
#if defined(FUSEKIT_HEX_AVX2)
  if (count >= 32 && bits::HasAvx2()) {
    for (; count >= 32; count -= 32, digits += 32, out += 16) {
      if (!Decode32DigitsAvx2(digits, out)) return false;
    }
  }
#endif
#if defined(__SSE2__)
  for (; count >= 32; count -= 32, digits += 32, out += 16) {
    if (!Decode32Digits(digits, out)) return false;
  }
#endif
  for (std::size_t i = 0; i + 1 < count; i += 2) {
    const unsigned high = kHex.Of(digits[i]);
    const unsigned low = kHex.Of(digits[i + 1]);
    bad |= high | low;
    *out++ = static_cast<unsigned char>(high << 4 | low);
  }
  return (bad & HexTable::kNotHex) == 0;
}

const unsigned char* FlatRows::Row(std::size_t index, unsigned char* scratch) const {
  if (text_ == nullptr) return bytes_.Data() + index * RowBytes();
  DecodeRow(text_ + index * stride_, DigitsOfRow(width), HasShortLead(width), scratch);
  return scratch;
}

bool FlatRows::SameBytes(const FlatRows& other, std::size_t first, std::size_t rows) const {
  if (rows == 0) return true;
  if (width != other.width || first + rows > count || first + rows > other.count) return false;
  if (text_ == nullptr && other.text_ == nullptr) {
    const std::size_t row_bytes = RowBytes();
    return std::memcmp(bytes_.Data() + first * row_bytes, other.bytes_.Data() + first * row_bytes,
                       rows * row_bytes) == 0;
  }
  if (text_ == nullptr || other.text_ == nullptr) return false;
  // Texts of one stride are alike over their digits and what stands between them; rows of
  // other strides, or of digits in another case, are compared one by one.
  if (rows > 1 && stride_ != other.stride_) return false;
  const std::size_t span = (rows - 1) * stride_ + DigitsOfRow(width);
  return std::memcmp(text_ + first * stride_, other.text_ + first * other.stride_, span) == 0;
}

unsigned char* FlatRows::AppendKept(const char* digits) {
  const std::size_t row_bytes = RowBytes();
  if (keep_none_) {
    ++count;
    if (scratch_.size() != row_bytes) scratch_.resize(row_bytes);
    return scratch_.data();
  }
  if (digits != nullptr && (count == 0 || text_ != nullptr)) {
    const bool first = count == 0 && bytes_.Size() == 0;
    const bool second = count == 1 && text_ != nullptr && digits > text_;
    if (first || second || (count > 1 && digits == text_ + count * stride_)) {
      if (first) text_ = digits;
      if (second) stride_ = static_cast<std::size_t>(digits - text_);
      ++count;
      if (scratch_.size() != row_bytes) scratch_.resize(row_bytes);
      return scratch_.data();
    }
  }
  if (text_ != nullptr) Materialize();
  const std::size_t used = count * row_bytes;
  if (bytes_.Size() - used < row_bytes)
    Grow(std::max({used + row_bytes, 2 * bytes_.Size(), announced_ * row_bytes}));
  ++count;
  return bytes_.Data() + used;
}

void FlatRows::DropLast() {
  if (count == 0) return;
  --count;
  if (keep_none_) return;
  if (text_ != nullptr && count == 0) text_ = nullptr;
  if (text_ != nullptr && count == 1) stride_ = 0;
}

void FlatRows::Reserve(std::size_t rows) {
  if (keep_none_) return;
  announced_ = std::max(announced_, count + rows);
  if (text_ == nullptr && bytes_.Size() != 0 && announced_ * RowBytes() > bytes_.Size())
    Grow(announced_ * RowBytes());
}

void FlatRows::Grow(std::size_t bytes) {
  util::PopulatedBuffer larger(bytes);
  if (count != 0 && text_ == nullptr) std::memcpy(larger.Data(), bytes_.Data(), count * RowBytes());
  bytes_ = std::move(larger);
}

void FlatRows::Materialize() {
  const std::size_t row_bytes = RowBytes();
  Grow(std::max(count, announced_) * row_bytes);
  for (std::size_t r = 0; r < count; ++r)
    DecodeRow(text_ + r * stride_, DigitsOfRow(width), HasShortLead(width),
              bytes_.Data() + r * row_bytes);
  text_ = nullptr;
  stride_ = 0;
}

}  // namespace fusekit::isc
