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
    rows_.push_back(Row{widthBits, std::make_unique<KvByteBuffer>()});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return rows_.back().bytes.get();
}

KvByteBuffer* SVFDataField::GetRow(int index) const {
  if (index < 1 || static_cast<std::size_t>(index) > rows_.size()) return nullptr;
  return rows_[static_cast<std::size_t>(index) - 1].bytes.get();
}

unsigned int SVFDataField::GetRowWidth(int index) const {
  if (index < 1 || static_cast<std::size_t>(index) > rows_.size()) return 0;
  return rows_[static_cast<std::size_t>(index) - 1].width_bits;
}

int SVFDataField::GetRowCount() const {
  return static_cast<int>(rows_.size());
}

void SVFDataField::ResetRowPointer() {
  cursor_ = 0;
}

KvByteBuffer* SVFDataField::GetCurrentRow() {
  if (cursor_ >= rows_.size()) return nullptr;
  return rows_[cursor_++].bytes.get();
}

unsigned int SVFDataField::GetCurrentRowWidth() const {
  return cursor_ < rows_.size() ? rows_[cursor_].width_bits : 0;
}

unsigned int SVFDataField::CalculateDataCRC() const {
  fusekit::crc_engine::DataCrc32 crc;
  for (const Row& row : rows_) {
    crc.AddRow(row.bytes->GetBuffer(), row.bytes->GetTotalSize(), row.width_bits);
  }
  return crc.Value();
}
