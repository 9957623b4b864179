// The value of each hex digit character, by table.
#ifndef FUSEKIT_SUPPORT_UTIL_HEX_DIGITS_H
#define FUSEKIT_SUPPORT_UTIL_HEX_DIGITS_H

#include <array>
#include <cstddef>

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

}  // namespace fusekit::hex

#endif  // FUSEKIT_SUPPORT_UTIL_HEX_DIGITS_H
