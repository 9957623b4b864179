// Parse of the JEDEC field stream.
#include "jedec/field_stream.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>

#include "jedec/jedec_format.h"
#include "support/util/bit_ops.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(FUSEKIT_AVX2_PATHS)
#include <immintrin.h>
#endif

namespace fusekit::jedec {

void ClearUpTo(std::uint8_t* linear, FieldStream& out, std::uint64_t bytes, std::uint8_t value) {
  if (linear == nullptr || bytes <= out.cleared_bytes) return;
  std::memset(linear + out.cleared_bytes, value,
              static_cast<std::size_t>(bytes - out.cleared_bytes));
  out.cleared_bytes = bytes;
}

bool SkipToStx(core::TextReader& in) {
  for (int c; (c = in.Get()) != EOF;) {
    if (c == kStx) return true;
  }
  return false;
}

namespace {

// The first byte in [p, end) that is "*" or not a valid character, or end. Fields are long (a
// fuse list is a whole file), so sixteen bytes are looked at a step where the host allows.
const std::uint8_t* FindFieldEndOrInvalid(const std::uint8_t* p, const std::uint8_t* end) {
#if defined(__SSE2__)
  const __m128i star = _mm_set1_epi8(static_cast<char>(kFieldEnd));
  const __m128i del = _mm_set1_epi8(0x7F);
  const __m128i below_space = _mm_set1_epi8(0x1F);
  const __m128i tab = _mm_set1_epi8(0x09);
  const __m128i blanks_span = _mm_set1_epi8(0x04);  // 0x09 to 0x0D: tab, LF, VT, FF, CR
  while (end - p >= 16) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(c, below_space), c);
    const __m128i from_tab = _mm_sub_epi8(c, tab);
    const __m128i blank = _mm_cmpeq_epi8(_mm_min_epu8(from_tab, blanks_span), from_tab);
    // A byte of 0x80 and above is not printable either: its own high bit marks it.
    const __m128i special =
        _mm_or_si128(_mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(c, star), _mm_cmpeq_epi8(c, del)), c),
                     _mm_andnot_si128(blank, control));
    const int mask = _mm_movemask_epi8(special);
    if (mask != 0) return p + __builtin_ctz(static_cast<unsigned>(mask));
    p += 16;
  }
#endif
  while (p != end && *p != kFieldEnd && IsValidChar(*p)) ++p;
  return p;
}

}  // namespace

bool SkipField(core::TextReader& in) {
  for (;;) {
    const std::uint8_t* p = in.WindowBegin();
    const std::uint8_t* const end = in.WindowEnd();
    if (p == end) return false;  // the input ended inside the field
    p = FindFieldEndOrInvalid(p, end);
    in.Consume(p);
    if (p == end) continue;
    if (*p != kFieldEnd) return false;  // not valid: left unread
    in.Consume(p + 1);
    return true;
  }
}

int ReadLetter(core::TextReader& in) {
  int c;
  do {
    c = in.Get();
  } while (c != EOF && IsBlank(c));
  return c == EOF ? EOF : AsciiUpper(c);
}

