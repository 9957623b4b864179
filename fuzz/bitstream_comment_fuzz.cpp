// Fuzzes GetBitstreamComment and the other queries that read a file without a device, over the
// binary and ASCII forms and the JEDEC and ISC text queries.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/bitstream.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string base = fusekit::fuzzing::WorkFolder() + "/comment";
  for (const char* extension : {".bit", ".rbt", ".isc"}) {
    const std::string path = base + extension;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    KvCString value;
    for (const char* key : {"config mode", "Usercode", "security", ""}) {
      GetBitstreamComment(value, key, path.c_str());
    }
    GetDeviceNameFromFile(value, path.c_str());
    GetEncrytedFromFile(path.c_str());
    GetISCFuseCountByFilename(path.c_str());
    std::remove(path.c_str());
  }
  return 0;
}
