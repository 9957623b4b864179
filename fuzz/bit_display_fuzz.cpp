// Fuzzes fnBITFileDisplay (the dump and the frame listing) and fnRBTFileDisplay.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/bitstream.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(data[0]);
  const std::string base = fusekit::fuzzing::WorkFolder() + "/display";
  const std::string listing = base + ".txt";
  for (const char* extension : {".bit", ".rbt"}) {
    std::string path = base + extension;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    std::fwrite(data + 1, 1, size - 1, file);
    std::fclose(file);
    if (fnBITFileDisplay(path.c_str(), listing.c_str()) != 0) std::abort();
    const int status = extension[1] == 'b'
                           ? fnBITFileDisplay(path.data(), &device, listing.c_str(), nullptr)
                           : fnRBTFileDisplay(path.data(), &device, listing.c_str(), nullptr);
    if (status != 0 && status != -2) std::abort();
    std::remove(path.c_str());
  }
  std::remove(listing.c_str());
  return 0;
}
