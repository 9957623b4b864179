// Fuzzes BIT2SVFPlus (both forms, with splitting) for the bitstream family groups.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/bitstream.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(data[0]);
  std::string path = fusekit::fuzzing::WorkFolder() + "/bit2svfplus.bit";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  std::fwrite(data + 1, 1, size - 1, file);
  std::fclose(file);
  {
    SVFPlusData programming;
    const int status = BIT2SVFPlus(path.data(), &device, 0, &programming, "", "", "", true);
    if (status > 0 || (status < 0 && status != -2 && status != -3 && status > -40)) std::abort();
  }
  {
    SVFPlusData programming;
    char crc[64] = "";
    BIT2SVFPlus(path.data(), &device, 0, &programming, "", "", "", crc);
  }
  unsigned long bits = 0;
  BITCheck(path.data(), &device, &bits);
  std::remove(path.c_str());
  return 0;
}
