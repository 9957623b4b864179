// The image buffer of the record converters, held in pages that exist only where data was
// written: an image of a few kilobytes at a high address takes a few kilobytes. Every byte that
// was not written reads as 0xFF.
#ifndef FUSEKIT_IMAGE_SPARSE_IMAGE_H
#define FUSEKIT_IMAGE_SPARSE_IMAGE_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>

namespace fusekit::image {

class SparseImage {
 public:
  // Stores count bytes from address on. Throws std::bad_alloc.
  void Write(std::uint64_t address, const std::uint8_t* bytes, std::size_t count);
  // Writes the bytes from first to last inclusive to file; false on a write error.
  bool WriteRange(std::FILE* file, std::uint64_t first, std::uint64_t last) const;

 private:
  static constexpr unsigned kPageBits = 12;
  static constexpr std::size_t kPageBytes = std::size_t{1} << kPageBits;
  struct Page {
    std::uint8_t bytes[kPageBytes];
  };
  Page& PageAt(std::uint64_t number);

  std::map<std::uint64_t, std::unique_ptr<Page>> pages_;
  std::uint64_t last_number_ = 0;
  Page* last_page_ = nullptr;
};

}  // namespace fusekit::image

#endif  // FUSEKIT_IMAGE_SPARSE_IMAGE_H
