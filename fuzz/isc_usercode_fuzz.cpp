// Fuzzes USERCODEISC2SVFPlus: only the usercode blocks are read, the others passed over.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  if ((data[0] & 0x40) != 0) device.SetVendor("Helvar");
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "usercode");
  char empty[] = "";
  char file_crc[256];
  SVFPlusData programming;
  const int status = USERCODEISC2SVFPlus(path.data(), &device, 1, &programming, "", empty, "",
                                         empty, nullptr, nullptr, file_crc);
  if (status != 1 && status != -2 && status != -3 && status != -13 && status != -16) std::abort();
  std::remove(path.c_str());
  return 0;
}
