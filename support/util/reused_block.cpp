#include "support/util/reused_block.h"

#include <mutex>
#include <utility>

#include "support/util/populated_buffer.h"
#include "support/util/sanitizers.h"

namespace fusekit::util {
namespace {

#if defined(FUSEKIT_ADDRESS_SANITIZER)
constexpr bool kKeepBlocks = false;
#else
constexpr bool kKeepBlocks = true;
#endif

// Fresh blocks from this size on are mapped with their pages present.
constexpr std::size_t kPresentFrom = std::size_t{64} << 10;

// The blocks kept, freed by the last owner of each. Under AddressSanitizer none is kept, so that
// a use after free is still caught.
class KeptBlocks {
 public:
  static constexpr std::size_t kLargest = std::size_t{2} << 20;
  static constexpr int kCount = 6;

  // A kept block of at least bytes and the least such, or null.
  unsigned char* Take(std::size_t bytes, std::size_t& capacity, bool& mapped) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Kept* best = nullptr;
    for (Kept& kept : kept_) {
      if (kept.bytes != nullptr && kept.capacity >= bytes &&
          (best == nullptr || kept.capacity < best->capacity))
        best = &kept;
    }
    if (best == nullptr) return nullptr;
    capacity = best->capacity;
    mapped = best->mapped;
    return std::exchange(best->bytes, nullptr);
  }

  // Keeps a block, or frees it when it is too large or every place is taken.
  void Give(unsigned char* bytes, std::size_t capacity, bool mapped) {
    if (kKeepBlocks && capacity <= kLargest) {
      const std::lock_guard<std::mutex> lock(mutex_);
      for (Kept& kept : kept_) {
        if (kept.bytes != nullptr) continue;
        kept = Kept{bytes, capacity, mapped};
        return;
      }
    }
    FreePresent(bytes, capacity, mapped);
  }

 private:
  struct Kept {
    unsigned char* bytes = nullptr;
    std::size_t capacity = 0;
    bool mapped = false;
  };
  std::mutex mutex_;
  Kept kept_[kCount];
};

// Never destroyed: a block may be freed by the destructor of a static object after this one's
// time, and the blocks kept are the process's until it ends.
KeptBlocks& Kept() {
  static KeptBlocks* const blocks = new KeptBlocks;
  return *blocks;
}

}  // namespace

ReusedBlock::ReusedBlock(std::size_t bytes) : size_(bytes) {
  if (bytes == 0) return;
  bytes_ = Kept().Take(bytes, capacity_, mapped_);
  if (bytes_ != nullptr) return;
  // A fresh block of a read window is written whole before long: its pages are made present
  // at once, which costs an eighth of faulting them in one by one on a virtual machine.
  bytes_ = AllocatePresent(bytes, kPresentFrom, mapped_);
  capacity_ = bytes;
}

ReusedBlock::ReusedBlock(ReusedBlock&& other) noexcept
    : bytes_(std::exchange(other.bytes_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)),
      mapped_(std::exchange(other.mapped_, false)) {}

ReusedBlock& ReusedBlock::operator=(ReusedBlock&& other) noexcept {
  if (this != &other) {
    Release();
    bytes_ = std::exchange(other.bytes_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    mapped_ = std::exchange(other.mapped_, false);
  }
  return *this;
}

ReusedBlock::~ReusedBlock() {
  Release();
}

void ReusedBlock::Release() noexcept {
  if (bytes_ == nullptr) return;
  Kept().Give(bytes_, capacity_, mapped_);
  bytes_ = nullptr;
  size_ = capacity_ = 0;
  mapped_ = false;
}

}  // namespace fusekit::util
