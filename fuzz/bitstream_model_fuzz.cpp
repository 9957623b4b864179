// Fuzzes the bitstream model parser in both forms, the comment reader, the form conversion and
// the generator on what was parsed; and demands that a binary stream parsed by two threads, split
// wherever a run of frames allows, finds what its parse by one thread finds.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "fusekit/bitstream_model.h"
#include "fuzz/fuzz_support.h"
#include "support/bitstream_model/stream.h"

namespace {

namespace bm = fusekit::bitstream_model;

// The binary stream at path parsed with every frame passed over, by one thread or split
// between two (min_split_bytes 0: wherever a run of two frames allows).
int ParsePassing(const std::string& path, const DeviceInfo& device, std::size_t size, bool split_it,
                 bm::Stream& out) {
  static const char* const kNoFrames[] = {nullptr};
  std::vector<bm::CommandDef> table;
  if (!bm::CommandTableOf(device, table)) return kXFPBadCommandTable;
  if (!split_it)
    return bm::ParseFile(path.c_str(), false, table, device, bm::FrameFilter{kNoFrames}, {}, out);
  bm::CommandSplit split(size, 0);
  std::thread helper([&] {
    std::uint64_t from = 0;
    if (split.AwaitSplit(from))
      bm::ParseHelperPart(path.c_str(), device, from, split, nullptr, nullptr);
  });
  while (!split.HelperReady()) std::this_thread::yield();
  const int status = bm::ParseFile(path.c_str(), false, table, device, bm::FrameFilter{kNoFrames},
                                   {}, out, &split);
  split.Decline();
  helper.join();
  return status;
}

void SplitFindsTheSame(const std::string& path, const DeviceInfo& device, std::size_t size) {
  bm::Stream alone, split;
  const int alone_status = ParsePassing(path, device, size, false, alone);
  const int split_status = ParsePassing(path, device, size, true, split);
  if (split_status != alone_status || split.error != alone.error ||
      split.frames_passed != alone.frames_passed || split.encrypted != alone.encrypted ||
      split.compressed != alone.compressed || split.authenticated != alone.authenticated)
    std::abort();
}

}  // namespace

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
  SplitFindsTheSame(binary, device, size - 1);
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
