// ValidVandiDataCRC: an image converted to binary with alignment 0x10000, then its device
// CRC-16 checked.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/crc.h"
#include "fusekit/image.h"

namespace fusekit::image {
namespace {

constexpr int kCannotConvert = -2;
constexpr int kAlignment = 0x10000;

// The first character that is not white space: ':' Intel hex, 'S' or 's' S-records, '%'
// Tektronix; 0 for anything else (a binary image).
char RecordLead(const char* path) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return 0;
  for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    return c == ':' || c == 'S' || c == 's' || c == '%' ? static_cast<char>(c) : 0;
  }
  return 0;
}

bool ReadWhole(const char* path, std::vector<unsigned char>& bytes) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return false;
  return core::ForEachChunk(file.get(), [&](const std::uint8_t* chunk, std::size_t count) {
    bytes.insert(bytes.end(), chunk, chunk + count);
    return true;
  });
}

int CheckCrc(const char* image, const char* work_dir, unsigned int expected,
             unsigned short* computed) {
  if (!core::OpenFile(image, "rb")) return kCannotConvert;
  std::vector<unsigned char> bytes;
  const char lead = RecordLead(image);
  if (lead == 0) {
    if (!ReadWhole(image, bytes)) return kCannotConvert;
  } else {
    const std::string binary = core::PathInFolder(work_dir, "tmpBitstream.bit");
    std::string text_name = image;
    std::string bin_name = binary;
    unsigned int start = 0;
    const int status = lead == ':' ? HEX2BIN(text_name.data(), &start, bin_name.data(), kAlignment)
                       : lead == '%'
                           ? TEKHEX2BIN(text_name.data(), &start, bin_name.data(), kAlignment)
                           : MOT2BIN(text_name.data(), &start, bin_name.data(), kAlignment);
    const bool read = status == 0 && ReadWhole(binary.c_str(), bytes);
    std::remove(binary.c_str());
    if (!read) return kCannotConvert;
  }
  const unsigned short crc = GetVandi_CRC16(bytes);
  if (computed != nullptr) *computed = crc;
  return crc == (expected & 0xFFFFu) ? 1 : 0;
}

}  // namespace
}  // namespace fusekit::image

int ValidVandiDataCRC(const char* imageFile, const char* workDir, unsigned int expected,
                      unsigned short* computed) {
  if (imageFile == nullptr) return fusekit::kStatusNullArgument;
  try {
    return fusekit::image::CheckCrc(imageFile, workDir, expected, computed);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
