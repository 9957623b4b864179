// PopulatedBuffer: every byte of a small or mapped block can be written and read back, and a
// block moved keeps its bytes while the one it left is empty.
#include "support/util/populated_buffer.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include <gtest/gtest.h>

namespace {

using fusekit::util::PopulatedBuffer;

TEST(PopulatedBuffer, EveryByteHoldsWhatWasWrittenAndMovesKeepIt) {
  for (std::size_t size :
       {std::size_t{0}, std::size_t{1}, std::size_t{4095}, (std::size_t{1} << 20) - 1,
        std::size_t{1} << 20, (std::size_t{3} << 20) + 17}) {
    PopulatedBuffer buffer(size);
    ASSERT_EQ(buffer.Size(), size);
    if (size == 0) continue;
    ASSERT_NE(buffer.Data(), nullptr);
    for (std::size_t i = 0; i < size; ++i) buffer.Data()[i] = static_cast<unsigned char>(i * 7);
    PopulatedBuffer moved(std::move(buffer));
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_EQ(buffer.Size(), 0u);
    PopulatedBuffer assigned(16);
    assigned = std::move(moved);
    ASSERT_EQ(assigned.Size(), size);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < size; ++i)
      wrong += assigned.Data()[i] != static_cast<unsigned char>(i * 7);
    EXPECT_EQ(wrong, 0u) << size;
  }
}

}  // namespace
