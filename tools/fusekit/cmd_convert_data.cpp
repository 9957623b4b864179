// fusekit convert through programming data: read any file that holds it, apply a settings file,
// write a JEDEC file, a whole ISC data file or a feature-row file.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/jedec_support.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {
namespace {

// Applies the settings file; every problem it has is a message of its own.
int ApplySettings(const std::string& settings, DeviceInfo& device, SVFPlusData& data) {
  if (!Readable(settings, settings)) return kExitInvalidInput;
  std::string name = settings;
  std::vector<char> messages(64 * 1024, '\0');
  const int applied =
      Ini2SVFPlus(name.data(), &device, &data, messages.data(), static_cast<int>(messages.size()));
  if (applied >= 0) return kExitOk;
  const std::string text = messages.data();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    Complain(settings, text.substr(at, end - at));
    at = end == std::string::npos ? end : end + 1;
  }
  ComplainStatus(settings, "cannot be applied", applied, "Ini2SVFPlus");
  return kExitInvalidInput;
}

int WriteJedec(const DataConversion& c, DeviceInfo& device, SVFPlusData& data, OutputFile& output) {
  const char* comment = data.GetComment();
  std::vector<char> header((comment != nullptr ? std::strlen(comment) : 0) + 1024);
  BuildJEDHeader(header.data(), c.creator.c_str(), device.GetName(), comment);
  const int result = SVFPlus2JEDEC(&data, &device, 1, output.Path().c_str(), header.data());
  if (result == kStatusFieldMissing) {
    Complain(c.input_label, "holds programming data of another shape than the arrays of " +
                                c.device + " (" + std::to_string(device.GetAddressLength()) +
                                " rows of " + std::to_string(device.GetDataLength()) +
                                " fuses): it cannot be written as its JEDEC file");
    return kExitInvalidInput;
  }
  if (result < 0) {
    ComplainStatus(result == kStatusWriteFailed ? output.Label() : c.input_label,
                   result == kStatusWriteFailed
                       ? "cannot be written"
                       : "cannot be written as a JEDEC file for " + c.device,
                   result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: written for %s, %u fuses, transmission checksum %.4X\n", output.Label().c_str(),
              device.GetName(), device.GetFuseNumber(), result);
  return kExitOk;
}

int WriteIsc(const DataConversion& c, DeviceInfo& device, SVFPlusData& data, OutputFile& output) {
  std::vector<char> header(4096 + c.input_label.size() + c.creator.size());
  BuildISCHeader(header.data(), c.creator.c_str(), static_cast<int>(device.GetFuseNumber()),
                 device.GetName(), c.input_label.c_str(), 0, nullptr);
  const std::string entity = c.entity.empty() ? device.GetName() : c.entity;
  const int result = ISCWriteAllInfo(&data, header.data(), output.Path().c_str(), entity.c_str(),
                                     c.usercode_crc ? 1 : 0, c.creator.c_str());
  return FinishIscOutput(output, device.GetName(), result);
}

int WriteFeatureRow(const DataConversion& c, DeviceInfo& device, SVFPlusData& data,
                    OutputFile& output) {
  const int result = SVFPlus2FEA(&data, &device, output.Path().c_str());
  if (result == kStatusFieldMissing) {
    Complain(c.input_label, "holds no feature row to write");
    return kExitInvalidInput;
  }
  if (result < 0) {
    ComplainStatus(output.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: feature row written for %s\n", output.Label().c_str(), device.GetName());
  return kExitOk;
}

}  // namespace

int ConvertThroughData(const GlobalOptions& options, const DataConversion& conversion,
                       FileFormat out, OutputFile& output) {
  DeviceInfo device;
  if (const int status = DeviceByName(options, conversion.device, device); status != kExitOk)
    return status;
  SVFPlusData data;
  if (const int status =
          ReadProgrammingData(conversion.input, conversion.input_label, device, data);
      status != kExitOk)
    return status;
  if (!conversion.settings.empty()) {
    if (const int status = ApplySettings(conversion.settings, device, data); status != kExitOk)
      return status;
  }
  switch (out) {
    case FileFormat::kJedec:
      return WriteJedec(conversion, device, data, output);
    case FileFormat::kFeatureRow:
      return WriteFeatureRow(conversion, device, data, output);
    default:
      return WriteIsc(conversion, device, data, output);
  }
}

}  // namespace fusekit::cli
