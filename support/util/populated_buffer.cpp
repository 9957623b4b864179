#include "support/util/populated_buffer.h"

#include <new>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace fusekit::util {
namespace {

constexpr std::size_t kMappedFrom = std::size_t{1} << 20;

}  // namespace

PopulatedBuffer::PopulatedBuffer(std::size_t bytes) : size_(bytes) {
  if (bytes == 0) return;
#if defined(__linux__) && defined(MAP_POPULATE) && !defined(__SANITIZE_ADDRESS__)
  // (Under AddressSanitizer every block comes from the heap, where overruns are caught.)
  if (bytes >= kMappedFrom) {
    void* map = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (map != MAP_FAILED) {
      bytes_ = static_cast<unsigned char*>(map);
      mapped_ = true;
      return;
    }
  }
#endif
  bytes_ = new unsigned char[bytes];
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
  if (bytes_ == nullptr) return;
#if defined(__linux__)
  if (mapped_) {
    ::munmap(bytes_, size_);
    bytes_ = nullptr;
    return;
  }
#endif
  delete[] bytes_;
  bytes_ = nullptr;
}

}  // namespace fusekit::util
