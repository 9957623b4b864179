// Where the arrays of a device sit in its JEDEC fuse list: the main array, the Padring section
// of the Fendra2 family and the E section, by the family rules of the device record.
#ifndef FUSEKIT_JEDEC_GEOMETRY_H
#define FUSEKIT_JEDEC_GEOMETRY_H

#include <cstdint>

#include "fusekit/devicedb.h"

namespace fusekit::jedec {

struct ArrayGeometry {
  std::uint64_t rows = 0;
  std::uint64_t width = 0;  // bits per row
  std::uint64_t Fuses() const { return rows * width; }
  // 16-bit words of a word map holding the array: each row padded to whole words.
  std::uint64_t Words() const { return rows * ((width + 15) / 16); }
};

// The main fuse array:
//   Pelmo2, Pelmo3D, Glimra: (fuse number - E length) / 128 rows of 128 bits;
//   Orlan D6, Grend MH:      (fuse number - E length) / 2048 rows of 2048 bits;
//   Fendra2:                 (fuse number - first Padring row - E length) / 128 rows of 128;
//   every other device:      address length rows (twice as many with bit-map flag 4) of data
//                            length bits.
ArrayGeometry MainArray(const DeviceInfo& device);

// The E section, which follows the main array (and the Fendra2 Padring section) in the fuse
// list: none unless the E length and E row count are both set; ELength/128 rows of 128 for
// Pelmo2, Fendra2, Pelmo3D and Glimra; ELength/2048 rows of 2048 for Orlan D6 and Grend MH;
// else E-row-count rows of E-length bits.
ArrayGeometry ESection(const DeviceInfo& device);

// The decimal value of the first Padring row, 0 when there is none or it is not a number.
std::uint64_t FirstPadringRow(const DeviceInfo& device);

// Fuses of the Fendra2 Padring section (the first Padring row's value), 0 for other families.
std::uint64_t PadringSectionFuses(const DeviceInfo& device);

// True for the families whose rows are 128 bits wide and carry the E section as 128-bit rows.
bool HasWide128Rows(const char* family);
// True for the families whose rows are 2048 bits wide.
bool HasWide2048Rows(const char* family);

// The 22V10 code names ("22V10", "22LV10"), whose array the reader rearranges into the device's
// own order and whose architecture and usercode fuses stand inside the fuse list.
bool Is22V10(const DeviceInfo& device);
// The legacy switch devices (Sarn code names), whose files list each row last column first.
bool IsSarn(const DeviceInfo& device);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_GEOMETRY_H
