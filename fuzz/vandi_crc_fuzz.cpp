// Fuzzes ValidVandiDataCRC: any bytes as an image (records by their first character, else
// binary), converted with alignment 0x10000 and checked.
#include <cstdio>
#include <cstdlib>

#include "fusekit/crc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string image = fusekit::fuzzing::WriteInput(data, size, "image");
  unsigned short computed = 0;
  const int result =
      ValidVandiDataCRC(image.c_str(), fusekit::fuzzing::WorkFolder().c_str(), 0x1234, &computed);
  if (result > 1 || (result < 0 && result != -2)) std::abort();
  std::remove(image.c_str());
  return 0;
}
