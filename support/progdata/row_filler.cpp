// Row placement of the bitstream and image readers.
#include "support/progdata/row_filler.h"

#include "support/util/bit_ops.h"

namespace fusekit::progdata {

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

}  // namespace fusekit::progdata
