// Fuzzes GetISCSummary, the device-free reading of an ISC data file, and checks that reading the
// file through small windows that slide over it gives the same status and checksums as reading
// its whole text at once, and so does reading it split between two threads beside a compare with
// a copy of itself.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"
#include "isc/summary.h"

namespace {

bool SameResults(const ISCSummary& a, const ISCSummary& b) {
  if (a.blocks.size() != b.blocks.size() || a.computedFileChecksum != b.computedFileChecksum ||
      a.hasFileChecksum != b.hasFileChecksum || a.entities != b.entities)
    return false;
  for (std::size_t i = 0; i < a.blocks.size(); ++i) {
    if (a.blocks[i].rowCount != b.blocks[i].rowCount ||
        a.blocks[i].computedCRC != b.blocks[i].computedCRC)
      return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string path = fusekit::fuzzing::WriteInput(data, size, "summary");
  ISCSummary summary;
  const int status = GetISCSummary(path.c_str(), &summary);
  if (status != 0 && status != -2 && status != -13 && status != -16) std::abort();
  ISCSummary whole;
  fusekit::isc::IscFileRows rows;
  std::optional<std::uint32_t> crc;
  if (fusekit::isc::ReadIscFile(path.c_str(), whole, &rows, crc) != status) std::abort();
  for (std::size_t window : {std::size_t{3}, std::size_t{40}, std::size_t{300}}) {
    ISCSummary streamed;
    if (fusekit::isc::StreamIscFile(path.c_str(), streamed, nullptr, crc, window) != status)
      std::abort();
    if (status == 0 && !SameResults(whole, streamed)) std::abort();
  }
  const std::string copy = fusekit::fuzzing::WriteInput(data, size, "summary-copy");
  for (std::size_t window : {std::size_t{40}, std::size_t{300}}) {
    ISCSummary split;
    bool same = false;
    if (fusekit::isc::SummarizeComparing(path.c_str(), copy.c_str(), split, crc, same, 0, window) !=
        status)
      std::abort();
    if (status == 0 && (!same || !SameResults(whole, split))) std::abort();
  }
  std::remove(copy.c_str());
  std::remove(path.c_str());
  return 0;
}
