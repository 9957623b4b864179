// The image side of the tool: which files are images, and their conversions.
#ifndef FUSEKIT_TOOLS_IMAGE_SUPPORT_H
#define FUSEKIT_TOOLS_IMAGE_SUPPORT_H

#include <string>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {

// The record format of an image file by its extension: 'i' Intel hex (.hex, .mcs, .ihex),
// 'm' Motorola S-records (.mot, .s19, .s28, .s37, .srec, .exo), 't' extended Tektronix (.xtek,
// .tek), 'b' raw binary (.bin), or 0 for another file.
char ImageKind(const std::string& path);

// Lower-case ending of a path, from its last '.' ("" without one).
std::string Extension(const std::string& path);

// What convert does to an image on the way from one image file to another.
struct ImageOptions {
  int alignment = 1;     // --align: the .bin start rounded down to a multiple
  int record_bytes = 0;  // --srec-len: data bytes a record (0: the format's default)
  bool mirror = false;   // --bit-order device: each byte bit-reversed
  int fill = -1;         // --fill: the byte of the gaps, -1 for none
  bool crop = false;     // --crop START END: only the addresses from START up to END
  unsigned long long crop_start = 0;
  unsigned long long crop_end = 0;
  long long offset = 0;  // --offset: added to every address
};

// convert IMAGE OUT: an image (records or binary) written as a binary image (out_format 'b',
// from its lowest address) or as records ('i' Intel hex, 'm' S-records, 't' Tektronix); prints
// the start address and size.
int ConvertImage(const std::string& input, const std::string& label, OutputFile& output,
                 char out_format, const ImageOptions& options);

// convert IN.(bin|hex|mcs) OUT.isc --device NAME, through the image readers.
int ConvertImageToIsc(const GlobalOptions& options, const std::string& input, OutputFile& output,
                      const std::string& device_name, const std::string& entity,
                      const std::string& creator);

// Reads an image (binary, hex text, Intel hex, MCS, S-records, Tektronix) into data for the
// device, refusing one larger than the device can hold. kExitOk, or the exit status after a
// message.
int ReadImageInto(const std::string& input, DeviceInfo& device, SVFPlusData& data);

// info IMAGE.
int ImageInfo(const std::string& path, const std::string& label);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_IMAGE_SUPPORT_H
