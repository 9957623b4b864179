// Helpers of the image readers: the byte source, fields, the identifier and the guard.
#ifndef FUSEKIT_IMAGE_IMAGE_SUPPORT_H
#define FUSEKIT_IMAGE_IMAGE_SUPPORT_H

#include <cstdint>
#include <cstdio>
#include <new>
#include <vector>

#include "fusekit/devicedb.h"
#include "fusekit/progdata.h"
#include "support/progdata/row_filler.h"

namespace fusekit::image {

using progdata::RowFiller;

constexpr int kRowFailed = -3;

// Bytes of an open file, read one at a time through the C runtime's buffer.
class ByteSource {
 public:
  explicit ByteSource(std::FILE* file) : file_(file) {}
  // The next byte, or false at the end of the file.
  bool Next(std::uint8_t& byte) {
    const int c = std::getc(file_);
    if (c == EOF) return false;
    byte = static_cast<std::uint8_t>(c);
    return true;
  }
  // Passes over count bytes; false when the file ends first.
  bool Skip(int count) {
    std::uint8_t ignored;
    for (int i = 0; i < count; ++i) {
      if (!Next(ignored)) return false;
    }
    return true;
  }
  bool AtEnd() {
    const int c = std::getc(file_);
    if (c == EOF) return true;
    std::ungetc(c, file_);
    return false;
  }

 private:
  std::FILE* file_;
};

// Adds a field of that name; null when memory runs out.
SVFDataField* NewField(SVFPlusData& data, const char* name);

// The "ID" field: one row of the device's identifier length, (length + 7) / 8 bytes, the ISP
// identifier least significant byte first. 0 or -3.
int AddIspIdField(SVFPlusData& data, const DeviceInfo& device);

// Runs body, turning a failed allocation into -3.
template <class Body>
int Guarded(Body&& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return kRowFailed;
  }
}

}  // namespace fusekit::image

#endif  // FUSEKIT_IMAGE_IMAGE_SUPPORT_H
