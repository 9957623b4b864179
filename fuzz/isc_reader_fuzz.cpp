// Fuzzes the ISC readers: the full reader for several device records, the usercode and control
// readers, and the entity-name query, all on one input.
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  if ((data[0] & 0x80) != 0) device.SetFamily("CorvaneOmbrel");  // cfg blocks are read
  device.SetARCHRow(64);
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "isc");
  char empty[] = "";
  char data_crc[16];
  char file_crc[256];
  int rows = 0;
  {
    SVFPlusData programming;
    const int status = ISC2SVFPlus(path.data(), &device, 1, &programming, "", empty, "", empty,
                                   static_cast<KvObjList*>(nullptr), data_crc, file_crc, &rows);
    if (status != 1 && status != -2 && status != -3 && status != -13 && status != -16 &&
        status != -17)
      std::abort();
  }
  {
    SVFPlusData programming;
    USERCODEISC2SVFPlus(path.data(), &device, 1, &programming, "", empty, "", empty, nullptr,
                        nullptr, file_crc);
  }
  {
    SVFPlusData programming;
    CONTROLISC2SVFPlus(path.data(), &device, data[0] & 1, &programming, "", "", "");
  }
  std::list<std::string> names;
  std::string comments(2 * size + 64, '\0');  // the comments never exceed the file
  ISCEntityNameReturn(path.data(), names, comments.data());
  ISCEntityNameCheck(path.data(), names);
  std::remove(path.c_str());
  return 0;
}
