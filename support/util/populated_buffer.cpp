#include "support/util/populated_buffer.h"

#include <new>
#include <utility>

#include "support/util/sanitizers.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace fusekit::util {
namespace {

constexpr std::size_t kMappedFrom = std::size_t{1} << 20;

}  // namespace

unsigned char* AllocatePresent(std::size_t bytes, std::size_t mapped_from, bool& mapped) {
  mapped = false;
#if defined(__linux__) && defined(MAP_POPULATE) && !defined(FUSEKIT_ADDRESS_SANITIZER)
  // (Under AddressSanitizer every block comes from the heap, where overruns are caught.)
  if (bytes >= mapped_from) {
    void* map = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (map != MAP_FAILED) {
      mapped = true;
      return static_cast<unsigned char*>(map);
    }
  }
#else
  (void)mapped_from;
#endif
  return new unsigned char[bytes];
}

void FreePresent(unsigned char* bytes, std::size_t size, bool mapped) noexcept {
  if (bytes == nullptr) return;
#if defined(__linux__)
  if (mapped) {
    ::munmap(bytes, size);
    return;
  }
#else
  (void)size, (void)mapped;
#endif
  delete[] bytes;
}

PopulatedBuffer::PopulatedBuffer(std::size_t bytes) : size_(bytes) {
  if (bytes == 0) return;
  bytes_ = AllocatePresent(bytes, kMappedFrom, mapped_);
}

PopulatedBuffer::PopulatedBuffer(PopulatedBuffer&& other) noexcept
    : bytes_(std::exchange(other.bytes_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      mapped_(std::exchange(other.mapped_, false)) {}

PopulatedBuffer& PopulatedBuffer::operator=(PopulatedBuffer&& other) noexcept {
  if (this != &other) {
    Release();
    bytes_ = std::exchange(other.bytes_, nullptr);
    size_ = std::exchange(other.size_, 0);
    mapped_ = std::exchange(other.mapped_, false);
  }
  return *this;
}

PopulatedBuffer::~PopulatedBuffer() {
  Release();
}

void PopulatedBuffer::Release() noexcept {
  FreePresent(bytes_, size_, mapped_);
  bytes_ = nullptr;
}

}  // namespace fusekit::util