namespace {

constexpr std::uint64_t kNoNumber = std::numeric_limits<std::uint64_t>::max();

// The eight bytes at p as a word with the first in its lowest byte, whatever the host: one load
// where the host is little-endian.
std::uint64_t LoadLittleEndian64(const std::uint8_t* p) {
  std::uint64_t word = 0;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::memcpy(&word, p, sizeof word);
#else
  for (int i = 7; i >= 0; --i) word = (word << 8) | p[i];
#endif
  return word;
}

// The value of the eight decimal digits at p when exactly eight stand there (the common width
// of L addresses), else kNoNumber; p has at least nine bytes. The digits are joined in pairs,
// then fours, then all eight, by three multiplications of the loaded word (first digit in its
// lowest byte).
std::uint64_t EightDigitsAt(const std::uint8_t* p) {
  std::uint64_t word = LoadLittleEndian64(p);
  constexpr std::uint64_t kHighNibbles = 0xF0F0F0F0F0F0F0F0ull;
  constexpr std::uint64_t kZeros = 0x3030303030303030ull;
  const bool all_digits =
      (word & kHighNibbles) == kZeros && ((word + 0x0606060606060606ull) & kHighNibbles) == kZeros;
  if (!all_digits || IsDecimalDigit(p[8])) return kNoNumber;
  word -= kZeros;
  word = (word * 10 + (word >> 8)) & 0x00FF00FF00FF00FFull;
  word = (word * 100 + (word >> 16)) & 0x0000FFFF0000FFFFull;
  return (word * 10000 + (word >> 32)) & 0xFFFFFFFFull;
}

// Reads a number in base 10 or 16 after optional blanks; kNoNumber when there is no digit or
// it does not fit in 64 bits. The first character that is not a digit is left unread.
template <int Base>
std::uint64_t ReadNumberIn(core::TextReader& in) {
  while (IsBlank(in.Peek())) in.Get();
  constexpr std::uint64_t kLimit = (kNoNumber - 1) / Base - 1;  // no overflow below this
  std::uint64_t value = 0;
  bool any = false;
  if (Base == 10) {
    // Common case, an L field's address: at most 19 digits cannot overflow, so they are taken
    // without a check each when the window holds them all.
    const std::uint8_t* p = in.WindowBegin();
    const std::uint8_t* const end = in.WindowEnd();
    if (end - p > 20) {
      if (const std::uint64_t eight = EightDigitsAt(p); eight != kNoNumber) {
        in.Consume(p + 8);
        return eight;
      }
      const std::uint8_t* const first = p;
      unsigned digit;
      while ((digit = static_cast<unsigned>(*p) - '0') <= 9 && p - first < 19) {
        value = value * 10 + digit;
        ++p;
      }
      if (p - first < 19) {
        in.Consume(p);
        return p != first ? value : kNoNumber;
      }
      in.Consume(p);  // more digits follow: go on with the checked loop
      any = true;
    }
  }
  // The digits straight from the reader's window (a number may span two windows).
  for (;;) {
    const std::uint8_t* p = in.WindowBegin();
    const std::uint8_t* const end = in.WindowEnd();
    if (p == end) break;
    while (p != end && (Base == 16 ? IsHexDigit(*p) : IsDecimalDigit(*p))) {
      if (value > kLimit) {
        in.Consume(p);
        return kNoNumber;
      }
      value = value * Base + static_cast<unsigned>(Base == 16 ? HexValue(*p) : *p - '0');
      any = true;
      ++p;
    }
    in.Consume(p);
    if (p != end) break;
  }
  return any ? value : kNoNumber;
}

std::uint64_t ReadNumber(core::TextReader& in, int base) {
  return base == 16 ? ReadNumberIn<16>(in) : ReadNumberIn<10>(in);
}

// The end of a field after its value: blanks, then "*".
bool ReadFieldEnd(core::TextReader& in) {
  while (IsBlank(in.Peek())) in.Get();
  if (in.Peek() != kFieldEnd) return false;
  in.Get();
  return true;
}

// A whole numeric field: value then "*"; kNoNumber on any fault.
std::uint64_t ReadNumericField(core::TextReader& in, int base) {
  const std::uint64_t value = ReadNumber(in, base);
  if (value == kNoNumber || !ReadFieldEnd(in)) return kNoNumber;
  return value;
}

void WriteFuse(const FuseWindow& window, std::uint64_t n, bool set) {
  if (window.bytes == nullptr) return;  // checking the list only
  std::uint8_t& byte = window.bytes[(n - window.first) / 8];
  const std::uint8_t mask = static_cast<std::uint8_t>(0x80u >> (n % 8));
  byte = static_cast<std::uint8_t>(set ? byte | mask : byte & ~mask);
}

// Eight fuse digits, when all eight are '0' or '1': the byte they make, first digit in the most
// significant bit. -1 otherwise. The low bits of the digits, one a byte, are gathered into the
// top byte by one multiplication (the loaded word has the first digit in its lowest byte).
int PackEightDigits(const std::uint8_t* p) {
  std::uint64_t word = LoadLittleEndian64(p);
  if ((word & 0xFEFEFEFEFEFEFEFEull) != 0x3030303030303030ull) return -1;
  return static_cast<int>(((word & 0x0101010101010101ull) * 0x8040201008040201ull) >> 56);
}

#if defined(__SSE2__)
// Sixteen fuse digits into two bytes at once; false when one of them is not a fuse digit.
bool PackSixteenDigits(const std::uint8_t* p, std::uint8_t* out) {
  const __m128i chars = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i ones = _mm_cmpeq_epi8(chars, _mm_set1_epi8('1'));
  const __m128i zeros = _mm_cmpeq_epi8(chars, _mm_set1_epi8('0'));
  if (_mm_movemask_epi8(_mm_or_si128(ones, zeros)) != 0xFFFF) return false;
  const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(ones));  // bit k: digit k
  out[0] = bits::Mirror(static_cast<std::uint8_t>(mask));
  out[1] = bits::Mirror(static_cast<std::uint8_t>(mask >> 8));
  return true;
}
#endif

