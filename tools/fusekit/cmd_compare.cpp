// fusekit compare and fusekit verify: two files of programming data compared, each by the
// compare of its format or through programming data, and one file checked by the validators.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "support/util/side_task.h"
#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/jedec_support.h"
#include "tools/fusekit/json.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {
namespace {

struct CompareOptions {
  std::string read;
  std::string reference;
  std::string report;
  std::string device;
  bool by_address = false;
  std::string png;         // --png: a picture of the read file with the differing fuses marked
  std::string read_label;  // the names in messages ("standard input" for "-")
  std::string reference_label;
  bool quiet = false;
};

// The exit status of a compare's result, with the message that goes with it (or, with --json,
// the result as JSON).
int Verdict(const CompareOptions& c, int result, const char* unit, const char* method) {
  if (result < 0) return kExitInvalidInput;
  if (JsonWanted()) {
    PrintJson(JsonObject()
                  .Add("read", c.read_label)
                  .Add("reference", c.reference_label)
                  .Add("method", method)
                  .Add("differences", result)
                  .Add("equal", result == 0)
                  .AddRaw("report", c.report.empty() ? "null" : JsonString(c.report))
                  .Text());
  } else if (!c.quiet) {
    std::fprintf(stderr, "fusekit: %s: %d %s%s differ%s from %s\n", c.read_label.c_str(), result,
                 unit, result == 1 ? "" : "s", result == 1 ? "s" : "", c.reference_label.c_str());
  }
  return result == 0 ? kExitOk : kExitDifferent;
}

// The first line of a report that says why a pair was not compared.
std::string CauseIn(const std::string& path) {
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, 14, "not compared: ") == 0) return line.substr(14);
    if (line.find("cannot be read as") != std::string::npos) return line;
  }
  return "";
}

