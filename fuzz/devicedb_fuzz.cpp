// Fuzzes the JSON device-database loader: any text either loads or is refused with -30.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fusekit/devicedb.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DeviceDatabase db;
  const int status = db.LoadText(reinterpret_cast<const char*>(data), size);
  if (status != 0 && status != -30 && status != -3) std::abort();
  for (int i = 0; i < db.GetDeviceCount(); ++i) {
    const DeviceInfo* device = db.GetDevice(i);
    if (db.FindDevice(device->GetName()) == nullptr) std::abort();
  }
  return 0;
}
