// Fuzzes HEX2SVFPlus and HEXCheck with the device records of the fuzz set.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/image.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static std::string work = [] {
    std::string folder = fusekit::fuzzing::WorkFolder() + "/hexwork";
    mkdir(folder.c_str(), 0700);
    return folder;
  }();
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  if ((data[0] & 0x80) != 0) device.SetFamily("CorvaneOrlanD6");
  device.SaveDeviceBackupValue();
  std::string in = fusekit::fuzzing::WriteInput(data + 1, size - 1, "hextext");
  char empty[] = "";
  SVFPlusData programming;
  const int status =
      (data[0] & 0x40) != 0
          ? HEX2ISCSVFPlus(in.data(), &device, 0, &programming, empty, empty, work.data())
          : HEX2SVFPlus(in.data(), &device, 0, &programming, empty, empty, work.data());
  if (status != 0 && status != -1 && status != -2 && status != -3) std::abort();
  unsigned long bits = 0;
  if (HEXCheck(in.c_str(), &device, &bits) != 0) std::abort();
  std::remove(in.c_str());
  return 0;
}
