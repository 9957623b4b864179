// Fuzzes the functions that read a whole file for a checksum: the file CRC with a marker taken
// from the input, the ISC data-CRC lookup, the JEDEC transmission checksum and the binary
// checksum. The input is written to a temporary file, since these functions take file names.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fusekit/crc.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string TempFileWith(const std::uint8_t* data, std::size_t size) {
  static const std::string path = fusekit::fuzzing::WorkFolder() + "/f";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  if (size > 0) std::fwrite(data, 1, size, file);
  std::fclose(file);
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first four bytes choose the marker; the whole input is the file.
  char marker[5] = {};
  std::memcpy(marker, data, size < 4 ? size : 4);
  std::string path = TempFileWith(data, size);

  GetCRCTramission(path.data(), marker);
  GetFileCRC16(path.c_str());
  char crc_text[256];
  if (GetCRCData(path.c_str(), crc_text) != 0) std::abort();
  if (std::strlen(crc_text) > 255) std::abort();
  unsigned short computed = 0;
  unsigned short stored = 0;
  const int valid = ValidTransmissionChecksum(path.data(), &computed, &stored);
  if (valid != 0 && valid != 1) std::abort();
  GetBinaryFileChecksum16(path.c_str(), (size & 1) != 0);
  std::remove(path.c_str());
  return 0;
}
