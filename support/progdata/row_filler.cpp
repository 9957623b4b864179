// Row placement of the bitstream and image readers.
#include "support/progdata/row_filler.h"

#include <algorithm>

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
  bytes_ = row_->GetWritableBuffer();
  index_ = static_cast<int>(fill_.size()) - 1;
  ++rows_;
  return true;
}

bool RowFiller::Put(std::uint8_t byte) {
  if (fill_.empty()) return row_ != nullptr || StartRow();  // rows of no bytes take nothing
  if (RowFull() && !StartRow()) return false;
  bytes_[index_--] = bits::Mirror(byte);
  return true;
}

bool RowFiller::PutRun(const std::uint8_t* bytes, std::size_t count) {
  if (fill_.empty()) return count == 0 || row_ != nullptr || StartRow();
  while (count != 0) {
    if (RowFull() && !StartRow()) return false;
    const std::size_t chunk = std::min(count, static_cast<std::size_t>(index_) + 1);
    index_ -= static_cast<int>(chunk);
    bits::MirrorReverse(bytes, chunk, bytes_ + index_ + 1);
    bytes += chunk;
    count -= chunk;
  }
  return true;
}

void RowFiller::Poke(std::uint8_t byte) {
  if (row_ != nullptr && index_ >= 0) bytes_[index_] = bits::Mirror(byte);
}

}  // namespace fusekit::progdata
