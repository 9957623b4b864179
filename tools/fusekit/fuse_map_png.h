// Pictures of programming data: every field drawn as its rows of fuses, 1 and 0 in two colours,
// each labelled with its name and shape; beside another reading of the same device, the fuses
// that differ in a third colour.
#ifndef FUSEKIT_TOOLS_FUSE_MAP_PNG_H
#define FUSEKIT_TOOLS_FUSE_MAP_PNG_H

#include <string>

#include "fusekit/fusekit.h"

namespace fusekit::cli {

// The colours of the picture, as 0xRRGGBB.
constexpr unsigned kFuseOneColour = 0x1F3A93;
constexpr unsigned kFuseZeroColour = 0xE8E8E8;
constexpr unsigned kDifferenceColour = 0xE02020;
constexpr unsigned kBackgroundColour = 0xFFFFFF;
constexpr unsigned kLabelColour = 0x000000;

// Where the fuse of a field's row and column stands in the picture, for those who check it.
struct FusePlace {
  unsigned x = 0;
  unsigned y = 0;
  unsigned size = 0;  // pixels a side
  bool found = false;
};

// Draws data as a PNG file at path; with other, the fuses other holds differently (or lacks)
// are drawn in the difference colour. Fields named "ID" (made from the device record) are left
// out. False, with error set, when the file cannot be written.
bool WriteFuseMapPng(const std::string& path, const SVFPlusData& data, const SVFPlusData* other,
                     std::string& error);

// Where WriteFuseMapPng draws the fuse of field, row (from 1) and column (from 0).
FusePlace PlaceOfFuse(const SVFPlusData& data, const std::string& field, int row, unsigned column);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_FUSE_MAP_PNG_H
