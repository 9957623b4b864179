// The paged image buffer.
#include "image/sparse_image.h"

#include <algorithm>
#include <cstring>

namespace fusekit::image {

SparseImage::Page& SparseImage::PageAt(std::uint64_t number) {
  if (last_page_ != nullptr && last_number_ == number) return *last_page_;
  std::unique_ptr<Page>& page = pages_[number];
  if (!page) {
    page = std::make_unique<Page>();
    std::memset(page->bytes, 0xFF, kPageBytes);
  }
  last_number_ = number;
  last_page_ = page.get();
  return *page;
}

void SparseImage::Write(std::uint64_t address, const std::uint8_t* bytes, std::size_t count) {
  while (count != 0) {
    const std::size_t offset = static_cast<std::size_t>(address & (kPageBytes - 1));
    const std::size_t chunk = std::min(count, kPageBytes - offset);
    std::memcpy(PageAt(address >> kPageBits).bytes + offset, bytes, chunk);
    address += chunk;
    bytes += chunk;
    count -= chunk;
  }
}

bool SparseImage::WriteRange(std::FILE* file, std::uint64_t first, std::uint64_t last) const {
  constexpr std::size_t kBlankBytes = std::size_t{1} << 16;
  static const auto kBlank = [] {
    std::unique_ptr<std::uint8_t[]> blank(new std::uint8_t[kBlankBytes]);
    std::memset(blank.get(), 0xFF, kBlankBytes);
    return blank;
  }();
  for (std::uint64_t address = first; address <= last && address >= first;) {
    const auto page = pages_.lower_bound(address >> kPageBits);
    const std::uint64_t page_start = page != pages_.end() ? page->first << kPageBits : last + 1;
    std::uint64_t room;
    const std::uint8_t* from;
    if (page_start > address) {
      // A gap up to the next page that holds data (or to the end): blank bytes.
      room = std::min<std::uint64_t>({page_start - address, last - address + 1, kBlankBytes});
      from = kBlank.get();
    } else {
      const std::size_t offset = static_cast<std::size_t>(address & (kPageBytes - 1));
      room = std::min<std::uint64_t>(kPageBytes - offset, last - address + 1);
      from = page->second->bytes + offset;
    }
    if (std::fwrite(from, 1, static_cast<std::size_t>(room), file) != room) return false;
    address += room;
  }
  return true;
}

}  // namespace fusekit::image
