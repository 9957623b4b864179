// Row placement of the image readers.
#include "image/row_filler.h"

#include "fusekit/devicedb.h"
#include "support/util/bit_ops.h"

namespace fusekit::image {

RowFiller::RowFiller(SVFDataField& field, unsigned int bits, std::uint8_t fill)
    : field_(field), bits_(bits), fill_((bits + 7) / 8, fill) {}

bool RowFiller::StartRow() {
  row_ = field_.AddRow(bits_);
  if (row_ == nullptr) return false;
  if (!fill_.empty() &&
      row_->AppendData(fill_.data(), static_cast<unsigned int>(fill_.size())) == 0)
    return false;
  index_ = static_cast<int>(fill_.size()) - 1;
  ++rows_;
  return true;
}

bool RowFiller::Put(std::uint8_t byte) {
  if (fill_.empty()) return row_ != nullptr || StartRow();  // rows of no bytes take nothing
  if (RowFull() && !StartRow()) return false;
  row_->WriteData(index_--, bits::Mirror(byte));
  return true;
}

void RowFiller::Poke(std::uint8_t byte) {
  if (row_ != nullptr && index_ >= 0) row_->WriteData(index_, bits::Mirror(byte));
}

SVFDataField* NewField(SVFPlusData& data, const char* name) {
  SVFDataField* field = data.AddDataField();
  if (field != nullptr) field->SetFieldName(name);
  return field;
}

int AddIspIdField(SVFPlusData& data, const DeviceInfo& device) {
  SVFDataField* id = NewField(data, "ID");
  if (id == nullptr) return kRowFailed;
  const unsigned int bits = device.GetIDLength();
  KvByteBuffer* row = id->AddRow(bits);
  if (row == nullptr) return kRowFailed;
  const unsigned int value = device.GetispDeviceID();
  for (unsigned int i = 0; i < (bits + 7) / 8; ++i) {
    const auto byte = static_cast<unsigned char>(i < 4 ? value >> (8 * i) : 0);
    if (row->WriteData(byte) == 0) return kRowFailed;
  }
  return 0;
}

}  // namespace fusekit::image
