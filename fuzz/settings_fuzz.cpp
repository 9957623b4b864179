// Fuzzes the device settings reader.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fusekit/fields.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string path = fusekit::fuzzing::WriteInput(data, size, "settings");
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(static_cast<unsigned>(size));
  SVFPlusData programming;
  char messages[200];
  const int status = Ini2SVFPlus(path.data(), &device, &programming, messages, sizeof messages);
  if (status < 0 && status != -13 && status != -1010) std::abort();
  if (std::strlen(messages) >= sizeof messages) std::abort();
  std::remove(path.c_str());
  return 0;
}
