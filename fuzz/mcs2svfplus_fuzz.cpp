// Fuzzes MCS2SVFPlus, BIN2SVFPlus and BIN2ISCSVFPlus: any bytes give rows or a status.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/image.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  if ((data[0] & 0x80) != 0) device.SetFamily("CorvaneMarsk");
  device.SetARCHRow((data[0] & 0x40) != 0 ? 2 : 0);
  device.SaveDeviceBackupValue();
  std::string in = fusekit::fuzzing::WriteInput(data + 1, size - 1, "mcs");
  char empty[] = "";
  {
    SVFPlusData programming;
    if (MCS2SVFPlus(in.data(), &device, 0, &programming, empty, empty, empty) != 0) std::abort();
  }
  {
    SVFPlusData programming;
    if (BIN2SVFPlus(in.data(), &device, 0, &programming, empty, empty, empty) != 0) std::abort();
  }
  {
    SVFPlusData programming;
    const int status = BIN2ISCSVFPlus(in.data(), &device, 0, &programming, empty, empty, empty);
    if (status != 0 && status != -1) std::abort();
  }
  std::remove(in.c_str());
  return 0;
}
