// Fuzzes the JEDEC reader through VerifyJEDECfile and ReadUESInfo, for several device records.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fusekit/jedec.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "reader");
  const int status = VerifyJEDECfile(path.data(), &device, data[0] & 0x40);
  const int allowed[] = {0, -1, -2, -3, -4, -14, -18, 8195};
  if (std::find(std::begin(allowed), std::end(allowed), status) == std::end(allowed)) std::abort();
  char usercode[64];
  std::memset(usercode, 'x', sizeof usercode);
  if (ReadUESInfo(path.data(), &device, 1, usercode) == 0 && std::strlen(usercode) != 16 &&
      std::strlen(usercode) != 8 && std::strlen(usercode) != 12)
    std::abort();
  std::remove(path.c_str());
  return 0;
}
