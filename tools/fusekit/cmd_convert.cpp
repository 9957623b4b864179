// fusekit convert: a JEDEC file or an image to an ISC data file for a device, and record files
// to flat binaries.
#include <cstdio>
#include <string>

#include "tools/fusekit/bitstream_support.h"
#include "tools/fusekit/cli.h"
#include "tools/fusekit/image_support.h"
#include "tools/fusekit/jedec_support.h"
#include "tools/fusekit/output_file.h"

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

// The route a conversion takes, decided from the names before anything is opened.
enum class Route {
  kModels,
  kBitstreamForm,
  kRecords,
  kBitstreamToIsc,
  kImageToIsc,
  kJedecToIsc,
  kToJedec
};

// Checks the arguments and picks the route; kExitOk, or the exit status after a message.
int ChooseRoute(ConvertOptions& convert, Route& route) {
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
    route = Route::kModels;
    return kExitOk;
  }
  if (convert.input.empty()) {
    Complain("", "convert needs IN and OUT");
    return kExitUsage;
  }
  if (IsBitstreamName(convert.input) && IsBitstreamName(convert.output)) {
    // The output's form is the one its name says: the other form of the input.
    if (IsAsciiBitstreamName(convert.input) == IsAsciiBitstreamName(convert.output)) {
      Complain(convert.output,
               std::string("names the same form as ") + convert.input + " (" +
                   (IsAsciiBitstreamName(convert.output) ? "ASCII" : "binary") +
                   "): name the output .rbt for the ASCII form or .bit for the binary form");
      return kExitUsage;
    }
    route = Route::kBitstreamForm;
    return kExitOk;
  }
  if (out == ".jed") {
    if (convert.device.empty()) {
      Complain("", "writing a JEDEC file needs --device");
      return kExitUsage;
    }
    route = Route::kToJedec;
    return kExitOk;
  }
  // An output without an ending of its own (a device such as /dev/full, a pipe) takes the form
  // the conversion has: an ISC data file for a device, else a flat binary of records.
  const bool no_ending = out.empty();
  if (out == ".bin" || (no_ending && convert.device.empty())) {
    route = Route::kRecords;
    return kExitOk;
  }
  if (out != ".isc" && !no_ending) {
    Complain(convert.output, "is neither an ISC data file (.isc) nor a binary image (.bin)");
    return kExitUsage;
  }
  if (convert.device.empty()) {
    Complain("", "converting to an ISC data file needs --device");
    return kExitUsage;
  }
  route = IsBitstreamName(convert.input)  ? Route::kBitstreamToIsc
          : ImageKind(convert.input) != 0 ? Route::kImageToIsc
                                          : Route::kJedecToIsc;
  return kExitOk;
}

int ConvertJedecToIsc(const GlobalOptions& options, const ConvertOptions& convert,
                      OutputFile& output) {
  if (!Readable(convert.input, convert.input)) return kExitInvalidInput;
  DeviceInfo device;
  if (const int status = DeviceByName(options, convert.device, device); status != kExitOk)
    return status;
  std::string source = convert.input;
  std::string written = output.Path();
  std::string entity = convert.entity.empty() ? device.GetName() : convert.entity;
  // The work folder of the conversion (a copy of the file with its usercode rewritten, for the
  // devices that need one) goes away with it.
  TemporaryFolderOf work({"CRCTemp.jed"});
  if (!work.Ready()) {
    Complain("", "cannot make a work folder in " + TemporaryFolder());
    return kExitInvalidInput;
  }
  const std::string work_dir = work.Folder();
  char option[] = "";
  const int result =
      JEDEC2ISC(source.data(), &device, 1, "", work_dir.c_str(), option, "", entity.data(),
                written.data(), convert.usercode_crc ? 1 : 0, convert.creator.c_str());
  if (result == kStatusWriteFailed) {
    ComplainStatus(output.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  if (result < 0) {
    ComplainStatus(convert.input, "cannot be converted for " + convert.device, result);
    return kExitInvalidInput;
  }
  char data_crc[256] = "";
  GetCRCData(written.c_str(), data_crc);  // read back from the temporary, a regular file
  std::string crc(data_crc);
  while (!crc.empty() && (crc.back() == '\n' || crc.back() == ' ')) crc.pop_back();
  while (!crc.empty() && crc.front() == ' ') crc.erase(crc.begin());
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: written for %s, file checksum %.4X, data CRC %s\n", output.Label().c_str(),
              device.GetName(), result, crc.empty() ? "(none)" : crc.c_str());
  return kExitOk;
}

int Convert(const GlobalOptions& options, ConvertOptions convert) {
  Route route;
  if (const int status = ChooseRoute(convert, route); status != kExitOk) return status;
  if (OutputIsAnInput({convert.input, convert.config, convert.readback, convert.mask},
                      convert.output)) {
    return kExitUsage;
  }
  OutputFile output(convert.output);
  if (!output.Ready()) return kExitInvalidInput;
  switch (route) {
    case Route::kModels:
      return ConvertModelsToIsc(options, convert.config, convert.readback, convert.mask, output,
                                convert.device, convert.entity, convert.creator);
    case Route::kBitstreamForm:
      return ConvertBitstreamForm(convert.input, output);
    case Route::kRecords:
      return ConvertRecordsToBinary(convert.input, output, convert.alignment);
    case Route::kBitstreamToIsc:
      return ConvertBitstreamToIsc(options, convert.input, output, convert.device, convert.entity,
                                   convert.creator, convert.usercode_crc);
    case Route::kImageToIsc:
      return ConvertImageToIsc(options, convert.input, output, convert.device, convert.entity,
                               convert.creator);
    case Route::kJedecToIsc:
      return ConvertJedecToIsc(options, convert, output);
    case Route::kToJedec:
      return ConvertToJedec(options, convert.input, output, convert.device, convert.creator);
  }
  return kExitUsage;
}

}  // namespace

void AddConvertCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "convert",
      "Convert a JEDEC file, bitstream or image to an ISC data file or a JEDEC file, or records "
      "to a binary");
  auto convert = std::make_shared<ConvertOptions>();
  command->add_option("IN", convert->input, "the JEDEC file, bitstream, image or record file");
  command->add_option("OUT", convert->output, "the file to write (.isc, .jed, .bin, .bit or .rbt)");
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
