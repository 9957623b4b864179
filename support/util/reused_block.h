// A block of memory for reading a file through, kept when freed for the next reader.
#ifndef FUSEKIT_SUPPORT_UTIL_REUSED_BLOCK_H
#define FUSEKIT_SUPPORT_UTIL_REUSED_BLOCK_H

#include <cstddef>

namespace fusekit::util {

// Bytes of memory, not cleared, for a buffer that is written before it is read (a read window,
// a ring). A block freed is kept for the next one of no greater size: at most six blocks, of
// at most 2 MiB each. A buffer of a MiB made fresh for every call costs a page fault a page, or
// a mapping and its unmapping, and on a virtual machine either costs as much as reading a file
// of ten times its size from the cache. Throws std::bad_alloc when there is no memory.
class ReusedBlock {
 public:
  ReusedBlock() = default;
  explicit ReusedBlock(std::size_t bytes);
  ReusedBlock(ReusedBlock&& other) noexcept;
  ReusedBlock& operator=(ReusedBlock&& other) noexcept;
  ReusedBlock(const ReusedBlock&) = delete;
  ReusedBlock& operator=(const ReusedBlock&) = delete;
  ~ReusedBlock();

  unsigned char* Data() const { return bytes_; }
  std::size_t Size() const { return size_; }

 private:
  void Release() noexcept;

  unsigned char* bytes_ = nullptr;
  std::size_t size_ = 0;      // as asked for
  std::size_t capacity_ = 0;  // as allocated: a kept block may be larger
  bool mapped_ = false;       // as AllocatePresent made it
};

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_REUSED_BLOCK_H
