// Fuzzes SplitTavrelJedecFiles on any file, and MergeTavrelJedecFiles of it with itself.
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>

#include "fusekit/jedec.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = fusekit::fuzzing::WriteInput(data, size, "chain");
  std::list<std::string> pieces;
  const int split = SplitTavrelJedecFiles(input.c_str(), pieces);
  if (split > 0 && split != 8195) std::abort();
  for (const std::string& piece : pieces) std::remove(piece.c_str());
  std::list<std::string> twice = {input, input};
  const std::string merged = fusekit::fuzzing::WorkFolder() + "/merged.jed";
  const int merge = MergeTavrelJedecFiles(twice, merged.c_str());
  if (merge > 0 && merge != 8195) std::abort();
  std::remove(merged.c_str());
  std::remove(input.c_str());
  return 0;
}
