// KvObjList and KvByteBuffer: the owning list and the byte row.
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include "fusekit/util.h"

KvObject::~KvObject() = default;

KvObjList::KvObjList() = default;
KvObjList::~KvObjList() = default;

bool KvObjList::AddTail(KvObject* object) {
  std::unique_ptr<KvObject> owned(object);
  try {
    objects_.push_back(std::move(owned));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

KvObject* KvObjList::GetAt(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= objects_.size()) return nullptr;
  return objects_[static_cast<std::size_t>(index)].get();
}

int KvObjList::GetCount() const {
  return static_cast<int>(objects_.size());
}
bool KvObjList::IsEmpty() const {
  return objects_.empty();
}
void KvObjList::RemoveAll() {
  objects_.clear();
}

static_assert(sizeof(void*) != 8 || sizeof(KvByteBuffer) == 24,
              "a row object stays small: fields hold millions of them");

KvByteBuffer::KvByteBuffer() : inline_(), size_(0), capacity_(kInlineBytes) {}

KvByteBuffer::KvByteBuffer(const KvByteBuffer& other) : KvByteBuffer() {
  if (Grow(other.size_)) {
    if (other.size_ != 0) std::memcpy(Bytes(), other.Bytes(), other.size_);
    size_ = other.size_;
  }
}

KvByteBuffer& KvByteBuffer::operator=(const KvByteBuffer& other) {
  if (this != &other && Grow(other.size_)) {
    if (other.size_ != 0) std::memcpy(Bytes(), other.Bytes(), other.size_);
    size_ = other.size_;
  }
  return *this;
}

KvByteBuffer::~KvByteBuffer() {
  if (OwnsHeapBlock()) std::free(heap_);
}

void KvByteBuffer::UseLentStorage(unsigned char* storage, unsigned int capacity) {
  if (size_ != 0 || OwnsHeapBlock() || capacity >= kLent || capacity <= Capacity()) return;
  heap_ = storage;
  capacity_ = capacity | kLent;
}

// Makes room for needed bytes in all; false when memory runs out (the row is unchanged). A row
// outgrowing lent storage moves to a heap block of its own.
bool KvByteBuffer::Grow(unsigned int needed) {
  if (needed <= Capacity()) return true;
  if (needed > static_cast<unsigned int>(std::numeric_limits<int>::max())) return false;
  std::size_t capacity = std::size_t{Capacity()} * 2;
  if (capacity < needed) capacity = needed;
  if (capacity > static_cast<std::size_t>(std::numeric_limits<int>::max())) capacity = needed;
  auto* bytes = static_cast<unsigned char*>(std::malloc(capacity));
  if (bytes == nullptr) return false;
  if (size_ != 0) std::memcpy(bytes, Bytes(), size_);
  if (OwnsHeapBlock()) std::free(heap_);
  heap_ = bytes;
  capacity_ = static_cast<unsigned int>(capacity);
  return true;
}

int KvByteBuffer::WriteData(unsigned char byte) {
  if (size_ == Capacity() && !Grow(size_ + 1)) return 0;
  Bytes()[size_++] = byte;
  return 1;
}

int KvByteBuffer::AppendData(const unsigned char* bytes, unsigned int count) {
  if (count == 0) return 1;
  if (bytes != nullptr && count <= Capacity() - size_) {  // the common case: it fits
    std::memcpy(Bytes() + size_, bytes, count);
    size_ += count;
    return 1;
  }
  if (bytes == nullptr ||
      count > static_cast<unsigned int>(std::numeric_limits<int>::max()) - size_ ||
      !Grow(size_ + count))
    return 0;
  std::memcpy(Bytes() + size_, bytes, count);
  size_ += count;
  return 1;
}

int KvByteBuffer::WriteData(int index, unsigned char byte) {
  if (index >= 0 && static_cast<unsigned int>(index) < size_) Bytes()[index] = byte;
  return 1;
}

unsigned char KvByteBuffer::ReadData(int index) const {
  if (index < 0 || static_cast<unsigned int>(index) >= size_) return 0;
  return Bytes()[index];
}

int KvByteBuffer::GetDataSize() const {
  return static_cast<int>(size_);
}
unsigned int KvByteBuffer::GetTotalSize() const {
  return size_;
}
const unsigned char* KvByteBuffer::GetBuffer() const {
  return size_ == 0 ? nullptr : Bytes();
}
unsigned char* KvByteBuffer::GetWritableBuffer() {
  return size_ == 0 ? nullptr : Bytes();
}
bool KvByteBuffer::Reserve(unsigned int count) {
  return Grow(count);
}
