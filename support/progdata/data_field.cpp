// SVFDataField: one named field of programming data, an ordered list of byte rows.
#include <algorithm>
#include <new>

#include "fusekit/progdata.h"
#include "support/util/crc_engine.h"

SVFDataField::SVFDataField() : cursor_(0) {}
SVFDataField::~SVFDataField() = default;

void SVFDataField::SetFieldName(const char* name) {
  name_.assign(name != nullptr ? name : "");
}
const char* SVFDataField::GetFieldName() const {
  return name_.c_str();
}

namespace {
// Rows up to this size take lent storage; a wider row (which may never be filled) allocates
// its own bytes as they come.
constexpr std::size_t kMostLentBytes = 64 * 1024;
constexpr std::size_t kFirstBlockBytes = 4 * 1024;
constexpr std::size_t kLargestBlockBytes = 1 << 20;
}  // namespace

unsigned char* SVFDataField::LendRowStorage(std::size_t bytes) {
  if (bytes > block_free_) {
    const std::size_t size = std::max({bytes, next_block_, kFirstBlockBytes});
    std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[size]);
    if (block == nullptr) return nullptr;
    block_at_ = block.get();
    blocks_.push_back(std::move(block));  // room was reserved: cannot throw
    block_free_ = size;
    next_block_ = std::min(size * 2, kLargestBlockBytes);
  }
  unsigned char* storage = block_at_;
  block_at_ += bytes;
  block_free_ -= bytes;
  return storage;
}

KvByteBuffer* SVFDataField::AddRow(unsigned int widthBits) {
  try {
    if (widths_.size() == widths_.capacity()) widths_.reserve(widths_.size() * 2 + 16);
    if (blocks_.size() == blocks_.capacity()) blocks_.reserve(blocks_.size() * 2 + 4);
    rows_.emplace_back();
    widths_.push_back(widthBits);  // cannot throw after the reserve
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  KvByteBuffer& row = rows_.back();
  const std::size_t bytes = (std::size_t{widthBits} + 7) / 8;
  if (bytes > KvByteBuffer::kInlineBytes && bytes <= kMostLentBytes) {
    if (unsigned char* storage = LendRowStorage(bytes))
      row.UseLentStorage(storage, static_cast<unsigned int>(bytes));
  }
  return &row;
}

KvByteBuffer* SVFDataField::GetRow(int index) const {
  if (index < 1 || static_cast<std::size_t>(index) > rows_.size()) return nullptr;
  return const_cast<KvByteBuffer*>(&rows_[static_cast<std::size_t>(index) - 1]);
}

unsigned int SVFDataField::GetRowWidth(int index) const {
  if (index < 1 || static_cast<std::size_t>(index) > rows_.size()) return 0;
  return widths_[static_cast<std::size_t>(index) - 1];
}

int SVFDataField::GetRowCount() const {
  return static_cast<int>(rows_.size());
}

void SVFDataField::ResetRowPointer() {
  cursor_ = 0;
}

KvByteBuffer* SVFDataField::GetCurrentRow() {
  if (cursor_ >= rows_.size()) return nullptr;
  return &rows_[cursor_++];
}

unsigned int SVFDataField::GetCurrentRowWidth() const {
  return cursor_ < rows_.size() ? widths_[cursor_] : 0;
}

unsigned int SVFDataField::CalculateDataCRC() const {
  fusekit::crc_engine::DataCrc32Batch crc;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    crc.AddRow(rows_[i].GetBuffer(), rows_[i].GetTotalSize(), widths_[i]);
  }
  return crc.Value();
}