#if defined(FUSEKIT_AVX2_PATHS)
// Fuse digits packed 32 at a step, as long as all 32 are '0' or '1', 32 more stand before end
// and four more bytes fit in out's room: the bytes written. Reversing each eight digits before
// their low bits are gathered puts the first digit in each byte's high bit.
__attribute__((target("avx2"))) std::size_t PackDigitRunAvx2(const std::uint8_t* p,
                                                             const std::uint8_t* end,
                                                             std::uint8_t* out, std::size_t room) {
  const __m256i reverse_eights =
      _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0,
                       15, 14, 13, 12, 11, 10, 9, 8);
  const __m256i not_a_bit = _mm256_set1_epi8(static_cast<char>(0xFE));
  std::size_t written = 0;
  while (end - p >= 32 && room - written >= 4) {
    const __m256i bit = _mm256_sub_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)),
                                        _mm256_set1_epi8('0'));
    if (!_mm256_testz_si256(bit, not_a_bit)) break;  // a byte other than '0' or '1'
    const __m256i high = _mm256_slli_epi16(_mm256_shuffle_epi8(bit, reverse_eights), 7);
    const auto mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(high));
    std::memcpy(out + written, &mask, sizeof mask);
    written += 4;
    p += 32;
  }
  return written;
}
#endif

// Byte-aligned fuse digits packed at once where the host allows, into the window from fuse n on
// (its room ends at the window's end): the digits taken.
std::size_t PackDigitRun(const std::uint8_t* p, const std::uint8_t* end, const FuseWindow& window,
                         std::uint64_t n) {
#if defined(FUSEKIT_AVX2_PATHS)
  if (window.bytes != nullptr && n % 8 == 0 && n < window.end && end - p >= 32 && bits::HasAvx2()) {
    const auto room = static_cast<std::size_t>(
        std::min<std::uint64_t>((window.end - n) / 8, std::numeric_limits<std::size_t>::max()));
    return 8 * PackDigitRunAvx2(p, end, window.bytes + (n - window.first) / 8, room);
  }
#else
  (void)p, (void)end, (void)window, (void)n;
#endif
  return 0;
}

// The fuse digits of an L field from its address to its "*", into the window (which windows, if
// not null, move on past its end). Byte-aligned runs of digits are taken eight or sixteen at a
// time straight from the reader's window.
int ReadFuseDigits(core::TextReader& in, std::uint64_t address, std::uint64_t fuse_count,
                   FuseWindow& window, FuseWindows* windows) {
  std::uint64_t n = address;
  if (windows != nullptr && n >= window.end && n < fuse_count && !windows->MoveTo(n, window))
    return kWindowsStopped;
  for (;;) {
    const std::uint8_t* p = in.WindowBegin();
    const std::uint8_t* const end = in.WindowEnd();
    if (p == end) return -4;  // the input ended inside the field
    while (p != end) {
      if (const std::size_t taken = PackDigitRun(p, end, window, n); taken != 0) {
        n += taken;
        p += taken;
        if (p != end && *p == kFieldEnd) {  // the most common end of a field
          in.Consume(p + 1);
          return 0;
        }
      }
#if defined(__SSE2__)
      if (window.bytes != nullptr) {
        while (n % 8 == 0 && end - p >= 16 && n + 16 <= window.end &&
               PackSixteenDigits(p, window.bytes + (n - window.first) / 8)) {
          n += 16;
          p += 16;
        }
        if (p == end) break;
      }
#endif
      if (n % 8 == 0 && end - p >= 8 && n + 8 <= window.end) {
        const int byte = PackEightDigits(p);
        if (byte >= 0) {
          if (window.bytes != nullptr)
            window.bytes[(n - window.first) / 8] = static_cast<std::uint8_t>(byte);
          n += 8;
          p += 8;
          continue;
        }
      }
      const std::uint8_t c = *p++;
      if (c == '0' || c == '1') {
        if (n >= fuse_count) {
          in.Consume(p);
          return kSyntaxError;  // a fuse beyond the declared count
        }
        if (n >= window.end && (windows == nullptr || !windows->MoveTo(n, window))) {
          in.Consume(p);
          return kWindowsStopped;
        }
        WriteFuse(window, n++, c == '1');
      } else if (c == kFieldEnd) {
        in.Consume(p);
        return 0;
      } else if (!IsBlank(c)) {
        in.Consume(p);
        return kSyntaxError;
      }
    }
    in.Consume(p);
  }
}

