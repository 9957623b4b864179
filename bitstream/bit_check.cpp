// BITCheck: the length in bits of a bitstream or binary image file.
#include <cctype>
#include <cstdio>
#include <string>

#include "core/file_io.h"
#include "fusekit/bitstream.h"

namespace fusekit::bitstream {
namespace {

bool HasBinExtension(const char* name) {
  const std::string text(name);
  const std::size_t dot = text.find_last_of('.');
  if (dot == std::string::npos) return false;
  std::string extension = text.substr(dot);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension == ".bin";
}

// The bytes of the file and its last byte; false when it cannot be opened.
bool Measure(const char* name, unsigned long& bytes, int& last) {
  core::UniqueFile file = core::OpenFile(name, "rb");
  if (!file) return false;
  bytes = 0;
  last = EOF;
  const bool read = core::ForEachChunk(file.get(), [&](const std::uint8_t* data, std::size_t n) {
    bytes += static_cast<unsigned long>(n);
    last = data[n - 1];
    return true;
  });
  return read;
}

}  // namespace
}  // namespace fusekit::bitstream

int BITCheck(char* fileName, unsigned long* bitLength) {
  unsigned long bytes = 0;
  int last = EOF;
  if (fileName == nullptr || !fusekit::bitstream::Measure(fileName, bytes, last)) return -2;
  // A ".bin" image ending in 0x06 counts one byte more, as the device expects a closing byte.
  if (bytes != 0 && last == 0x06 && fusekit::bitstream::HasBinExtension(fileName)) ++bytes;
  if (bytes != 0 && bitLength != nullptr) *bitLength = bytes * 8;
  return 0;
}

int BITCheck(char* fileName, DeviceInfo* device, unsigned long* bitLength) {
  if (device == nullptr) return -6;
  unsigned long bytes = 0;
  int last = EOF;
  if (fileName == nullptr || !fusekit::bitstream::Measure(fileName, bytes, last)) return -2;
  if (bitLength != nullptr) *bitLength = bytes * 8;
  return 0;
}
