// Row layout of fields built from word maps.
#include "jedec/row_layout.h"

#include <cstring>

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

namespace {

// All 64 bits of v in reverse order.
std::uint64_t ReverseBits64(std::uint64_t v) {
  v = ((v >> 1) & 0x5555555555555555ull) | ((v & 0x5555555555555555ull) << 1);
  v = ((v >> 2) & 0x3333333333333333ull) | ((v & 0x3333333333333333ull) << 2);
  v = ((v >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((v & 0x0F0F0F0F0F0F0F0Full) << 4);
  v = ((v >> 8) & 0x00FF00FF00FF00FFull) | ((v & 0x00FF00FF00FF00FFull) << 8);
  v = ((v >> 16) & 0x0000FFFF0000FFFFull) | ((v & 0x0000FFFF0000FFFFull) << 16);
  return (v >> 32) | (v << 32);
}

// Eight bytes as a word with the first byte lowest, and back. Reversing all the bits of such a
// word reverses the byte order and mirrors every byte, whatever the host's byte order.
std::uint64_t LoadLowFirst64(const std::uint8_t* p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
#else
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
#endif
}

void StoreLowFirst64(std::uint64_t v, std::uint8_t* p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::memcpy(p, &v, sizeof v);
#else
  for (int i = 0; i < 8; ++i, v >>= 8) p[i] = static_cast<std::uint8_t>(v);
#endif
}

}  // namespace

void LayOutLinearRow(const std::uint8_t* linear, std::uint64_t start, std::uint64_t width,
                     std::vector<std::uint8_t>& out) {
  const std::uint64_t bytes = (width + 7) / 8;
  if (start % 8 == 0 && width % 8 == 0) {
    // Byte k holds fuses start+W-1-8k down to start+W-8-8k: the buffer's bytes in reverse order,
    // each mirrored, eight at a time.
    out.resize(static_cast<std::size_t>(bytes));
    const std::uint8_t* source_end = linear + (start + width) / 8;
    std::uint64_t k = 0;
    for (; k + 8 <= bytes; k += 8) {
      StoreLowFirst64(ReverseBits64(LoadLowFirst64(source_end - k - 8)), out.data() + k);
    }
    for (; k < bytes; ++k) out[static_cast<std::size_t>(k)] = bits::Mirror(*(source_end - 1 - k));
    return;
  }
  out.assign(static_cast<std::size_t>(bytes), 0xFF);
  const std::uint64_t pad = bytes * 8 - width;
  for (std::uint64_t c = 0; c < width; ++c) {
    const std::uint64_t n = start + c;
    if (((linear[n / 8] >> (7 - n % 8)) & 1u) != 0) continue;
    const std::uint64_t index = pad + width - 1 - c;
    out[static_cast<std::size_t>(index / 8)] &= static_cast<std::uint8_t>(~(0x80u >> (index % 8)));
  }
}

int AddLinearField(SVFPlusData& data, const char* name, const std::uint8_t* linear,
                   const ArrayGeometry& geometry, bool reversed_rows) {
  SVFDataField* field = data.AddDataField();
  if (field == nullptr) return kStatusNoMemory;
  field->SetFieldName(name);
  std::vector<std::uint8_t> bytes;
  for (std::uint64_t r = 0; r < geometry.rows; ++r) {
    const std::uint64_t source = reversed_rows ? geometry.rows - 1 - r : r;
    LayOutLinearRow(linear, source * geometry.width, geometry.width, bytes);
    const int status = AppendRow(*field, geometry.width, bytes);
    if (status != kStatusOk) return status;
  }
  return kStatusOk;
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
