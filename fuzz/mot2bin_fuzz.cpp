// Fuzzes MOT2BIN: any text gives 0 or -1 and a file of what could be placed, never more. The
// same text goes through GetImageSummary.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/image.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string in = fusekit::fuzzing::WriteInput(data, size, "mot2bin");
  // Records far apart make outputs as large as the span they cover: they go nowhere.
  std::string out = "/dev/null";
  unsigned int start = 0;
  const int alignment = size > 0 ? 1 << (data[0] % 17) : 1;
  const int result = MOT2BIN(in.data(), size % 2 == 0 ? &start : nullptr, out.data(), alignment);
  if (result != 0 && result != -1) std::abort();
  ImageSummary summary;
  if (GetImageSummary(in.c_str(), &summary) > 0) std::abort();
  std::remove(in.c_str());
  return 0;
}
