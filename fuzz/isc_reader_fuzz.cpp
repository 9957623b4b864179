// Fuzzes ISC2SVFPlus for several device records, the Grend PLD path (vendor "Helvar") included.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  if ((data[0] & 0x80) != 0) device.SetFamily("CorvaneOmbrel");  // cfg blocks are read
  if ((data[0] & 0x40) != 0) device.SetVendor("Helvar");         // the legacy-library path
  device.SetARCHRow(64);
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "isc");
  static std::string work = [] {
    std::string folder = fusekit::fuzzing::WorkFolder() + "/work";
    mkdir(folder.c_str(), 0700);
    return folder;
  }();
  char empty[] = "";
  char data_crc[16];
  char file_crc[256];
  int rows = 0;
  SVFPlusData programming;
  const int status = ISC2SVFPlus(path.data(), &device, 1, &programming, "", work.data(), "", empty,
                                 static_cast<KvObjList*>(nullptr), data_crc, file_crc, &rows);
  // Every status is one the reader documents.
  if (status != 1 && status != -1 && status != -2 && status != -3 && status != -13 &&
      status != -16 && status != -17 && !(status <= -5 && status >= -11))
    std::abort();
  std::remove(path.c_str());
  return 0;
}
