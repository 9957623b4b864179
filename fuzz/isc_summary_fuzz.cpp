// Fuzzes GetISCSummary, the device-free reading of an ISC data file.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string path = fusekit::fuzzing::WriteInput(data, size, "summary");
  ISCSummary summary;
  const int status = GetISCSummary(path.c_str(), &summary);
  if (status != 0 && status != -2 && status != -13 && status != -16) std::abort();
  std::remove(path.c_str());
  return 0;
}