// Fuse digits up to "*" collected one per element, at most max_bits of them; over_limit tells
// that there were more.
int ReadDigitField(core::TextReader& in, std::vector<std::uint8_t>& bits, std::uint64_t max_bits,
                   bool& over_limit) {
  over_limit = false;
  for (;;) {
    const int c = in.Get();
    if (c == EOF) return -4;
    if (c == kFieldEnd) return 0;
    if (c == '0' || c == '1') {
      if (bits.size() >= max_bits) {
        over_limit = true;
      } else {
        bits.push_back(static_cast<std::uint8_t>(c - '0'));
      }
    } else if (!IsBlank(c)) {
      return kSyntaxError;
    }
  }
}

void AppendBits(std::vector<std::uint8_t>& bits, unsigned value, int count) {
  for (int i = count - 1; i >= 0; --i) bits.push_back(static_cast<std::uint8_t>((value >> i) & 1));
}

// The U field after its letter: "A" and characters of eight bits, "H" and hex digits of four
// bits, or fuse digits.
int ReadUsercode(core::TextReader& in, std::vector<std::uint8_t>& bits) {
  while (IsBlank(in.Peek())) in.Get();
  const int form = AsciiUpper(in.Peek());
  if (form == kUsercodeAscii || form == kUsercodeHex) {
    in.Get();
    for (;;) {
      const int c = in.Get();
      if (c == EOF) return -4;
      if (c == kFieldEnd) return 0;
      if (bits.size() >= kMaxUsercodeBits) return kSyntaxError;
      if (form == kUsercodeAscii) {
        AppendBits(bits, static_cast<unsigned>(c), 8);
      } else if (IsHexDigit(c)) {
        AppendBits(bits, static_cast<unsigned>(HexValue(c)), 4);
      } else if (!IsBlank(c)) {
        return kSyntaxError;
      }
    }
  }
  if (form != '0' && form != '1' && form != kFieldEnd) return kSyntaxError;
  bool over_limit = false;
  const int status = ReadDigitField(in, bits, kMaxUsercodeBits, over_limit);
  return (status == 0 && over_limit) ? kSyntaxError : status;
}

bool QfAccepted(const FuseListLimits& limits, std::uint64_t qf) {
  if (qf > limits.capacity_bits) return false;  // whatever the device, the buffers cannot hold it
  if (limits.accept_any_count || qf == limits.device_fuses) return true;
  if (limits.accept_plus_64 && qf == limits.device_fuses + k22V10ExtraUsercodeFuses) return true;
  return qf == kAliasedQf && limits.device_fuses == kAliasedQfDeviceFuses;
}

// An L field's fuses from address on into the windows, which its first L field starts.
int ReadFuseListIntoWindows(core::TextReader& in, std::uint64_t address,
                            const FuseListLimits& limits, FieldStream& out, FuseWindow& window) {
  if (!out.has_qf) return kListWentBack;  // the map's size is not known yet
  if (!out.has_fuse_list) {
    if (!limits.windows->Start(out.fuse_count, FillOf(out, limits.clear_value), window))
      return kWindowsStopped;
    out.has_fuse_list = true;
  }
  if (address < window.first) return kListWentBack;
  return ReadFuseDigits(in, address, out.fuse_count, window, limits.windows);
}

// An L field's fuses from address on, into the windows or the linear map.
int ReadFuseList(core::TextReader& in, std::uint64_t address, const FuseListLimits& limits,
                 std::uint8_t* linear, FieldStream& out, FuseWindow& window) {
  if (limits.windows != nullptr) return ReadFuseListIntoWindows(in, address, limits, out, window);
  out.has_fuse_list = true;
  ClearUpTo(linear, out, (out.fuse_count + 7) / 8, limits.clear_value);
  window = FuseWindow{linear, 0, out.fuse_count};
  return ReadFuseDigits(in, address, out.fuse_count, window, nullptr);
}

