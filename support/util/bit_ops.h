// Bit mirroring of bytes, with a compile-time table, and whether wide vector code may run.
#ifndef FUSEKIT_SUPPORT_UTIL_BIT_OPS_H
#define FUSEKIT_SUPPORT_UTIL_BIT_OPS_H

#include <array>
#include <cstddef>
#include <cstdint>

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

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
// Functions built for AVX2 with a target attribute exist beside their plain forms.
#define FUSEKIT_AVX2_PATHS 1
// Whether the processor runs them.
inline bool HasAvx2() {
  static const bool has = __builtin_cpu_supports("avx2");
  return has;
}
#endif

// to[count - 1 - i] = Mirror(from[i]) for every i below count: the bytes mirrored and laid out
// from the end of the destination down. The two ranges must not overlap. Uses the widest
// vector instructions the processor has.
void MirrorReverse(const std::uint8_t* from, std::size_t count, std::uint8_t* to);
// The same with the instructions every processor of the build's target has.
void MirrorReverseBaseline(const std::uint8_t* from, std::size_t count, std::uint8_t* to);

}  // namespace fusekit::bits

#endif  // FUSEKIT_SUPPORT_UTIL_BIT_OPS_H
