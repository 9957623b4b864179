// fusekit convert: a JEDEC file or an image to an ISC data file for a device, and record files
// to flat binaries.
#include <cstdio>
#include <memory>
#include <string>

#include "tools/fusekit/bitstream_support.h"
#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
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
  std::string format;      // --format: the input's format, whatever its content
  std::string out_format;  // --out-format: the output's format, whatever its name
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

// Checks the arguments and picks the route from the input's format (found from its content, or
// --format) and the output's (--out-format, or its ending); kExitOk, or the exit status after a
// message.
int ChooseRoute(ConvertOptions& convert, FileFormat in, Route& route) {
  const bool models = !convert.config.empty() || !convert.readback.empty() || !convert.mask.empty();
  if (models) {
    if (FormatOfExtension(convert.output) != FileFormat::kIsc || convert.device.empty() ||
        !convert.input.empty()) {
      Complain("", "--config/--readback/--mask take OUT.isc and --device, and no IN");
      return kExitUsage;
    }
    route = Route::kModels;
    return kExitOk;
  }
  if (convert.input.empty() || convert.output.empty()) {
    Complain("", "convert needs IN and OUT");
    return kExitUsage;
  }
  FileFormat out = FormatOfExtension(convert.output);
  if (!convert.out_format.empty()) {
    out = FormatByName(convert.out_format);
    if (out == FileFormat::kUnknown) {
      Complain("", "--out-format " + convert.out_format + " is not a format fusekit knows (" +
                       FormatNames() + ")");
      return kExitUsage;
    }
  }
  if (IsBitstreamFormat(in) && IsBitstreamFormat(out)) {
    if (in == out) {
      Complain(convert.output, std::string("names the same form as ") + convert.input + " (" +
                                   (in == FileFormat::kAsciiBitstream ? "ASCII" : "binary") +
                                   "): name the output .rbt for the ASCII form or .bit for the "
                                   "binary form");
      return kExitUsage;
    }
    route = Route::kBitstreamForm;
    return kExitOk;
  }
  if (out == FileFormat::kJedec) {
    if (convert.device.empty()) {
      Complain("", "writing a JEDEC file needs --device");
      return kExitUsage;
    }
    route = Route::kToJedec;
    return kExitOk;
  }
  // An output without an ending of its own (a device such as /dev/full, a pipe) takes the form
  // the conversion has: an ISC data file for a device, else a flat binary of records.
  const bool no_ending = out == FileFormat::kUnknown;
  if (out == FileFormat::kBinaryImage || (no_ending && convert.device.empty())) {
    if (in != FileFormat::kIntelHex && in != FileFormat::kSRecord && in != FileFormat::kTektronix) {
      Complain(convert.input, std::string("is a ") + FormatName(in) +
                                  ", not a record file (Intel hex, S-records, Tektronix) to "
                                  "turn into a binary image");
      return kExitUsage;
    }
    route = Route::kRecords;
    return kExitOk;
  }
  if (out != FileFormat::kIsc && !no_ending) {
    Complain(convert.output, std::string("is a ") + FormatName(out) +
                                 ": fusekit convert writes ISC data files (.isc), JEDEC files "
                                 "(.jed), binary images (.bin) and bitstreams (.bit, .rbt)");
    return kExitUsage;
  }
  if (convert.device.empty()) {
    Complain("", "converting to an ISC data file needs --device");
    return kExitUsage;
  }
  if (IsBitstreamFormat(in)) {
    route = Route::kBitstreamToIsc;
  } else if (IsImageFormat(in)) {
    route = Route::kImageToIsc;
  } else if (in == FileFormat::kJedec) {
    route = Route::kJedecToIsc;
  } else {
    Complain(convert.input, std::string("is a ") + FormatName(in) +
                                ", which fusekit does not convert to an ISC data file");
    return kExitUsage;
  }
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
  const bool models = !convert.config.empty() || !convert.readback.empty() || !convert.mask.empty();
  if (models && convert.output.empty()) std::swap(convert.input, convert.output);  // OUT alone
  if (OutputIsAnInput({convert.input, convert.config, convert.readback, convert.mask},
                      convert.output)) {
    return kExitUsage;
  }
  std::unique_ptr<InputFile> input;
  std::unique_ptr<FormatNamedInput> named;
  FileFormat in = FileFormat::kUnknown;
  if (!models && !convert.input.empty()) {
    input = std::make_unique<InputFile>(convert.input);
    if (!input->Ready() || !Readable(input->Path(), input->Label())) return kExitInvalidInput;
    in = InputFormat(input->Path(), input->Label(), convert.format);
    if (in == FileFormat::kUnknown && !convert.format.empty()) return kExitUsage;
    named = std::make_unique<FormatNamedInput>(input->Path(), in);
  }
  Route route;
  if (const int status = ChooseRoute(convert, in, route); status != kExitOk) return status;
  if (named) convert.input = named->Path();
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
  command->add_option("IN", convert->input,
                      "the JEDEC file, bitstream, image or record file ('-' for standard input)");
  command->add_option("OUT", convert->output, "the file to write (.isc, .jed, .bin, .bit or .rbt)");
  command->add_option("--config", convert->config, "with OUT.isc: a configuration bitstream");
  command->add_option("--readback", convert->readback, "with OUT.isc: a read-back bitstream");
  command->add_option("--mask", convert->mask, "with OUT.isc: a read-back mask");
  command->add_option("--device", convert->device, "the device of the database (for .isc)");
  command->add_option("--format", convert->format,
                      "read IN as this format, whatever its content and name (jedec, isc, bit, "
                      "rbt, ihex, srec, tek, bin)");
  command->add_option("--out-format", convert->out_format,
                      "write OUT as this format, whatever its name (isc, jedec, bit, rbt, bin)");
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
