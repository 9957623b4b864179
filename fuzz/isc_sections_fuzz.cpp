// Fuzzes the ISC section readers and the whole-file reader: the first byte picks the device and
// the reader.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

namespace {

using SectionReader = int (*)(char*, DeviceInfo*, SVFPlusData*);
constexpr SectionReader kReaders[] = {ISCReadSecurityInfo, ISCReadControlInfo, ISCReadSEDInfo,
                                      ISCReadUFMInfo,      ISCReadEBRInfo,     ISCReadFeatureInfo};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(data[0]);
  std::string path = fusekit::fuzzing::WriteInput(data + 1, size - 1, "sections");
  SVFPlusData programming;
  const unsigned choice = (data[0] >> 3) % 7;
  int status;
  if (choice < 6) {
    status = kReaders[choice](path.data(), &device, &programming);
    if (status < 0 && status != -2 && status != -3 && status != -13 && status != -16 &&
        status != -17)
      std::abort();
  } else {
    char data_crc[64];
    char file_crc[256];
    status = ISCReadAllInfo(path.data(), &device, &programming, data_crc, file_crc);
    if (status < -17 && status != -1010) std::abort();
  }
  std::remove(path.c_str());
  return 0;
}