// Just after a field's "*": when the next line starts with another L field and its address of
// eight digits, as most lines of a fuse list do, that address, having stepped over it (what the
// field loop would read to the same effect); else kNoNumber, nothing read.
std::uint64_t NextFuseLineAddress(core::TextReader& in) {
  const std::uint8_t* p = in.WindowBegin();
  if (in.WindowEnd() - p < 12) return kNoNumber;  // CR, LF, "L", eight digits and one more
  if (p[0] == '\r') ++p;
  if (p[0] != '\n' || p[1] != kFuseList) return kNoNumber;
  const std::uint64_t address = EightDigitsAt(p + 2);
  if (address != kNoNumber) in.Consume(p + 10);
  return address;
}

// One field after its letter. Result 0 to go on, or the status that ends the stream. window is
// where the last L field's fuses went.
int ReadField(core::TextReader& in, int letter, const FuseListLimits& limits, std::uint8_t* linear,
              FieldStream& out, FuseWindow& window) {
  switch (letter) {
    case kQuantity: {
      const int which = AsciiUpper(in.Peek());
      if (which != 'F' && which != 'P') return SkipField(in) ? 0 : -4;
      in.Get();
      const std::uint64_t value = ReadNumericField(in, 10);
      if (value == kNoNumber) return kSyntaxError;
      if (which == 'P') {
        out.pin_count = value > static_cast<std::uint64_t>(std::numeric_limits<long>::max())
                            ? std::numeric_limits<long>::max()
                            : static_cast<long>(value);
        out.has_qp = true;
        return 0;
      }
      if (!QfAccepted(limits, value)) return -2;
      if (limits.windows != nullptr && out.has_qf && value != out.fuse_count) return -2;
      if (limits.windows != nullptr && out.has_fuse_list) return kListWentBack;
      out.fuse_count = value;
      out.has_qf = true;
      return 0;
    }
    case kFuseDefault: {
      const std::uint64_t value = ReadNumericField(in, 10);
      if (value == kNoNumber) return kSyntaxError;
      out.default_fuse = value == 0 ? 0 : 1;
      out.has_default_fuse = true;
      if (!out.has_fuse_list && linear != nullptr) {
        const std::uint64_t bytes = (out.fuse_count + 7) / 8;
        std::memset(linear, value == 0 ? 0x00 : 0xFF, static_cast<std::size_t>(bytes));
        if (bytes > out.cleared_bytes) out.cleared_bytes = bytes;
      }
      return 0;
    }
    case kSecurity: {
      const std::uint64_t value = ReadNumericField(in, 10);
      if (value == kNoNumber) return kSyntaxError;
      out.security = value > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(value);
      out.has_security = true;
      return 0;
    }
    case kChecksum: {
      const std::uint64_t value = ReadNumericField(in, 16);
      if (value == kNoNumber) return kSyntaxError;
      out.checksum = static_cast<std::uint32_t>(value);
      out.has_checksum = true;
      return 0;
    }
    case kFuseList: {
      // L fields that follow one another a line each, the bulk of a file, are taken here one
      // after another without going back to the field loop.
      std::uint64_t address = ReadNumber(in, 10);
      if (address == kNoNumber) return kSyntaxError;
      do {
        if (const int status = ReadFuseList(in, address, limits, linear, out, window); status != 0)
          return status;
        address = NextFuseLineAddress(in);
      } while (address != kNoNumber);
      return 0;
    }
    case kArchitecture: {
      bool longer = false;
      out.has_e = true;
      const int status = ReadDigitField(in, out.e_bits, limits.arch_length, longer);
      return status != 0 ? status : longer ? -18 : 0;
    }
    case kUsercode:
      out.has_u = true;
      out.u_bits.clear();
      return ReadUsercode(in, out.u_bits);
    default:  // notes and fields this reader has no use for
      return SkipField(in) ? 0 : -4;
  }
}

}  // namespace

