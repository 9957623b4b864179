// fusekit convert: a JEDEC file or an image to an ISC data file for a device, and record files
// to flat binaries.
#include <cstdio>
#include <string>

#include "tools/fusekit/bitstream_support.h"
#include "tools/fusekit/cli.h"
#include "tools/fusekit/image_support.h"

namespace fusekit::cli {
namespace {

struct ConvertOptions {
  std::string input;
  std::string output;
  std::string device;
  std::string entity;
  std::string creator = std::string("fusekit ") + LibraryVersion();
  bool usercode_crc = false;
  int alignment = 1;
  std::string config;
  std::string readback;
  std::string mask;
};

int Convert(const GlobalOptions& options, ConvertOptions convert) {
  const bool models = !convert.config.empty() || !convert.readback.empty() || !convert.mask.empty();
  if (models && convert.output.empty()) std::swap(convert.input, convert.output);  // OUT alone
  if (convert.output.empty()) {
    Complain("", "convert needs IN and OUT");
    return kExitUsage;
  }
  const std::string out = Extension(convert.output);
  const std::string in = Extension(convert.input);
  if (models) {
    if (out != ".isc" || convert.device.empty() || !convert.input.empty()) {
      Complain("", "--config/--readback/--mask take OUT.isc and --device, and no IN");
      return kExitUsage;
    }
    return ConvertModelsToIsc(options, convert.config, convert.readback, convert.mask,
                              convert.output, convert.device, convert.entity, convert.creator);
  }
  if (convert.input.empty()) {
    Complain("", "convert needs IN and OUT");
    return kExitUsage;
  }
  if (IsBitstreamName(convert.input) && IsBitstreamName(convert.output))
    return ConvertBitstreamForm(convert.input, convert.output);
  if (out == ".bin")
    return ConvertRecordsToBinary(convert.input, convert.output, convert.alignment);
  if (out != ".isc") {
    Complain(convert.output, "is neither an ISC data file (.isc) nor a binary image (.bin)");
    return kExitUsage;
  }
  if (convert.device.empty()) {
    Complain("", "converting to an ISC data file needs --device");
    return kExitUsage;
  }
  if (IsBitstreamName(convert.input)) {
    return ConvertBitstreamToIsc(options, convert.input, convert.output, convert.device,
                                 convert.entity, convert.creator, convert.usercode_crc);
  }
  if (in == ".bin" || in == ".hex" || in == ".mcs") {
    return ConvertImageToIsc(options, convert.input, convert.output, convert.device, convert.entity,
                             convert.creator);
  }
  if (!IsFileReadable(convert.input.c_str())) {
    Complain(convert.input, "cannot be opened for reading");
    return kExitInvalidInput;
  }
  DeviceInfo record;
  if (const int status = DeviceByName(options, convert.device, record); status != kExitOk)
    return status;
  DeviceInfo* device = &record;
  std::string source = convert.input;
  std::string output = convert.output;
  std::string entity = convert.entity.empty() ? device->GetName() : convert.entity;
  std::string work_dir = ".";
  char option[] = "";
  const int result =
      JEDEC2ISC(source.data(), device, 1, "", work_dir.c_str(), option, "", entity.data(),
                output.data(), convert.usercode_crc ? 1 : 0, convert.creator.c_str());
  if (result < 0) {
    ComplainStatus(convert.input, "cannot be converted for " + convert.device, result);
    return kExitInvalidInput;
  }
  char data_crc[256] = "";
  GetCRCData(output.c_str(), data_crc);
  std::string crc(data_crc);
  while (!crc.empty() && (crc.back() == '\n' || crc.back() == ' ')) crc.pop_back();
  while (!crc.empty() && crc.front() == ' ') crc.erase(crc.begin());
  std::printf("%s: written for %s, file checksum %.4X, data CRC %s\n", convert.output.c_str(),
              device->GetName(), result, crc.empty() ? "(none)" : crc.c_str());
  return kExitOk;
}

}  // namespace

void AddConvertCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "convert", "Convert a JEDEC file or an image to an ISC data file, or records to a binary");
  auto convert = std::make_shared<ConvertOptions>();
  command->add_option("IN", convert->input, "the JEDEC file, bitstream, image or record file");
  command->add_option("OUT", convert->output, "the file to write (.isc, .bin, .bit or .rbt)");
  command->add_option("--config", convert->config, "with OUT.isc: a configuration bitstream");
  command->add_option("--readback", convert->readback, "with OUT.isc: a read-back bitstream");
  command->add_option("--mask", convert->mask, "with OUT.isc: a read-back mask");
  command->add_option("--device", convert->device, "the device of the database (for .isc)");
  command->add_option("--align", convert->alignment,
                      "records to .bin: round the start address down to a multiple of N");
  command->add_option("--entity", convert->entity, "the entity name (default: the device name)");
  command->add_option("--creator", convert->creator, "the creator text of the header");
  command->add_flag("--usercode-crc", convert->usercode_crc,
                    "put the array's data CRC in the usercode blocks");
  command->callback(
      [&options, convert, &exit_status] { exit_status = Convert(options, *convert); });
}

}  // namespace fusekit::cli
