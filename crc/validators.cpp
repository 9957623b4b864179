// ValidDataPattern: whether a field of programming data holds one byte pattern throughout.
#include <cstdint>

#include "core/status.h"
#include "fusekit/crc.h"

namespace fusekit::crc {
namespace {

constexpr int kBadPattern = -8;

// The first column of a row of width bits (row layout: column c is bit pad + width - 1 - c)
// whose bit differs from the pattern's bit at the same place, or width when none does.
std::uint64_t FirstDifferingColumn(const KvByteBuffer* row, unsigned width, unsigned char pattern) {
  const std::uint64_t bytes = (width + 7) / 8;
  const unsigned pad = (8 - width % 8) % 8;
  for (std::uint64_t n = 0; n < bytes; ++n) {
    const std::uint64_t i = bytes - 1 - n;  // columns ascend from the last byte back
    const unsigned char held = row != nullptr ? row->ReadData(static_cast<int>(i)) : 0;
    unsigned diff = static_cast<unsigned>(held ^ pattern);
    if (i == 0) diff &= 0xFFu >> pad;  // the padding bits of the first byte are not looked at
    if (diff == 0) continue;
    for (unsigned bit = 0; bit < 8; ++bit) {
      if ((diff >> bit) & 1u) return n * 8 + bit;
    }
  }
  return width;
}

}  // namespace
}  // namespace fusekit::crc

int ValidDataPattern(SVFPlusData* data, const char* fieldName, int pattern,
                     unsigned long* firstDifference) {
  if (data == nullptr || fieldName == nullptr) return fusekit::kStatusNullArgument;
  if (pattern < 0 || pattern > 0xFF) return fusekit::crc::kBadPattern;
  const SVFDataField* field = data->GetDataField(fieldName);
  if (field == nullptr) return fusekit::kStatusNoFuseArray;
  std::uint64_t offset = 0;
  for (int r = 1; r <= field->GetRowCount(); ++r) {
    const unsigned width = field->GetRowWidth(r);
    const std::uint64_t column = fusekit::crc::FirstDifferingColumn(
        field->GetRow(r), width, static_cast<unsigned char>(pattern));
    if (column < width) {
      if (firstDifference != nullptr)
        *firstDifference = static_cast<unsigned long>(offset + column);
      return 0;
    }
    offset += width;
  }
  return 1;
}
