// fusekit convert: a JEDEC file or an image to an ISC data file for a device, and record files
// to flat binaries.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

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
  std::string format;       // --format: the input's format, whatever its content
  std::string out_format;   // --out-format: the output's format, whatever its name
  char image_format = 'b';  // the image format of OUT
  std::string input_label;
  std::string srec_len, bit_order, fill, offset;
  std::string settings;  // --settings: a device settings file applied on the way
  std::vector<std::string> crop;
};

// A number as a user writes it: decimal, or hex with "0x"; a leading '-' when negative is
// allowed. False for anything else.
bool ParseNumber(const std::string& text, long long& value, bool negative_allowed) {
  if (text.empty()) return false;
  const bool negative = text[0] == '-';
  if (negative && !negative_allowed) return false;
  const std::string digits = negative ? text.substr(1) : text;
  if (digits.empty()) return false;
  char* end = nullptr;
  const unsigned long long magnitude = std::strtoull(digits.c_str(), &end, 0);
  if (end == nullptr || *end != '\0' || digits[0] == '-' || digits[0] == '+' ||
      magnitude > 0xFFFFFFFFFFull)
    return false;
  value = negative ? -static_cast<long long>(magnitude) : static_cast<long long>(magnitude);
  return true;
}

// The image options from the command line; false, after a message, for a value that is not
// one.
bool ImageOptionsOf(const ConvertOptions& c, ImageOptions& o) {
  o.alignment = c.alignment;
  long long value = 0;
  const auto bad = [](const char* option, const std::string& text, const char* want) {
    Complain("", std::string(option) + " takes " + want + ", not '" + text + "'");
    return false;
  };
  if (!c.srec_len.empty()) {
    if (!ParseNumber(c.srec_len, value, false) || value < 1 || value > 255)
      return bad("--srec-len", c.srec_len, "a record length of 1 to 255 bytes");
    o.record_bytes = static_cast<int>(value);
  }
  if (!c.bit_order.empty()) {
    if (c.bit_order != "plain" && c.bit_order != "device")
      return bad("--bit-order", c.bit_order, "plain or device");
    o.mirror = c.bit_order == "device";
  }
  if (!c.fill.empty()) {
    if (!ParseNumber(c.fill, value, false) || value > 0xFF)
      return bad("--fill", c.fill, "a byte (0 to 255, or 0x00 to 0xFF)");
    o.fill = static_cast<int>(value);
  }
  if (!c.offset.empty()) {
    if (!ParseNumber(c.offset, value, true)) return bad("--offset", c.offset, "an address");
    o.offset = value;
  }
  if (!c.crop.empty()) {
    long long start = 0, end = 0;
    if (c.crop.size() != 2 || !ParseNumber(c.crop[0], start, false) ||
        !ParseNumber(c.crop[1], end, false) || end <= start)
      return bad("--crop", c.crop.empty() ? "" : c.crop[0], "START END with START below END");
    o.crop = true;
    o.crop_start = static_cast<unsigned long long>(start);
    o.crop_end = static_cast<unsigned long long>(end);
  }
  return true;
}

int ConvertImageWithOptions(const ConvertOptions& convert, OutputFile& output) {
  ImageOptions options;
  if (!ImageOptionsOf(convert, options)) return kExitUsage;
  return ConvertImage(convert.input, convert.input_label, output, convert.image_format, options);
}

