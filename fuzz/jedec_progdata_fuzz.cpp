// Fuzzes JEDEC2SVFPlus for several device records, the Grend path through the legacy library
// included.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/jedec.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  if ((data[0] & 0x80) != 0) {
    device.SetVendor("Helvar");
    device.SaveDeviceBackupValue();
  }
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "progdata");
  SVFPlusData programming;
  const std::string work = "/tmp";
  const int status =
      JEDEC2SVFPlus(path.data(), &device, data[0] & 0x40, &programming, "", work.c_str(), "", "");
  if (status != 0 && status != -1 && status != -3 && status != -1010) std::abort();
  if (status == 0 && programming.GetDataField("ID") == nullptr) std::abort();
  std::remove(path.c_str());
  return 0;
}
