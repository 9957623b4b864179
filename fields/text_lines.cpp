// Helpers of the feature-row and settings readers.
#include "fields/text_lines.h"

#include <cctype>

namespace fusekit::fields {

std::string_view Trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t");
  if (start == std::string_view::npos) return {};
  const std::size_t end = text.find_last_not_of(" \t");
  return text.substr(start, end - start + 1);
}

bool SameWithoutCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::toupper(static_cast<unsigned char>(a[i])) !=
        std::toupper(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

std::string RowBytesOfBits(std::string_view bits) {
  const std::size_t bytes = (bits.size() + 7) / 8;
  const std::size_t pad = bytes * 8 - bits.size();
  std::string row(bytes, '\xFF');
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (bits[i] == '1') continue;
    const std::size_t index = pad + i;
    row[index / 8] =
        static_cast<char>(static_cast<unsigned char>(row[index / 8]) & ~(0x80u >> (index % 8)));
  }
  return row;
}

std::string BitsOfRow(const KvByteBuffer& row, unsigned int width) {
  const std::size_t bytes = (static_cast<std::size_t>(width) + 7) / 8;
  const std::size_t pad = bytes * 8 - width;
  std::string bits(width, '0');
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t index = pad + i;
    if (static_cast<int>(index / 8) < row.GetDataSize() &&
        (row.ReadData(static_cast<int>(index / 8)) & (0x80u >> (index % 8))) != 0)
      bits[i] = '1';
  }
  return bits;
}

bool StoreBitRow(SVFPlusData& data, const char* name, std::string_view bits) {
  while (data.DeleteDataField(name)) {
  }
  SVFDataField* field = data.AddDataField();
  if (field == nullptr) return false;
  field->SetFieldName(name);
  KvByteBuffer* row = field->AddRow(static_cast<unsigned int>(bits.size()));
  if (row == nullptr) return false;
  const std::string bytes = RowBytesOfBits(bits);
  return bytes.empty() ||
         row->AppendData(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) != 0;
}

}  // namespace fusekit::fields
