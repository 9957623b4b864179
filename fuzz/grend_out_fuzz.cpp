// Fuzzes GREND_OUT: any row file gives the JEDEC file or one of the results 1 to 7.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_support.h"
#include "support/legacy_fusemap/grend.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string rows = fusekit::fuzzing::WriteInput(data, size, "rows");
  const std::string jedec = fusekit::fuzzing::WorkFolder() + "/out.jed";
  const int result = GREND_OUT(rows.c_str(), "r", jedec.c_str(), nullptr, "", "", "");
  if (result < kGrendOutOk || result > kGrendOutCannotWrite) std::abort();
  std::remove(jedec.c_str());
  std::remove(rows.c_str());
  return 0;
}
