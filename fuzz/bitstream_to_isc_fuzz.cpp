// Fuzzes CBitstreamToISC: a configuration stream of any content and a comment file far longer
// than the comment buffer (the second byte repeats the rest up to 255 times), through
// Initialize and Generate with and without the comment file.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/isc.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 4096) return 0;
  const unsigned choice = data[0];
  std::string text;
  for (unsigned i = 0; i <= data[1]; ++i)
    text.append(reinterpret_cast<const char*>(data + 2), size - 2);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  // The same bytes serve as the stream and as the comment file.
  const std::string config = fusekit::fuzzing::WriteInput(bytes, text.size(), "config");
  const std::string stream = fusekit::fuzzing::WorkFolder() + "/config.bit";
  if (std::rename(config.c_str(), stream.c_str()) != 0) std::abort();
  const std::string comments = fusekit::fuzzing::WriteInput(bytes, text.size(), "comments");
  const std::string out = fusekit::fuzzing::WorkFolder() + "/class.isc";
  const std::string log = fusekit::fuzzing::WorkFolder() + "/class.log";
  DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(choice);
  CBitstreamToISC converter;
  if (converter.Initialize(device, out.c_str(), log.c_str(), stream.c_str(), "", nullptr) >= 0) {
    const int result = converter.Generate("FUZZ", "fuzz", (choice & 0x20) != 0,
                                          (choice & 0x10) != 0 ? comments.c_str() : nullptr);
    if (result > 0xFFFF) std::abort();
  }
  for (const std::string& path : {stream, comments, out, log}) std::remove(path.c_str());
  return 0;
}
