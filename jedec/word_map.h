// Word maps: fuses of the linear buffer repacked 16 to a word, most significant bit first, each
// row padded with 1 bits up to a whole word.
#ifndef FUSEKIT_JEDEC_WORD_MAP_H
#define FUSEKIT_JEDEC_WORD_MAP_H

#include <cstdint>

#include "jedec/geometry.h"

namespace fusekit::jedec {

// The linear fuse buffer as the word-map builders see it: fuses beyond its end read as 1.
struct LinearFuses {
  const std::uint8_t* bytes;
  std::uint64_t size_bits;
  bool Fuse(std::uint64_t n) const {
    return n >= size_bits || ((bytes[n / 8] >> (7 - n % 8)) & 1u) != 0;
  }
};

// Packs geometry.rows rows of geometry.width fuses, the first starting at fuse offset, into
// out; with reversed_rows the last row of the list becomes word-map row 0. At most max_words
// words are written. Returns the words written.
std::uint64_t PackRows(const LinearFuses& fuses, std::uint64_t offset,
                       const ArrayGeometry& geometry, bool reversed_rows, std::uint16_t* out,
                       std::uint64_t max_words);

// Packs count fuses from offset as one row.
inline std::uint64_t PackBits(const LinearFuses& fuses, std::uint64_t offset, std::uint64_t count,
                              std::uint16_t* out, std::uint64_t max_words) {
  return PackRows(fuses, offset, ArrayGeometry{count == 0 ? 0u : 1u, count}, false, out, max_words);
}

// Fuse (row, column) of a word map of rows width bits wide.
inline bool WordMapFuse(const std::uint16_t* map, std::uint64_t width, std::uint64_t row,
                        std::uint64_t column) {
  const std::uint64_t word = row * ((width + 15) / 16) + column / 16;
  return ((map[word] >> (15 - column % 16)) & 1u) != 0;
}

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_WORD_MAP_H
