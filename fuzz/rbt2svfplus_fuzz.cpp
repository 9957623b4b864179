// Fuzzes RBT2SVFPlus and RBTCheck for the bitstream family groups.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/bitstream.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(data[0]);
  std::string path = fusekit::fuzzing::WorkFolder() + "/rbt2svfplus.rbt";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  std::fwrite(data + 1, 1, size - 1, file);
  std::fclose(file);
  SVFPlusData programming;
  const int status = RBT2SVFPlus(path.data(), &device, 0, &programming, "", "", "", true);
  if (status > 0 || (status < 0 && status != -2 && status != -3 && status > -40)) std::abort();
  unsigned long bits = 0;
  if (RBTCheck(path.c_str(), &bits) != 0) std::abort();
  RBTCheck(path.c_str(), &device, &bits);
  std::remove(path.c_str());
  return 0;
}
