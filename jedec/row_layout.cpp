// Row layout of fields built from word maps.
#include "jedec/row_layout.h"

#include "core/status.h"
#include "jedec/word_map.h"
#include "support/util/bit_ops.h"

namespace fusekit::jedec {

void LayOutRow(const std::uint16_t* map, std::uint64_t width, std::uint64_t row,
               std::vector<std::uint8_t>& out) {
  const std::uint64_t bytes = (width + 7) / 8;
  const std::uint64_t words_per_row = (width + 15) / 16;
  const std::uint16_t* words = map + row * words_per_row;
  out.assign(static_cast<std::size_t>(bytes), 0xFF);
  if (width % 8 == 0) {
    // Byte k holds columns W-1-8k down to W-8-8k: the map's byte of those columns, mirrored.
    for (std::uint64_t k = 0; k < bytes; ++k) {
      const std::uint64_t first_column = width - 8 - 8 * k;
      const std::uint16_t word = words[first_column / 16];
      const auto map_byte = static_cast<std::uint8_t>(first_column % 16 == 0 ? word >> 8 : word);
      out[static_cast<std::size_t>(k)] = bits::Mirror(map_byte);
    }
    return;
  }
  const std::uint64_t pad = 8 - width % 8;
  for (std::uint64_t c = 0; c < width; ++c) {
    if (((words[c / 16] >> (15 - c % 16)) & 1u) != 0) continue;
    const std::uint64_t index = pad + width - 1 - c;
    out[static_cast<std::size_t>(index / 8)] &= static_cast<std::uint8_t>(~(0x80u >> (index % 8)));
  }
}

int AppendRow(SVFDataField& field, std::uint64_t width, const std::vector<std::uint8_t>& bytes) {
  KvByteBuffer* row = field.AddRow(static_cast<unsigned int>(width));
  if (row == nullptr) return kStatusNoMemory;
  if (!row->AppendData(bytes.data(), static_cast<unsigned int>(bytes.size()))) {
    return kStatusRowWriteFailed;
  }
  return kStatusOk;
}

int AddMapField(SVFPlusData& data, const char* name, const std::uint16_t* map,
                const ArrayGeometry& geometry) {
  SVFDataField* field = data.AddDataField();
  if (field == nullptr) return kStatusNoMemory;
  field->SetFieldName(name);
  std::vector<std::uint8_t> bytes;
  for (std::uint64_t r = 0; r < geometry.rows; ++r) {
    LayOutRow(map, geometry.width, r, bytes);
    const int status = AppendRow(*field, geometry.width, bytes);
    if (status != kStatusOk) return status;
  }
  return kStatusOk;
}

}  // namespace fusekit::jedec