// The route a conversion takes, decided from the names before anything is opened.
enum class Route {
  kModels,
  kBitstreamForm,
  kRecords,
  kBitstreamToIsc,
  kImageToIsc,
  kJedecToIsc,
  kThroughData  // read into programming data, settings applied, written (.jed, .isc, .fea)
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
  if (out == FileFormat::kJedec || out == FileFormat::kFeatureRow) {
    if (convert.device.empty()) {
      Complain("", std::string("writing a ") + FormatName(out) + " needs --device");
      return kExitUsage;
    }
    route = Route::kThroughData;
    return kExitOk;
  }
  // An output without an ending of its own (a device such as /dev/full, a pipe) takes the form
  // the conversion has: an ISC data file for a device, else a flat binary of records.
  const bool no_ending = out == FileFormat::kUnknown;
  if (!convert.settings.empty() && (IsImageFormat(out) || (no_ending && convert.device.empty()))) {
    Complain("", "--settings applies to the outputs that hold programming data (.isc, .jed, .fea)");
    return kExitUsage;
  }
  if (IsImageFormat(out) || (no_ending && convert.device.empty())) {
    if (!IsImageFormat(in)) {
      Complain(convert.input, std::string("is a ") + FormatName(in) +
                                  ", not an image (records or binary) to write as " +
                                  (no_ending ? "a binary image" : FormatName(out)));
      return kExitUsage;
    }
    convert.image_format = out == FileFormat::kIntelHex    ? 'i'
                           : out == FileFormat::kSRecord   ? 'm'
                           : out == FileFormat::kTektronix ? 't'
                                                           : 'b';
    route = Route::kRecords;
    return kExitOk;
  }
  if (out != FileFormat::kIsc && !no_ending) {
    Complain(convert.output, std::string("is a ") + FormatName(out) +
                                 ": fusekit convert writes ISC data files (.isc), JEDEC files "
                                 "(.jed), feature-row files (.fea), images (.bin, .hex, .mcs, "
                                 ".srec, .tek) and bitstreams (.bit, .rbt)");
    return kExitUsage;
  }
  if (convert.device.empty()) {
    Complain("", "converting to an ISC data file needs --device");
    return kExitUsage;
  }
  if (!convert.settings.empty() || in == FileFormat::kIsc || in == FileFormat::kFeatureRow) {
    route = Route::kThroughData;  // the whole data, its sections included
  } else if (IsBitstreamFormat(in)) {
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
    ComplainStatus(convert.input, "cannot be converted for " + convert.device, result, "JEDEC2ISC");
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
  if (named) {
    convert.input_label = input->Label();
    convert.input = named->Path();
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
      return ConvertImageWithOptions(convert, output);
    case Route::kBitstreamToIsc:
      return ConvertBitstreamToIsc(options, convert.input, output, convert.device, convert.entity,
                                   convert.creator, convert.usercode_crc);
    case Route::kImageToIsc:
      return ConvertImageToIsc(options, convert.input, output, convert.device, convert.entity,
                               convert.creator);
    case Route::kJedecToIsc:
      return ConvertJedecToIsc(options, convert, output);
    case Route::kThroughData: {
      DataConversion conversion;
      conversion.input = convert.input;
      conversion.input_label = convert.input_label.empty() ? convert.input : convert.input_label;
      conversion.device = convert.device;
      conversion.entity = convert.entity;
      conversion.creator = convert.creator;
      conversion.settings = convert.settings;
      conversion.usercode_crc = convert.usercode_crc;
      FileFormat out = FormatOfExtension(convert.output);
      if (!convert.out_format.empty()) out = FormatByName(convert.out_format);
      return ConvertThroughData(options, conversion, out, output);
    }
  }
  return kExitUsage;
}

}  // namespace

void AddConvertCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "convert",
      "Convert between formats: JEDEC, bitstreams or images to ISC data files or JEDEC files, "
      "the two bitstream forms, and images to binary, Intel hex, MCS, S-records or Tektronix");
  auto convert = std::make_shared<ConvertOptions>();
  command->add_option("IN", convert->input,
                      "the JEDEC file, bitstream, image or record file ('-' for standard input)");
  command->add_option("OUT", convert->output,
                      "the file to write (.isc, .jed, .fea, .bit, .rbt, .bin, .hex, .mcs, .srec, "
                      ".tek; "
                      "'-' for standard output)");
  command->add_option("--config", convert->config, "with OUT.isc: a configuration bitstream");
  command->add_option("--readback", convert->readback, "with OUT.isc: a read-back bitstream");
  command->add_option("--mask", convert->mask, "with OUT.isc: a read-back mask");
  command->add_option("--device", convert->device, "the device of the database (for .isc)");
  command->add_option("--format", convert->format,
                      "read IN as this format, whatever its content and name (jedec, isc, bit, "
                      "rbt, ihex, srec, tek, bin)");
  command->add_option(
      "--out-format", convert->out_format,
      "write OUT as this format, whatever its name (isc, jedec, bit, rbt, bin, ihex, "
      "srec, tek)");
  command->add_option("--align", convert->alignment,
                      "image to .bin: round the start address down to a multiple of N");
  command->add_option("--srec-len", convert->srec_len,
                      "image to records: data bytes a record (default 32, Intel hex 16)");
  command->add_option("--bit-order", convert->bit_order,
                      "image to image: plain (default, as srec_cat and objcopy) or device (each "
                      "byte bit-reversed, as the library stores images)");
  command->add_option("--fill", convert->fill, "image to image: fill the gaps with BYTE")
      ->option_text("BYTE");
  command->add_option("--crop", convert->crop, "image to image: keep addresses START to END - 1")
      ->expected(2)
      ->option_text("START END");
  command->add_option("--offset", convert->offset, "image to image: add N to every address")
      ->option_text("N");
  command
      ->add_option("--settings", convert->settings,
                   "apply a device settings file (usercode, security, feature row) on the way "
                   "to .isc, .jed or .fea")
      ->option_text("FILE.ini");
  command->add_option("--entity", convert->entity, "the entity name (default: the device name)");
  command->add_option("--creator", convert->creator, "the creator text of the header");
  command->add_flag("--usercode-crc", convert->usercode_crc,
                    "put the array's data CRC in the usercode blocks");
  command->callback(
      [&options, convert, &exit_status] { exit_status = Convert(options, *convert); });
}

}  // namespace fusekit::cli
