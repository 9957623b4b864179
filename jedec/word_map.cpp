// Repacking of the linear fuse buffer into word maps.
#include "jedec/word_map.h"

namespace fusekit::jedec {
namespace {

void PackRow(const LinearFuses& fuses, std::uint64_t start, std::uint64_t width,
             std::uint16_t* out) {
  const std::uint64_t words = (width + 15) / 16;
  std::uint64_t column = 0;
  // Whole bytes of a byte-aligned row inside the buffer are copied two at a time.
  if (start % 8 == 0) {
    const std::uint8_t* p = fuses.bytes + start / 8;
    while (column + 16 <= width && start + column + 16 <= fuses.size_bits) {
      out[column / 16] = static_cast<std::uint16_t>((p[0] << 8) | p[1]);
      p += 2;
      column += 16;
    }
  }
  for (std::uint64_t w = column / 16; w < words; ++w) {
    unsigned word = 0;
    for (int bit = 0; bit < 16; ++bit) {
      const std::uint64_t c = w * 16 + static_cast<std::uint64_t>(bit);
      const bool set = c >= width || fuses.Fuse(start + c);  // padding bits are 1
      word = (word << 1) | (set ? 1u : 0u);
    }
    out[w] = static_cast<std::uint16_t>(word);
  }
}

}  // namespace

std::uint64_t PackRows(const LinearFuses& fuses, std::uint64_t offset,
                       const ArrayGeometry& geometry, bool reversed_rows, std::uint16_t* out,
                       std::uint64_t max_words) {
  if (out == nullptr || geometry.width == 0) return 0;
  const std::uint64_t words_per_row = (geometry.width + 15) / 16;
  const std::uint64_t rows =
      geometry.rows < max_words / words_per_row ? geometry.rows : max_words / words_per_row;
  for (std::uint64_t r = 0; r < rows; ++r) {
    const std::uint64_t source_row = reversed_rows ? geometry.rows - 1 - r : r;
    PackRow(fuses, offset + source_row * geometry.width, geometry.width, out + r * words_per_row);
  }
  return rows * words_per_row;
}

}  // namespace fusekit::jedec
