// Mirrored, reversed byte runs against the byte-at-a-time definition, for every length around
// the 16-byte steps of the vector path.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/util/bit_ops.h"

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

}  // namespace
