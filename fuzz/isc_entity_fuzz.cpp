// Fuzzes the header queries ISCEntityNameReturn and ISCEntityNameCheck.
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string path = fusekit::fuzzing::WriteInput(data, size, "entity");
  std::list<std::string> names;
  std::string comments(2 * size + 64, '\0');  // the comments never exceed the file
  const int status = ISCEntityNameReturn(path.data(), names, comments.data());
  if (status != 0 && status != 1 && status != -2 && status != -17) std::abort();
  names.push_back("FUZZ");
  ISCEntityNameCheck(path.data(), names);
  std::remove(path.c_str());
  return 0;
}
