// ConvertEncryptedFiletoJTAGMode: an encrypted stream made for the SPI port rewritten for
// programming over JTAG (docs/bitstream-format.md, "Encrypted streams for JTAG").
#include <cctype>
#include <cstdio>
#include <new>
#include <string>

#include "bitstream/compare_form.h"
#include "core/status.h"
#include "fusekit/bitstream.h"
#include "fusekit/bitstream_model.h"

namespace fusekit::bitstream {
namespace {

constexpr int kNotEncrypted = -2;

// "Config Mode: ..." (any case and spacing of the key).
bool IsConfigModeEntry(const std::string& entry) {
  std::string key;
  for (char c : entry.substr(0, entry.find(':'))) {
    if (c != ' ' && c != '\t')
      key += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return entry.find(':') != std::string::npos && key == "configmode";
}

// The model with its "Config Mode:" entry set to JTAG (added after the others when missing);
// everything else, the frames above all, as it was.
XFPBitstreamModel ForJtag(const XFPBitstreamModel& model) {
  XFPBitstreamModel out;
  out.SetDevice(model.GetDevice());
  out.SetKind(model.GetKind());
  out.SetMarker(model.HasMarker());
  if (model.GetLeadIn().GetDataSize() == 8) out.SetLeadIn(model.GetLeadIn().GetBuffer() + 4);
  bool replaced = false;
  const std::string comment = model.GetComment();
  std::size_t start = 0;
  while (start < comment.size()) {
    std::size_t end = comment.find('\n', start);
    if (end == std::string::npos) end = comment.size();
    const std::string entry = comment.substr(start, end - start);
    if (IsConfigModeEntry(entry)) {
      out.AddCommentEntry("Config Mode: JTAG");
      replaced = true;
    } else {
      out.AddCommentEntry(entry.c_str());
    }
    start = end + 1;
  }
  if (!replaced) out.AddCommentEntry("Config Mode: JTAG");
  for (unsigned f = 0; f < model.GetFrameCount(); ++f) out.AddFrame(*model.GetFrame(f));
  return out;
}

int Convert(const char* in_file, const DeviceInfo& device, const char* out_file) {
  XFPBitstreamModel model;
  model.SetDevice(device);
  const bool binary = LooksLikeBinaryBitstream(in_file);
  const int parsed = model.Parse(in_file, !binary, nullptr);
  if (parsed != 0) return parsed;
  if (!model.IsEncrypted()) return kNotEncrypted;
  const XFPBitstreamModel jtag = ForJtag(model);
  return binary ? XFPGenerateBitstream::Generate(jtag, out_file)
                : XFPGenerateBitstream::GenerateAscii(jtag, out_file);
}

}  // namespace
}  // namespace fusekit::bitstream

int ConvertEncryptedFiletoJTAGMode(const char* inFile, DeviceInfo* device, const char* outFile) {
  if (inFile == nullptr || device == nullptr || outFile == nullptr || outFile[0] == '\0')
    return fusekit::kStatusNullArgument;
  try {
    return fusekit::bitstream::Convert(inFile, *device, outFile);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
