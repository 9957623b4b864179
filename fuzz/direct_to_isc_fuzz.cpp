// Fuzzes BIT2ISC, RBT2ISC and JEDEC2ISC: a source of any content under any of the names the
// comment block looks at (".jed" has its text taken as JEDEC notes), and sources far longer than
// the conversions' comment buffer: the second byte repeats the rest up to 255 times.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string Repeated(const std::uint8_t* data, std::size_t size, unsigned times) {
  std::string text;
  text.reserve(size * times);
  for (unsigned i = 0; i < times; ++i) text.append(reinterpret_cast<const char*>(data), size);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 4096) return 0;  // repeated, the source reaches about 1 MB
  const unsigned choice = data[0];
  const std::string text = Repeated(data + 2, size - 2, 1u + data[1]);
  static const char* const kNames[] = {"source.jed", "source.bit", "source.rbt", "source.JED"};
  const std::string source_name = fusekit::fuzzing::WorkFolder() + "/" + kNames[choice % 4];
  std::string source = fusekit::fuzzing::WriteInput(
      reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), "direct");
  if (std::rename(source.c_str(), source_name.c_str()) != 0) std::abort();
  source = source_name;
  std::string out = fusekit::fuzzing::WorkFolder() + "/direct.isc";
  std::string work = fusekit::fuzzing::WorkFolder();
  char entity[] = "FUZZ";
  char option[] = "";
  int result;
  if ((choice & 0x10) != 0) {
    DeviceInfo device = fusekit::fuzzing::FuzzDevice(choice >> 5);
    result = JEDEC2ISC(source.data(), &device, 1, "", work.c_str(), option, "", entity, out.data(),
                       (choice & 0x08) != 0 ? 1 : 0, "fuzz");
  } else {
    DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(choice >> 5);
    const auto convert = (choice & 0x08) != 0 ? &RBT2ISC : &BIT2ISC;
    result = convert(source.data(), &device, 1, "", work.c_str(), option, "", entity, out.data(),
                     (choice & 0x04) != 0 ? 1 : 0, "fuzz");
  }
  if (result > 0xFFFF) std::abort();  // a checksum or a negative status
  std::remove(source.c_str());
  std::remove(out.c_str());
  return 0;
}
