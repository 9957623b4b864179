// Fuzzes the feature-row reader and its notes, and writes back what it read.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/fields.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string path = fusekit::fuzzing::WriteInput(data, size, "feature");
  DeviceInfo device = fusekit::fuzzing::FuzzDevice(0);
  SVFPlusData programming;
  const int status = FEA2SVFPlus(path.data(), size % 2 != 0 ? &device : nullptr, &programming);
  if (status != 0 && status != -12 && status != -13 && status != -1010) std::abort();
  char notes[64];
  if (ParseFEAHeader(notes, path.c_str(), static_cast<int>(size % 2), sizeof notes) < 0)
    std::abort();
  if (status == 0) {
    const std::string out = fusekit::fuzzing::WorkFolder() + "/feature.out";
    if (SVFPlus2FEA(&programming, nullptr, out.c_str()) != 0) std::abort();
    // What was written reads back as the same rows.
    SVFPlusData back;
    std::string name = out;
    if (FEA2SVFPlus(name.data(), nullptr, &back) != 0) std::abort();
    std::remove(out.c_str());
  }
  std::remove(path.c_str());
  return 0;
}
