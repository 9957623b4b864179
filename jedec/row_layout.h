// Rows of data fields built from word maps by the row layout of programming data: column 0 of
// the map lands in the least significant bit of the row's last byte, column W-1 right after the
// padding, and the padding bits (the high bits of byte 0) are 1.
#ifndef FUSEKIT_JEDEC_ROW_LAYOUT_H
#define FUSEKIT_JEDEC_ROW_LAYOUT_H

#include <cstdint>
#include <vector>

#include "fusekit/progdata.h"
#include "jedec/geometry.h"

namespace fusekit::jedec {

// The bytes of map row `row` (rows of width bits) in the row layout, into out.
void LayOutRow(const std::uint16_t* map, std::uint64_t width, std::uint64_t row,
               std::vector<std::uint8_t>& out);

// The bytes of the row of width fuses that starts at fuse start of a linear fuse buffer (fuse n
// at bit 0x80 >> n % 8 of byte n / 8), in the row layout, into out.
void LayOutLinearRow(const std::uint8_t* linear, std::uint64_t start, std::uint64_t width,
                     std::vector<std::uint8_t>& out);

// Adds a field of that name with every row of the array taken from a linear fuse buffer; with
// reversed_rows the last row of the buffer becomes the field's first. 0, -3 or -1010.
int AddLinearField(SVFPlusData& data, const char* name, const std::uint8_t* linear,
                   const ArrayGeometry& geometry, bool reversed_rows);

// Appends a row of width bits holding bytes. 0, -3 when the row cannot be created, -1010 when
// its bytes cannot be stored.
int AppendRow(SVFDataField& field, std::uint64_t width, const std::vector<std::uint8_t>& bytes);

// Adds a field of that name with every row of the map laid out. 0, -3 or -1010.
int AddMapField(SVFPlusData& data, const char* name, const std::uint16_t* map,
                const ArrayGeometry& geometry);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_ROW_LAYOUT_H
