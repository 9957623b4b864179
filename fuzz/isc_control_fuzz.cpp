// Fuzzes CONTROLISC2SVFPlus for both control registers.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "control");
  SVFPlusData programming;
  const int status =
      CONTROLISC2SVFPlus(path.data(), &device, data[0] & 1, &programming, "", "", "");
  if (status != 0 && status != 1 && status != -2 && status != -3 && status != -13 && status != -16)
    std::abort();
  std::remove(path.c_str());
  return 0;
}
