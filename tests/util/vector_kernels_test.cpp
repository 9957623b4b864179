// The vector kernels against their byte-at-a-time definitions: mirrored, reversed byte runs for
// every length around the vector steps, and hex pairs encoded and decoded.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/util/bit_ops.h"
#include "support/util/hex_digits.h"

namespace {

using fusekit::bits::Mirror;
using fusekit::bits::MirrorReverse;
using fusekit::bits::MirrorReverseBaseline;

TEST(BitOps, MirrorReverseMatchesTheDefinition) {
  std::vector<std::uint8_t> from(70);
  unsigned seed = 7;
  for (std::uint8_t& b : from)
    b = static_cast<std::uint8_t>((seed = seed * 1103515245 + 12345) >> 16);
  for (std::size_t count = 0; count <= 2 * from.size(); ++count) {
    // Both forms, the one this processor uses and the baseline one; a guard byte on each side
    // catches writes outside the destination.
    std::vector<std::uint8_t> to(count / 2 + 2, 0xA5);
    (count % 2 == 0 ? MirrorReverse : MirrorReverseBaseline)(from.data(), count / 2, to.data() + 1);
    EXPECT_EQ(to.front(), 0xA5) << count;
    EXPECT_EQ(to.back(), 0xA5) << count;
    for (std::size_t i = 0; i < count / 2; ++i) {
      ASSERT_EQ(to[count / 2 - i], Mirror(from[i])) << "count " << count / 2 << " byte " << i;
    }
  }
  const std::uint8_t known[] = {0x01, 0x02, 0x0F, 0x80};
  std::uint8_t out[4];
  MirrorReverse(known, 4, out);
  EXPECT_EQ(out[0], 0x01);
  EXPECT_EQ(out[1], 0xF0);
  EXPECT_EQ(out[2], 0x40);
  EXPECT_EQ(out[3], 0x80);
}

// Every byte value, at every length around the 16-byte steps, against the digit table.
TEST(HexDigits, EncodePairs) {
  std::vector<std::uint8_t> bytes(256 + 40);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
  for (std::size_t count = 0; count <= bytes.size(); count += count < 70 ? 1 : 37) {
    std::string text(2 * count + 2, '#');
    char* end = fusekit::hex::EncodePairs(bytes.data(), count, &text[0]);
    ASSERT_EQ(end, &text[0] + 2 * count);
    for (std::size_t i = 0; i < count; ++i) {
      char pair[3];
      std::snprintf(pair, sizeof pair, "%02X", bytes[i]);
      ASSERT_EQ(text.substr(2 * i, 2), pair) << "count " << count << " byte " << i;
    }
    EXPECT_EQ(text.substr(2 * count), "##");
  }
}

// Every byte value in both cases of digits, and every character that is not a digit at every
// position, which must leave the output alone.
TEST(HexDigits, DecodePairs32) {
  for (const char* format : {"%02X", "%02x"}) {
    for (int first = 0; first < 256; first += 16) {
      std::string text;
      for (int b = first; b < first + 16; ++b) {
        char pair[3];
        std::snprintf(pair, sizeof pair, format, b);
        text += pair;
      }
      std::uint8_t out[16] = {};
      ASSERT_TRUE(
          fusekit::hex::DecodePairs32(reinterpret_cast<const std::uint8_t*>(text.data()), out));
      for (int i = 0; i < 16; ++i) ASSERT_EQ(out[i], first + i) << text;
    }
  }
  const std::string good = "0123456789abcdefABCDEF0123456789";
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const int bad : {0x2F, 0x3A, 0x40, 0x47, 0x60, 0x67, 0x20, 0x00, 0x80, 0xB0,
                          0xFF}) {  // / : @ G ` g blank NUL, high bytes
      std::string text = good;
      text[at] = static_cast<char>(bad);
      std::uint8_t out[16];
      std::fill(std::begin(out), std::end(out), 0x5A);
      EXPECT_FALSE(
          fusekit::hex::DecodePairs32(reinterpret_cast<const std::uint8_t*>(text.data()), out))
          << at << " " << bad;
      EXPECT_EQ(out[at / 2], 0x5A);
    }
  }
}

}  // namespace
