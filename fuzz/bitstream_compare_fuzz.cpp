// Fuzzes fnBITFileCompare with two streams cut from one input at a point its second byte
// chooses, for a device the first byte picks, the first with a copy of itself (which never
// differs from it), and ConvertEncryptedFiletoJTAGMode of the first.
#include <cstdio>
#include <cstdlib>

#include "fusekit/bitstream.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(data[0]);
  const std::size_t split = 2 + data[1] * (size - 2) / 256;
  const std::string read = fusekit::fuzzing::WriteInput(data + 2, split - 2, "read");
  const std::string ref = fusekit::fuzzing::WriteInput(data + split, size - split, "ref");
  const std::string report = read + ".report";
  const int result = fnBITFileCompare(read.c_str(), ref.c_str(), &device, report.c_str());
  if (result < -2 || result == -1) std::abort();
  const std::string copy = fusekit::fuzzing::WriteInput(data + 2, split - 2, "copy");
  const int with_copy = fnBITFileCompare(read.c_str(), copy.c_str(), &device, report.c_str());
  if (with_copy != 0 && with_copy != -2) std::abort();
  const std::string jtag = read + ".jtag";
  const int converted = ConvertEncryptedFiletoJTAGMode(read.c_str(), &device, jtag.c_str());
  if (converted > 0 || converted == -6) std::abort();
  for (const std::string& file : {read, ref, copy, report, jtag}) std::remove(file.c_str());
  return 0;
}
