// fusekit convert: a JEDEC file to an ISC data file for a device.
#include <cstdio>
#include <string>

#include "tools/fusekit/cli.h"

namespace fusekit::cli {
namespace {

struct ConvertOptions {
  std::string input;
  std::string output;
  std::string device;
  std::string entity;
  std::string creator = std::string("fusekit ") + LibraryVersion();
  bool usercode_crc = false;
};

bool EndsWith(const std::string& text, const std::string& suffix) {
  if (text.size() < suffix.size()) return false;
  for (std::size_t i = 0; i < suffix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[text.size() - suffix.size() + i])) !=
        suffix[i])
      return false;
  }
  return true;
}

int Convert(const GlobalOptions& options, const ConvertOptions& convert) {
  if (!EndsWith(convert.output, ".isc")) {
    Complain(convert.output, "this build converts JEDEC files to ISC data files (OUT.isc) only");
    return kExitUsage;
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
  CLI::App* command = app.add_subcommand("convert", "Convert a JEDEC file to an ISC data file");
  auto convert = std::make_shared<ConvertOptions>();
  command->add_option("IN", convert->input, "the JEDEC file")->required();
  command->add_option("OUT", convert->output, "the ISC data file to write (.isc)")->required();
  command->add_option("--device", convert->device, "the device of the database")->required();
  command->add_option("--entity", convert->entity, "the entity name (default: the device name)");
  command->add_option("--creator", convert->creator, "the creator text of the header");
  command->add_flag("--usercode-crc", convert->usercode_crc,
                    "put the array's data CRC in the usercode blocks");
  command->callback(
      [&options, convert, &exit_status] { exit_status = Convert(options, *convert); });
}

}  // namespace fusekit::cli