int ReadFieldStream(core::TextReader& in, const FuseListLimits& limits, std::uint8_t* linear,
                    FieldStream& out) {
  out = FieldStream();
  out.fuse_count =
      limits.device_fuses < limits.capacity_bits ? limits.device_fuses : limits.capacity_bits;
  if (!SkipField(in)) return -4;  // the design field
  FuseWindow window;
  for (;;) {
    const int letter = ReadLetter(in);
    if (letter == kEtx) return (out.has_fuse_list || out.has_default_fuse) ? 0 : -4;
    if (letter == EOF || !IsValidChar(letter)) return -4;
    const int status = ReadField(in, letter, limits, linear, out, window);
    if (status != 0) return status;
  }
}

// The sum of mirrored bytes is the sum over bit positions i of (how many bytes have bit i set)
// times 2^(7 - i), so the bytes are counted bit plane by bit plane, sixteen at a step where the
// host allows, with no mirroring at all.
#if defined(FUSEKIT_AVX2_PATHS)
// The sum of the bytes mirrored, 32 at a step while 32 remain before whole: each byte mirrored a
// nibble at a time by table look-ups, then summed by absolute differences from zero.
__attribute__((target("avx2"))) std::uint64_t SumOfMirroredBytesAvx2(const std::uint8_t* linear,
                                                                     std::uint64_t whole,
                                                                     std::uint64_t& i) {
  // The low nibble's bits mirrored into the high nibble, and the high nibble's into the low.
  static constexpr std::uint8_t kLowMirrored[16] = {0x00, 0x80, 0x40, 0xC0, 0x20, 0xA0, 0x60, 0xE0,
                                                    0x10, 0x90, 0x50, 0xD0, 0x30, 0xB0, 0x70, 0xF0};
  static constexpr std::uint8_t kHighMirrored[16] = {0x0, 0x8, 0x4, 0xC, 0x2, 0xA, 0x6, 0xE,
                                                     0x1, 0x9, 0x5, 0xD, 0x3, 0xB, 0x7, 0xF};
  const __m256i low_mirrored =
      _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(kLowMirrored)));
  const __m256i high_mirrored =
      _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(kHighMirrored)));
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  __m256i sums = _mm256_setzero_si256();
  for (; whole - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(linear + i));
    const __m256i mirrored = _mm256_or_si256(
        _mm256_shuffle_epi8(low_mirrored, _mm256_and_si256(v, nibble)),
        _mm256_shuffle_epi8(high_mirrored, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
    sums = _mm256_add_epi64(sums, _mm256_sad_epu8(mirrored, _mm256_setzero_si256()));
  }
  alignas(32) std::uint64_t lanes[4];
  _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), sums);
  return lanes[0] + lanes[1] + lanes[2] + lanes[3];
}
#endif

std::uint16_t FuseChecksum(const std::uint8_t* linear, std::uint64_t count) {
  std::uint64_t sum = 0;
  const std::uint64_t whole = count / 8;
  std::uint64_t i = 0;
#if defined(FUSEKIT_AVX2_PATHS)
  if (whole >= 32 && bits::HasAvx2()) sum = SumOfMirroredBytesAvx2(linear, whole, i);
#endif
#if defined(__SSE2__)
  const __m128i ones = _mm_set1_epi8(1);
  while (whole - i >= 16) {
    // Byte counters of each plane; 255 steps at most before they are added up.
    __m128i planes[8];
    for (auto& plane : planes) plane = _mm_setzero_si128();
    const std::uint64_t steps = std::min<std::uint64_t>((whole - i) / 16, 255);
    for (std::uint64_t s = 0; s < steps; ++s, i += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(linear + i));
      for (int bit = 0; bit < 8; ++bit) {
        planes[bit] = _mm_add_epi8(planes[bit], _mm_and_si128(_mm_srli_epi16(v, bit), ones));
      }
    }
    for (int bit = 0; bit < 8; ++bit) {
      const __m128i totals = _mm_sad_epu8(planes[bit], _mm_setzero_si128());
      const std::uint64_t plane_count = static_cast<std::uint64_t>(_mm_cvtsi128_si32(totals)) +
                                        static_cast<std::uint64_t>(_mm_extract_epi16(totals, 4));
      sum += plane_count << (7 - bit);
    }
  }
#endif
  for (; i < whole; ++i) sum += bits::Mirror(linear[i]);
  if (count % 8 != 0) {
    const unsigned keep = 0xFFu << (8 - count % 8);  // the fuses below count, high bits first
    sum += bits::Mirror(static_cast<std::uint8_t>(linear[whole] & keep));
  }
  return static_cast<std::uint16_t>(sum);
}

}  // namespace fusekit::jedec
