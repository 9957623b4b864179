// KvObjList and KvByteBuffer: the owning list and the byte row.
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

KvByteBuffer::KvByteBuffer() = default;
KvByteBuffer::~KvByteBuffer() = default;

int KvByteBuffer::WriteData(unsigned char byte) {
  // Sizes are reported as int; a row never grows past what that can count.
  if (bytes_.size() >= static_cast<std::size_t>(std::numeric_limits<int>::max())) return 0;
  try {
    bytes_.push_back(byte);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return 1;
}

int KvByteBuffer::AppendData(const unsigned char* bytes, unsigned int count) {
  if (count == 0) return 1;
  if (bytes == nullptr ||
      bytes_.size() + count > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    return 0;
  try {
    bytes_.insert(bytes_.end(), bytes, bytes + count);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return 1;
}

int KvByteBuffer::WriteData(int index, unsigned char byte) {
  if (index >= 0 && static_cast<std::size_t>(index) < bytes_.size()) {
    bytes_[static_cast<std::size_t>(index)] = byte;
  }
  return 1;
}

unsigned char KvByteBuffer::ReadData(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= bytes_.size()) return 0;
  return bytes_[static_cast<std::size_t>(index)];
}

int KvByteBuffer::GetDataSize() const {
  return static_cast<int>(bytes_.size());
}
unsigned int KvByteBuffer::GetTotalSize() const {
  return static_cast<unsigned int>(bytes_.size());
}
const unsigned char* KvByteBuffer::GetBuffer() const {
  return bytes_.empty() ? nullptr : bytes_.data();
}

bool KvByteBuffer::Reserve(unsigned int count) {
  if (count > static_cast<unsigned int>(std::numeric_limits<int>::max())) return false;
  try {
    bytes_.reserve(count);
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  }
  return true;
}
