// Fuzzes fnJEDFileCompareByAddress with two files cut from one input at a point its first byte
// chooses. The files are read into windows of their maps; the same pair read into whole maps
// must give the same status, count and first differences.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fusekit/jedec.h"
#include "fuzz/fuzz_support.h"
#include "jedec/compare_by_address.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t split = 1 + data[0] * (size - 1) / 256;
  const std::string read = fusekit::fuzzing::WriteInput(data + 1, split - 1, "read");
  const std::string ref = fusekit::fuzzing::WriteInput(data + split, size - split, "ref");
  JEDECAddressCompare windows;
  const int status = fnJEDFileCompareByAddress(read.c_str(), ref.c_str(), nullptr, &windows);
  JEDECAddressCompare whole;
  std::memset(&whole, 0, sizeof whole);
  const int whole_status =
      fusekit::jedec::CompareWholeMaps(read.c_str(), ref.c_str(), nullptr, whole);
  if (status == -3 || status == -6 || (status == 0) != (whole_status == 0)) std::abort();
  if (status == 0 && (windows.differences != whole.differences || windows.listed != whole.listed ||
                      std::memcmp(windows.address, whole.address, sizeof whole.address) != 0 ||
                      std::memcmp(windows.readValue, whole.readValue, sizeof whole.readValue) != 0))
    std::abort();
  if (windows.listed < 0 || windows.listed > 20 ||
      static_cast<unsigned long long>(windows.listed) > windows.differences)
    std::abort();
  std::remove(read.c_str());
  std::remove(ref.c_str());
  return 0;
}
