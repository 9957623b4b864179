// SVFDataField: one named field of programming data, an ordered list of byte rows.
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

KvByteBuffer* SVFDataField::AddRow(unsigned int widthBits) {
  try {
    if (widths_.size() == widths_.capacity()) widths_.reserve(widths_.size() * 2 + 16);
    rows_.emplace_back();
    widths_.push_back(widthBits);  // cannot throw after the reserve
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return &rows_.back();
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
  fusekit::crc_engine::DataCrc32 crc;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    crc.AddRow(rows_[i].GetBuffer(), rows_[i].GetTotalSize(), widths_[i]);
  }
  return crc.Value();
}
