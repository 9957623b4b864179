// Fuzzes the bitstream model parser in both forms, the comment reader, the form conversion and
// the generator on what was parsed.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fusekit/bitstream_model.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  DeviceInfo device = fusekit::fuzzing::BitstreamFuzzDevice(data[0]);
  const std::string base = fusekit::fuzzing::WorkFolder() + "/f";
  const std::string binary = base + "-model.bit";
  const std::string ascii = base + "-model.rbt";
  for (const std::string& path : {binary, ascii}) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    std::fwrite(data + 1, 1, size - 1, file);
    std::fclose(file);
  }
  KvLog log;
  for (const std::string& path : {binary, ascii}) {
    XFPBitstreamModel model;
    const int result = XFPObjectFactory::CreateConfigBitstreamModel(model, device, log,
                                                                    path.c_str(), nullptr, nullptr);
    if (result > 0 || (result < 0 && (result < kXFPCannotWrite || result > kXFPCannotOpen)))
      std::abort();
    if (result == 0) {
      SVFPlusData programming;
      model.GetPelmo2_SRAM_SVFPlusData(&programming);
      const std::string out = base + "-model-out.bit";
      if (XFPGenerateBitstream::Generate(model, out.c_str()) != 0) std::abort();
      std::remove(out.c_str());
    }
    XFPBitstreamFile comment;
    comment.OpenFile(path.c_str());
    const std::string converted = base + (path == binary ? "-conv.rbt" : "-conv.bit");
    XFPGenerateBitstream::ConvertForm(path.c_str(), converted.c_str());
    std::remove(converted.c_str());
    std::remove(path.c_str());
  }
  return 0;
}
