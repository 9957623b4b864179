// Fuzzes fnISCFileCompare with two files cut from one input at a point its first byte chooses.
#include <cstdio>
#include <cstdlib>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t split = 1 + data[0] * (size - 1) / 256;
  const std::string read = fusekit::fuzzing::WriteInput(data + 1, split - 1, "read");
  const std::string ref = fusekit::fuzzing::WriteInput(data + split, size - split, "ref");
  const std::string report = read + ".report";
  const int result = fnISCFileCompare(read.c_str(), ref.c_str(), report.c_str());
  // A count, or -2 for a pair that cannot be compared; files that exist always open.
  if (result < -2 || result == -1) std::abort();
  for (const std::string& file : {read, ref, report}) std::remove(file.c_str());
  return 0;
}
