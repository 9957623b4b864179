// A large block of bytes that its owner writes whole, with its memory made ready at once.
#ifndef FUSEKIT_SUPPORT_UTIL_POPULATED_BUFFER_H
#define FUSEKIT_SUPPORT_UTIL_POPULATED_BUFFER_H

#include <cstddef>

namespace fusekit::util {

// Fresh memory of bytes bytes, not cleared: from mapped_from bytes on mapped with all its pages
// made present in one call, which mapped then tells; below that, or where no mapping can be
// made, from the heap. Throws std::bad_alloc when there is no memory. Freed by FreePresent.
unsigned char* AllocatePresent(std::size_t bytes, std::size_t mapped_from, bool& mapped);
void FreePresent(unsigned char* bytes, std::size_t size, bool mapped) noexcept;

// Bytes of fresh memory, not cleared. A block of 1 MiB or more is mapped with all its pages
// made present in one call, instead of one page fault a page as it is first written: on a
// virtual machine a fault can cost as much as writing the page ten times over. A smaller one
// comes from the heap. Throws std::bad_alloc when there is no memory.
class PopulatedBuffer {
 public:
  PopulatedBuffer() = default;
  explicit PopulatedBuffer(std::size_t bytes);
  PopulatedBuffer(PopulatedBuffer&& other) noexcept;
  PopulatedBuffer& operator=(PopulatedBuffer&& other) noexcept;
  PopulatedBuffer(const PopulatedBuffer&) = delete;
  PopulatedBuffer& operator=(const PopulatedBuffer&) = delete;
  ~PopulatedBuffer();

  unsigned char* Data() const { return bytes_; }
  std::size_t Size() const { return size_; }

 private:
  void Release() noexcept;

  unsigned char* bytes_ = nullptr;
  std::size_t size_ = 0;
  bool mapped_ = false;
};

}  // namespace fusekit::util

#endif  // FUSEKIT_SUPPORT_UTIL_POPULATED_BUFFER_H