// Runs one of the library's compares into the report and names the report the user asked for.
template <class Run>
int RunCompare(const CompareOptions& c, const char* unit, const char* method, Run run) {
  if (OutputIsAnInput({c.read, c.reference}, c.report)) return kExitUsage;
  // Without -o the report goes to standard output, unless JSON or silence takes its place.
  OutputFile report(c.report.empty() && (JsonWanted() || c.quiet) ? "/dev/null" : c.report);
  if (!report.Ready()) return kExitInvalidInput;
  const int result = run(report.Path());
  if (result == kStatusWriteFailed) {
    ComplainStatus(report.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  if (result == -1) {
    Complain(c.read + " or " + c.reference, "cannot be opened for reading");
    return kExitInvalidInput;
  }
  const std::string cause = result < 0 ? CauseIn(report.Path()) : "";
  const std::string written_name = "FILE NAME:   " + report.Path() + "\n";
  const std::string asked_name = "FILE NAME:   " + report.Label() + "\n";
  if (!report.Commit(written_name, asked_name)) return kExitInvalidInput;
  if (result < 0) {
    if (!cause.empty()) {
      Complain(c.read, "cannot be compared with " + c.reference + ": " + cause);
    } else {
      ComplainStatus(c.read, "cannot be compared with " + c.reference, result);
    }
  }
  return Verdict(c, result, unit, method);
}

int ReadForDevice(const GlobalOptions& options, const CompareOptions& c, DeviceInfo& device,
                  SVFPlusData& read, SVFPlusData& reference) {
  if (const int status = DeviceByName(options, c.device, device); status != kExitOk) return status;
  if (const int status = ReadProgrammingData(c.read, c.read, device, read); status != kExitOk)
    return status;
  return ReadProgrammingData(c.reference, c.reference, device, reference);
}

// The first differing fuses as "1000+" (1 in the read file) or "1000-".
std::vector<std::string> FirstDifferences(const JEDECAddressCompare& found) {
  std::vector<std::string> first;
  for (int i = 0; i < found.listed; ++i)
    first.push_back(std::to_string(found.address[i]) + (found.readValue[i] != 0 ? "+" : "-"));
  return first;
}

int ReportFuseDifferences(const CompareOptions& c, const JEDECAddressCompare& found) {
  const int exit_status = found.differences == 0 ? kExitOk : kExitDifferent;
  const std::vector<std::string> first = FirstDifferences(found);
  if (JsonWanted()) {
    std::vector<std::string> addresses;
    for (const std::string& f : first) addresses.push_back(JsonString(f));
    PrintJson(JsonObject()
                  .Add("read", c.read_label)
                  .Add("reference", c.reference_label)
                  .Add("method", "by-address")
                  .Add("differences", found.differences)
                  .Add("equal", found.differences == 0)
                  .AddRaw("first", JsonArray(addresses))
                  .Text());
    return exit_status;
  }
  std::ostringstream out;
  out << found.differences << (found.differences == 1 ? " fuse differs" : " fuses differ");
  if (!first.empty()) {
    out << "; first at";
    for (const std::string& f : first) out << " " << f;
  }
  out << "\n";
  std::fputs(out.str().c_str(), stdout);
  return exit_status;
}

// Why two JEDEC files could not be compared by address, said of the file at fault: each file's
// summary is checked against the device or the record made from it, then their QF against each
// other, and what is left is the status of the file the compare named.
int ComplainByAddress(const GlobalOptions& options, const CompareOptions& c, int status,
                      int faulty_file) {
  const std::string* paths[2] = {&c.read, &c.reference};
  JedecSummaryRead summaries[2];
  util::RunForBoth([&](int i) {
    summaries[i].status = GetJEDECSummary(paths[i]->c_str(), &summaries[i].summary);
  });
  DeviceInfo devices[2];
  for (int i = 0; i < 2; ++i) {
    if (const int found =
            DeviceForJedec(options, c.device, *paths[i], *paths[i], summaries[i], devices[i]);
        found != kExitOk)
      return found;
  }
  if (c.device.empty() && summaries[0].summary.fuseCount != summaries[1].summary.fuseCount) {
    Complain(c.read, "has QF " + std::to_string(summaries[0].summary.fuseCount) + ", but " +
                         c.reference + " has QF " + std::to_string(summaries[1].summary.fuseCount) +
                         ": they are not fuse maps of one device");
    return kExitInvalidInput;
  }
  ComplainStatus(faulty_file == 2 ? c.reference : c.read, "cannot be read as a JEDEC file", status);
  return kExitInvalidInput;
}

// Two JEDEC fuse maps by fuse address: each read for the device, or for a record made from its
// own QF, whatever its L layout, F default and notes.
int CompareByAddress(const GlobalOptions& options, const CompareOptions& c) {
  for (const std::string* path : {&c.read, &c.reference}) {
    if (!Readable(*path, *path)) return kExitInvalidInput;
  }
  DeviceInfo device;
  if (!c.device.empty()) {
    if (const int status = DeviceByName(options, c.device, device); status != kExitOk)
      return status;
  }
  JEDECAddressCompare found;
  const int status = fnJEDFileCompareByAddress(c.read.c_str(), c.reference.c_str(),
                                               c.device.empty() ? nullptr : &device, &found);
  if (status != 0) return ComplainByAddress(options, c, status, found.faultyFile);
  return ReportFuseDifferences(c, found);
}

int Compare(const GlobalOptions& options, const CompareOptions& c) {
  InputFile read_input(c.read);
  InputFile reference_input(c.reference);
  if (!read_input.Ready() || !reference_input.Ready()) return kExitInvalidInput;
  CompareOptions files = c;
  files.read = read_input.Path();
  files.reference = reference_input.Path();
  files.read_label = read_input.Label();
  files.reference_label = reference_input.Label();
  files.quiet = options.quiet;
  for (const InputFile* input : {&read_input, &reference_input}) {
    if (!Readable(input->Path(), input->Label())) return kExitInvalidInput;
  }
  if (!c.png.empty()) {
    if (OutputIsAnInput({c.read, c.reference}, c.png)) return kExitUsage;
    SVFPlusData read, reference;
    if (const int status = ReadForPicture(options, files.read, files.read_label, c.device, read);
        status != kExitOk)
      return status;
    if (const int status =
            ReadForPicture(options, files.reference, files.reference_label, c.device, reference);
        status != kExitOk)
      return status;
    if (const int status = WritePicture(c.png, read, &reference); status != kExitOk) return status;
  }
  if (c.by_address) return CompareByAddress(options, files);
  const FileFormat read_format = DetectFormat(files.read);
  const FileFormat reference_format = DetectFormat(files.reference);
  if (read_format == FileFormat::kJedec && reference_format == FileFormat::kJedec) {
    return RunCompare(files, "fuse", "jedec", [&](const std::string& report) {
      return fnJEDFileCompare(files.read.c_str(), files.reference.c_str(), report.c_str());
    });
  }
  if (read_format == FileFormat::kIsc && reference_format == FileFormat::kIsc) {
    return RunCompare(files, "bit", "isc", [&](const std::string& report) {
      return fnISCFileCompare(files.read.c_str(), files.reference.c_str(), report.c_str());
    });
  }
  if (c.device.empty()) {
    Complain(c.read, std::string("is a ") + FormatName(read_format) + " and " + c.reference +
                         " a " + FormatName(reference_format) +
                         ": name their device with --device to compare them");
    return kExitUsage;
  }
  DeviceInfo device;
  if (IsBitstreamFormat(read_format) && IsBitstreamFormat(reference_format)) {
    if (const int status = DeviceByName(options, c.device, device); status != kExitOk)
      return status;
    return RunCompare(files, "bit", "bitstream", [&](const std::string& report) {
      return fnBITFileCompare(files.read.c_str(), files.reference.c_str(), &device, report.c_str());
    });
  }
  SVFPlusData read;
  SVFPlusData reference;
  if (const int status = ReadForDevice(options, files, device, read, reference); status != kExitOk)
    return status;
  return RunCompare(files, "bit", "programming-data", [&](const std::string& report) {
    return SVFPlusDataCompare(&read, &reference, report.c_str());
  });
}

struct VerifyOptions {
  std::string file;
  std::string device;
  std::string checksum;
  std::string pattern;
  std::string crc;
};

std::string Hex4(int value) {
  char text[8];
  std::snprintf(text, sizeof text, "%04X", static_cast<unsigned>(value) & 0xFFFFu);
  return text;
}

bool ParseHex(const std::string& text, unsigned long& value) {
  if (text.empty()) return false;
  char* end = nullptr;
  value = std::strtoul(text.c_str(), &end, 16);
  return end != nullptr && *end == '\0';
}

int Verify(const GlobalOptions& options, const VerifyOptions& v) {
  InputFile input(v.file);
  if (!input.Ready()) return kExitInvalidInput;
  unsigned long checksum = 0, pattern = 0, crc = 0;
  const struct {
    const std::string& text;
    unsigned long& value;
    const char* option;
  } numbers[] = {{v.checksum, checksum, "--checksum"},
                 {v.pattern, pattern, "--pattern"},
                 {v.crc, crc, "--crc"}};
  for (const auto& n : numbers) {
    if (!n.text.empty() && !ParseHex(n.text, n.value)) {
      Complain(n.option, "takes a hexadecimal number, not '" + n.text + "'");
      return kExitUsage;
    }
  }
  DeviceInfo device;
  if (const int status = DeviceByName(options, v.device, device); status != kExitOk) return status;
  SVFPlusData data;
  if (const int status = ReadProgrammingData(input.Path(), input.Label(), device, data);
      status != kExitOk)
    return status;
  int exit_status = kExitOk;
  JsonObject json;
  std::vector<std::string> pattern_results;
  const int shown = SVFPlus2CheckSum(&data, &device, 1);
  if (shown < 0) {
    ComplainStatus(input.Label(), "has no checksum for " + v.device, shown);
    return kExitInvalidInput;
  }
  Say("%s: verified for %s\n  checksum: %.4X", input.Label().c_str(), v.device.c_str(), shown);
  json.Add("file", input.Label()).Add("device", v.device).Add("checksum", Hex4(shown));
  if (!v.checksum.empty()) {
    const bool good = ValidDataChecksum(&data, &device, 1, static_cast<unsigned>(checksum)) == 1;
    Say(good ? " (matches)" : " (expected %.4lX: FAILED)", checksum);
    if (!good) exit_status = kExitDifferent;
    json.Add("checksum_expected", Hex4(static_cast<int>(checksum & 0xFFFF)))
        .Add("checksum_matches", good);
  }
  Say("\n");
  const std::string field =
      data.GetDataField("FuseArray_TDI") != nullptr ? "FuseArray_TDI" : "EFuseArray_TDI";
  std::vector<std::pair<int, bool>> patterns = {{0x00, false}, {0xFF, false}};
  if (!v.pattern.empty()) patterns = {{static_cast<int>(pattern), true}};
  for (const auto& [byte, asked] : patterns) {
    unsigned long first = 0;
    const int held = ValidDataPattern(&data, field.c_str(), byte, &first);
    const std::string name = byte == 0      ? "blank (all 0)"
                             : byte == 0xFF ? "all ones"
                                            : "pattern " + std::to_string(byte) + " repeated";
    pattern_results.push_back(
        JsonObject()
            .Add("byte", byte)
            .Add("asked", asked)
            .Add("holds", held == 1)
            .AddRaw("first_difference", held == 0 ? std::to_string(first) : "null")
            .Text());
    if (held < 0) {
      Say("  %s: no %s to check\n", name.c_str(), field.c_str());
      if (asked) exit_status = kExitDifferent;
    } else if (held == 1) {
      Say("  %s: yes\n", name.c_str());
    } else {
      Say("  %s: no, first difference at bit %lu%s\n", name.c_str(), first,
          asked ? ": FAILED" : "");
      if (asked) exit_status = kExitDifferent;
    }
  }
  if (!v.crc.empty()) {
    TemporaryFolderOf scratch({"tmpBitstream.bit"});
    unsigned short computed = 0;
    const int good = ValidVandiDataCRC(input.Path().c_str(), scratch.Folder().c_str(),
                                       static_cast<unsigned>(crc), &computed);
    if (good < 0) {
      ComplainStatus(input.Label(), "cannot be converted to compute its CRC", good);
      return kExitInvalidInput;
    }
    Say("  CRC: %.4X (%s)\n", computed, good == 1 ? "matches" : "FAILED");
    if (good != 1) exit_status = kExitDifferent;
    json.AddRaw("crc", JsonObject()
                           .Add("computed", Hex4(computed))
                           .Add("expected", Hex4(static_cast<int>(crc & 0xFFFF)))
                           .Add("matches", good == 1)
                           .Text());
  }
  if (JsonWanted()) {
    json.AddRaw("patterns", JsonArray(pattern_results)).Add("passed", exit_status == kExitOk);
    PrintJson(json.Text());
  }
  return exit_status;
}

}  // namespace

void AddCompareCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "compare",
      "Compare a file read back from a device with the reference: two JEDEC files fuse by fuse, "
      "two ISC files block by block, two bitstreams frame by frame, any other pair through the "
      "device's programming data");
  auto compare = std::make_shared<CompareOptions>();
  command->add_option("READ", compare->read, "the file under test ('-' for standard input)")
      ->required();
  command->add_option("REFERENCE", compare->reference, "the file it must match")->required();
  command
      ->add_option("-o,--output", compare->report,
                   "write the report to REPORT (default: standard output)")
      ->option_text("REPORT");
  command->add_option("--device", compare->device,
                      "the device both files are for (needed for bitstreams, images and pairs "
                      "of two formats)");
  command
      ->add_option("--png", compare->png,
                   "also draw the read file's fuses, those that differ marked in red")
      ->option_text("DIFF.png");
  command->add_flag("--by-address", compare->by_address,
                    "compare two JEDEC fuse maps by fuse address, whatever their layout, F "
                    "default and notes");
  command->callback(
      [&options, compare, &exit_status] { exit_status = Compare(options, *compare); });
}

void AddVerifyCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "verify", "Check a file's programming data: its checksum, blank and fill patterns, CRC");
  auto verify = std::make_shared<VerifyOptions>();
  command->add_option("FILE", verify->file, "the file ('-' for standard input)")->required();
  command->add_option("--device", verify->device, "the device the file is for")->required();
  command->add_option("--checksum", verify->checksum, "the 16-bit checksum it must have (hex)");
  command->add_option("--pattern", verify->pattern,
                      "the byte the main array must hold throughout (hex: 00 blank, FF all ones)");
  command->add_option("--crc", verify->crc, "for an image, the device CRC-16 it must have (hex)");
  command->callback([&options, verify, &exit_status] { exit_status = Verify(options, *verify); });
}

}  // namespace fusekit::cli
