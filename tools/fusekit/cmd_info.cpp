// fusekit info: what a programming file holds.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <utility>
#include <vector>

#include "tools/fusekit/bitstream_support.h"
#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/image_support.h"
#include "tools/fusekit/jedec_support.h"
#include "tools/fusekit/json.h"
#include "tools/fusekit/json_reports.h"

namespace fusekit::cli {
namespace {

void Field(const char* name, int given, long value, const char* format = "%ld") {
  std::printf("  %-24s", name);
  if (given == 0) {
    std::printf("(none)\n");
    return;
  }
  std::printf(format, value);
  std::printf("\n");
}

int JedecInfo(const InputFile& input) {
  std::string path = input.Path();
  JEDECSummary s;
  const int status = GetJEDECSummary(path.c_str(), &s);
  if (status != kStatusOk) {
    const std::string why = status == kStatusNoFuseData ? WhyFieldsEndEarly(path) : "";
    if (!why.empty()) {
      Complain(input.Label(), "cannot be read as a JEDEC file: " + why);
    } else {
      ComplainStatus(input.Label(), "cannot be read as a JEDEC file", status);
    }
    return kExitInvalidInput;
  }
  std::printf("%s: JEDEC fuse map\n", input.Label().c_str());
  Field("QF (fuses)", s.hasFuseCount, static_cast<long>(s.fuseCount));
  Field("QP (pins)", s.hasPinCount, s.pinCount);
  Field("F (default fuse)", s.hasDefaultFuse, s.defaultFuse);
  Field("G (security)", s.hasSecurity, s.security);
  Field("C (fuse checksum)", s.hasChecksum, static_cast<long>(s.checksum), "%.4lX");
  Field("E field bits", s.eLength != 0, static_cast<long>(s.eLength));
  std::printf("  %-24s%s\n", "usercode (U)", s.usercodeBits != 0 ? s.usercode : "(none)");
  const int ufm = GetJEDEC_UFM(path.data());
  std::printf("  %-24s%s\n", "user flash image",
              ufm < 0 ? "(none)" : ("UFM" + std::to_string(ufm)).c_str());
  const std::string jed_name = path;  // the data-section queries want a ".jed" name
  for (const auto& [name, query] : {std::pair{"END data at fuse", &GetJEDEC_ENDDATA_NOTE},
                                    std::pair{"EBR data at fuse", &GetJEDEC_EBRDATA_NOTE},
                                    std::pair{"TAG data at fuse", &GetJEDEC_TAGDATA_NOTE}}) {
    std::string copy = jed_name;
    const int address = query(copy.data());
    Field(name, address != 0, address);
  }
  std::printf("  %-24s%s\n", "encrypted", GetJEDEC_Encrypted(path.data()) != 0 ? "yes" : "no");
  for (const auto& [name, query] :
       {std::pair{"first frame CRC", &GetJEDEC_FirstFrameCRC},
        std::pair{"frames CRC", &GetJEDEC_FramesCRC},
        std::pair{"first chain frame CRC", &GetJEDEC_FirstChainFrameCRC},
        std::pair{"chain frames CRC", &GetJEDEC_ChainFramesCRC}}) {
    const int crc = query(path.data());
    Field(name, crc != 0, crc, "%.8lX");
  }
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const auto size = static_cast<std::size_t>(in.tellg() > 0 ? static_cast<long>(in.tellg()) : 0);
  std::vector<char> header(2 * size + 1, '\0');  // the header text never exceeds twice the file
  ParseJEDECHeader(header.data(), path.c_str(), true);
  std::printf("  header:\n%s", header.data());
  return kExitOk;
}

const char* Verdict(bool good) {
  return good ? "valid" : "INVALID";
}

// The section a block belongs to (docs/isc-sections.md), "main" for the main array's blocks.
const char* SectionOfBlock(const std::string& block) {
  static constexpr std::pair<const char*, const char*> kPrefixes[] = {
      {"control_register", "control"},
      {"config_register", "control"},
      {"usermode_register", "control"},
      {"sed_crc", "SED"},
      {"ufm", "user flash"},
      {"ebr", "EBR"},
      {"feature_", "feature row"},
  };
  for (const auto& [prefix, section] : kPrefixes) {
    if (block.rfind(prefix, 0) == 0) return section;
  }
  return "main";
}

void PrintBlocks(const ISCSummary& s, bool& all_good) {
  std::printf("  blocks:\n");
  for (const ISCBlockSummary& b : s.blocks) {
    std::printf("    %-22s %-12s %-10s %6lu row%s x %lu bits", b.name.c_str(),
                SectionOfBlock(b.name), b.keyword.c_str(), b.rowCount, b.rowCount == 1 ? " " : "s",
                b.rowWidth);
    if (b.terminateRows != 0) std::printf(", terminate %lu", b.terminateRows);
    if (b.unprocessed) std::printf(", unprocessed");
    if (b.hasStoredCRC) {
      const bool match = b.storedCRC == b.computedCRC;
      all_good = all_good && match;
      std::printf(", data CRC %.8X stored, %.8X computed: %s", b.storedCRC, b.computedCRC,
                  match ? "match" : "MISMATCH");
    }
    std::printf("\n");
  }
}

// The file as the device reads it: the reader's status and its data CRC.
// Reads the file for the device and prints the outcome; false when it cannot be read.
bool PrintDeviceRead(const InputFile& input, DeviceInfo& device) {
  std::string path = input.Path();
  char data_crc[64] = "";
  SVFPlusData data;
  const int status = ISCReadAllInfo(path.data(), &device, &data, data_crc, nullptr);
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  const int rows = array != nullptr ? array->GetRowCount() : 0;
  if (status < 0) {
    std::printf("  read for %-15s FAILED\n", device.GetName());
    ComplainStatus(input.Label(), std::string("cannot be read for ") + device.GetName(), status,
                   "ISC2SVFPlus");
    return false;
  }
  std::printf("  read for %-15s %d fields, %d array rows, data CRC %s\n", device.GetName(),
              data.GetDataFieldCount(), rows, data_crc[0] != '\0' ? data_crc : "(none)");
  return true;
}

int IscInfo(const GlobalOptions& options, const InputFile& input, const std::string& device_name) {
  DeviceInfo device;
  if (!device_name.empty()) {
    if (const int status = DeviceByName(options, device_name, device); status != kExitOk)
      return status;
  }
  ISCSummary s;
  const int status = GetISCSummary(input.Path().c_str(), &s);
  std::printf("%s: ISC data file\n", input.Label().c_str());
  std::printf("  %-24s%s\n", "standard", s.standard.c_str());
  std::printf("  %-24s%s\n", "created", s.date.c_str());
  std::printf("  %-24s%s\n", "creator", s.creator.c_str());
  std::string entities;
  for (const std::string& name : s.entities) entities += (entities.empty() ? "" : ", ") + name;
  std::printf("  %-24s%s\n", "entities", entities.c_str());
  std::printf("  %-24s%s\n", "security override", s.security ? "on" : "off");
  if (!s.comments.empty()) {
    std::printf("  comments:\n");
    for (std::size_t at = 0; at < s.comments.size();) {
      const std::size_t end = s.comments.find('\n', at);
      std::printf("    %s\n", s.comments.substr(at, end - at).c_str());
      at = end == std::string::npos ? end : end + 1;
    }
  }
  bool all_good = true;
  PrintBlocks(s, all_good);
  if (status != 0) {
    ComplainStatus(input.Label(), "is not a well-formed ISC data file", status);
    return kExitInvalidInput;
  }
  if (s.hasFileChecksum) {
    const bool good = s.storedFileChecksum == s.computedFileChecksum;
    all_good = all_good && good;
    std::printf("  %-24s%.4X stored, %.4X computed: %s\n", "file checksum", s.storedFileChecksum,
                s.computedFileChecksum, Verdict(good));
  } else {
    all_good = false;
    std::printf("  %-24s(none after the closing parenthesis)\n", "file checksum");
  }
  if (!device_name.empty() && !PrintDeviceRead(input, device)) return kExitInvalidInput;
  return all_good ? kExitOk : kExitDifferent;
}

// The notes, the feature row and the feature bits of a feature-row file.
int FeatureInfo(const std::string& path, const std::string& label) {
  SVFPlusData data;
  std::string name = path;
  const int status = FEA2SVFPlus(name.data(), nullptr, &data);
  if (status != 0) {
    ComplainStatus(label, "cannot be read as a feature-row file", status, "FEA2SVFPlus");
    return kExitInvalidInput;
  }
  std::printf("%s: feature-row file\n", label.c_str());
  for (const char* field : {"FeatureRow_TDI", "FeatureBits_TDI"}) {
    if (data.GetDataField(field) == nullptr) {
      std::printf("  %-24s(none)\n", field);
      continue;
    }
    unsigned width = 0;
    const std::string hex = FirstRowHex(data, field, width);
    std::printf("  %-24s%u bits, 0x%s\n", field, width, hex.c_str());
  }
  const char* notes = data.GetComment();
  std::printf("  notes:\n%s", notes != nullptr ? notes : "");
  return kExitOk;
}

int Info(const GlobalOptions& options, const std::string& argument, const std::string& device,
         const std::string& forced) {
  InputFile input(argument);
  if (!input.Ready() || !Readable(input.Path(), input.Label())) return kExitInvalidInput;
  const FileFormat format = InputFormat(input.Path(), input.Label(), forced);
  const FormatNamedInput named(input.Path(), format);
  if (JsonWanted() && format != FileFormat::kUnknown)
    return InfoJson(named.Path(), input.Label(), format);
  if (IsBitstreamFormat(format)) return BitstreamInfo(options, named.Path(), input.Label(), device);
  if (format == FileFormat::kIsc) return IscInfo(options, input, device);
  if (format == FileFormat::kJedec) return JedecInfo(input);
  if (format == FileFormat::kFeatureRow) return FeatureInfo(named.Path(), input.Label());
  if (IsImageFormat(format)) return ImageInfo(named.Path(), input.Label());
  if (forced.empty()) {
    Complain(input.Label(),
             "is not a file fusekit knows: not a JEDEC file (STX and fields), an ISC data file "
             "(IEEE_1532_Data), a bitstream or an image; name its format with --format");
  }
  return kExitInvalidInput;
}

}  // namespace

void AddInfoCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command =
      app.add_subcommand("info", "Show what a JEDEC file, ISC data file or image holds");
  auto file = std::make_shared<std::string>();
  auto device = std::make_shared<std::string>();
  auto format = std::make_shared<std::string>();
  command->add_option("FILE", *file, "the file ('-' for standard input)")->required();
  command->add_option("--format", *format,
                      "read the file as this format, whatever its content and name (jedec, "
                      "isc, bit, rbt, ihex, srec, tek, bin)");
  command->add_option("--device", *device,
                      "read an ISC data file or a bitstream for this device of the database");
  command->callback([&options, file, device, format, &exit_status] {
    exit_status = Info(options, *file, *device, *format);
  });
}

}  // namespace fusekit::cli
