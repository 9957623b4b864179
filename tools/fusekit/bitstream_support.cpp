// The bitstream conversions and listings of the tool.
#include "tools/fusekit/bitstream_support.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <vector>

#include "tools/fusekit/image_support.h"

namespace fusekit::cli {
namespace {

void PrintFrames(const XFPBitstreamModel& model) {
  std::vector<std::string> order;
  std::map<std::string, unsigned> counts;
  for (unsigned f = 0; f < model.GetFrameCount(); ++f) {
    const std::string name = model.GetFrame(f)->GetName();
    if (counts[name]++ == 0) order.push_back(name);
  }
  std::printf("  frames:\n");
  for (const std::string& name : order) std::printf("    %-40s %8u\n", name.c_str(), counts[name]);
}

}  // namespace

bool IsBitstreamName(const std::string& path) {
  const std::string e = Extension(path);
  return e == ".bit" || e == ".rbk" || e == ".msk" || IsAsciiBitstreamName(path);
}

bool IsAsciiBitstreamName(const std::string& path) {
  const std::string e = Extension(path);
  return e == ".rbt" || e == ".rbka" || e == ".mska";
}

int BitstreamInfo(const GlobalOptions& options, const std::string& path, const std::string& label,
                  const std::string& device_name) {
  const bool ascii = IsAsciiBitstreamName(path);
  std::string name = path;
  std::printf("%s: %s bitstream\n", label.c_str(), ascii ? "ASCII" : "binary");
  XFPBitstreamFile file;
  const int opened = file.OpenFile(path.c_str());
  if (opened < 0) {
    ComplainStatus(label, "has no readable header", opened);
    return kExitInvalidInput;
  }
  std::printf("  comment:\n");
  const std::string comment = file.GetComment();
  for (std::size_t at = 0; at < comment.size();) {
    const std::size_t end = comment.find('\n', at);
    std::printf("    %s\n", comment.substr(at, end - at).c_str());
    at = end == std::string::npos ? end : end + 1;
  }
  if (device_name.empty()) {
    unsigned long bits = 0;
    if (ascii) {
      RBTCheck(path.c_str(), &bits);
    } else {
      BITCheck(name.data(), &bits);
    }
    std::printf("  %-24s%lu\n", "length in bits", bits);
    std::printf("  (frames, usercode and encryption need --device)\n");
    return kExitOk;
  }
  DeviceInfo device;
  if (const int status = DeviceByName(options, device_name, device); status != kExitOk)
    return status;
  XFPBitstreamModel model;
  KvLog log;
  const int built = XFPObjectFactory::CreateConfigBitstreamModel(model, device, log, path.c_str(),
                                                                 nullptr, nullptr);
  if (built < 0) {
    ComplainStatus(label, "cannot be read as a bitstream of " + device_name, built);
    return kExitInvalidInput;
  }
  unsigned long bits = 0;
  if (ascii) {
    RBTCheck(path.c_str(), &device, &bits);
  } else {
    BITCheck(name.data(), &device, &bits);
  }
  std::printf("  %-24s%s\n", "encrypted", model.IsEncrypted() ? "yes" : "no");
  std::printf("  %-24s%s\n", "compressed", model.IsCompressed() ? "yes" : "no");
  std::printf("  %-24s%s\n", "authenticated", model.IsAuthenticated() ? "yes" : "no");
  std::printf("  %-24s", "usercode");
  if (const XFPFrameComponentModel* usercode = model.FindComponent("Usercode Frame", "Usercode")) {
    for (unsigned i = 0; i < usercode->GetByteSize(); ++i)
      std::printf("%02X", usercode->GetByte(i));
    std::printf("\n");
  } else {
    std::printf("(none)\n");
  }
  std::printf("  %-24s%lu\n", "length in bits", bits);
  PrintFrames(model);
  return kExitOk;
}

int ConvertBitstreamToIsc(const GlobalOptions& options, const std::string& input,
                          OutputFile& output, const std::string& device_name,
                          const std::string& entity, const std::string& creator,
                          bool usercode_crc) {
  if (!Readable(input, input)) return kExitInvalidInput;
  DeviceInfo device;
  if (const int status = DeviceByName(options, device_name, device); status != kExitOk)
    return status;
  std::string source = input, out = output.Path();
  std::string entity_name = entity.empty() ? device.GetName() : entity;
  char empty[] = "";
  const auto convert = IsAsciiBitstreamName(input) ? &RBT2ISC : &BIT2ISC;
  const int result = convert(source.data(), &device, 1, "", ".", empty, "", entity_name.data(),
                             out.data(), usercode_crc ? 1 : 0, creator.c_str());
  if (result == kStatusWriteFailed) {
    ComplainStatus(output.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  if (result < 0) {
    ComplainStatus(input, "cannot be converted for " + device_name, result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: written for %s, file checksum %.4X\n", output.Label().c_str(), device.GetName(),
              result);
  return kExitOk;
}

int ConvertBitstreamForm(const std::string& input, OutputFile& output) {
  if (!Readable(input, input)) return kExitInvalidInput;
  const int result = XFPGenerateBitstream::ConvertForm(input.c_str(), output.Path().c_str());
  if (result == kXFPWriteFailed) {
    ComplainStatus(output.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  if (result < 0) {
    ComplainStatus(input, "cannot be converted to " + output.Label(), result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: written\n", output.Label().c_str());
  return kExitOk;
}

int ConvertModelsToIsc(const GlobalOptions& options, const std::string& config,
                       const std::string& readback, const std::string& mask, OutputFile& output,
                       const std::string& device_name, const std::string& entity,
                       const std::string& creator) {
  for (const std::string* file : {&config, &readback, &mask}) {
    if (!file->empty() && !Readable(*file, *file)) return kExitInvalidInput;
  }
  DeviceInfo device;
  if (const int status = DeviceByName(options, device_name, device); status != kExitOk)
    return status;
  TemporaryFile log("", "log", ".log");
  CBitstreamToISC converter;
  const int initialized = converter.Initialize(device, output.Path().c_str(), log.Path().c_str(),
                                               config.c_str(), readback.c_str(), mask.c_str());
  if (initialized < 0) {
    ComplainStatus(config.empty() ? (readback.empty() ? mask : readback) : config,
                   "cannot be read as a bitstream of " + device_name, initialized);
    std::ifstream messages(log.Path());
    for (std::string line; std::getline(messages, line);)
      if (!line.empty()) std::fprintf(stderr, "  %s\n", line.c_str());
    return kExitInvalidInput;
  }
  const std::string entity_name = entity.empty() ? device.GetName() : entity;
  const int result = converter.Generate(entity_name.c_str(), creator.c_str(), false, nullptr);
  return FinishIscOutput(output, device.GetName(), result);
}

}  // namespace fusekit::cli
