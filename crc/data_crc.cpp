// The 32-bit data CRC of data fields and the block CRC register.
#include <cstdio>

#include "crc/block_crc.h"
#include "fusekit/crc.h"
#include "support/util/crc_engine.h"

namespace fusekit::crc {

std::uint32_t& BlockCrcRegister() {
  static std::uint32_t value = 0;
  return value;
}

std::uint32_t ComputeDataCrc(SVFDataField* const* fields, int count) {
  crc_engine::DataCrc32Batch crc;
  for (int f = 0; f < count; ++f) {
    SVFDataField* field = fields[f];
    if (field == nullptr) continue;
    // Rows are read from the cursor on, as many times as the field has rows: a cursor that
    // does not stand at the first row leaves the later reads empty, and they are skipped.
    const int rows = field->GetRowCount();
    for (int i = 0; i < rows; ++i) {
      const unsigned int width = field->GetCurrentRowWidth();
      const KvByteBuffer* row = field->GetCurrentRow();
      if (row == nullptr) continue;
      crc.AddRow(row->GetBuffer(), row->GetTotalSize(), width);
    }
  }
  BlockCrcRegister() = crc.Value();
  return BlockCrcRegister();
}

}  // namespace fusekit::crc

void GetDataCRC(char* /*unused*/, SVFDataField* first, SVFDataField* second, SVFDataField* third,
                bool format, char* crcText) {
  SVFDataField* const fields[] = {first, second, third};
  const std::uint32_t value = fusekit::crc::ComputeDataCrc(fields, 3);
  if (format && crcText != nullptr) std::snprintf(crcText, 9, "%.8X", value);
}

unsigned int GetBlockCRCRegister() {
  return fusekit::crc::BlockCrcRegister();
}
