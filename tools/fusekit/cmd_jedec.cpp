// fusekit check: a JEDEC file checked against a device.
#include <unistd.h>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <vector>

#include "tools/fusekit/jedec_support.h"
#include "tools/fusekit/json.h"
#include "tools/fusekit/json_reports.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {
namespace {

struct CheckOptions {
  std::string file;
  std::string device;
};

void PrintNotes(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const auto size = static_cast<std::size_t>(in.tellg() > 0 ? static_cast<long>(in.tellg()) : 0);
  std::vector<char> header(2 * size + 1, '\0');  // the header text never exceeds twice the file
  ParseJEDECHeader(header.data(), path.c_str(), false);
  std::printf("  header:\n");
  const std::string text(header.data());
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    std::printf("    %s\n", text.substr(start, end - start).c_str());
    start = end == std::string::npos ? text.size() : end + 1;
  }
}

int Check(const GlobalOptions& options, const CheckOptions& check) {
  InputFile input(check.file);
  if (!input.Ready() || !Readable(input.Path(), input.Label())) return kExitInvalidInput;
  std::string path = input.Path();
  DeviceInfo device;
  const int device_status = DeviceForJedec(options, check.device, path, input.Label(), device);
  if (device_status != kExitOk) return device_status;

  const int status = VerifyJEDECfile(path.data(), &device, 1);
  Say("%s: %s\n", input.Label().c_str(),
      check.device.empty() ? "checked as a generic device"
                           : ("checked as " + check.device).c_str());
  JsonObject json;
  json.Add("file", input.Label()).Add("device", check.device.empty() ? "generic" : check.device);
  JEDECSummary summary;
  if (GetJEDECSummary(path.c_str(), &summary) == kStatusOk) {
    json.Add("fuses", summary.fuseCount).Add("pins", summary.pinCount);
    json.Add("security", summary.security);
    json.AddRaw("usercode", summary.usercodeBits != 0 ? JsonString(summary.usercode) : "null");
    Say("  fuses %lu, pins %ld, security %d, usercode %s\n", summary.fuseCount, summary.pinCount,
        summary.security, summary.usercodeBits != 0 ? summary.usercode : "(none)");
  }
  int exit_status = kExitOk;
  if (status == kStatusChecksumMismatch) {
    const long computed = ComputedFuseChecksum(path, device);
    char values[64] = "";
    if (computed >= 0)
      std::snprintf(values, sizeof values, ": C stored %04lX, computed %04lX", summary.checksum,
                    static_cast<unsigned long>(computed));
    Complain(input.Label(),
             std::string("the fuse checksum (C field) does not match the fuses") + values);
    exit_status = kExitDifferent;
    json.Add("fuse_checksum", "invalid").Add("fuse_checksum_stored", Hex(summary.checksum, 4));
    json.AddRaw("fuse_checksum_computed",
                computed >= 0 ? JsonString(Hex(static_cast<unsigned long>(computed), 4)) : "null");
  } else if (status != kStatusOk) {
    const std::string why = status == kStatusNoFuseData ? WhyFieldsEndEarly(path) : "";
    if (!why.empty()) {
      Complain(input.Label(), "cannot be read as a JEDEC file: " + why);
    } else {
      ComplainStatus(input.Label(), "does not fit the device", status);
    }
    return kExitInvalidInput;
  } else {
    const bool given = summary.hasChecksum && summary.checksum != 0;
    Say("  fuse checksum: %s\n", given ? "valid" : "none given");
    json.Add("fuse_checksum", given ? "valid" : "none");
  }
  unsigned short computed = 0;
  unsigned short stored = 0;
  const bool transmission_valid = ValidTransmissionChecksum(path.data(), &computed, &stored) == 1;
  json.AddRaw("transmission_checksum", JsonObject()
                                           .Add("computed", Hex(computed, 4))
                                           .Add("stored", Hex(stored, 4))
                                           .Add("valid", transmission_valid)
                                           .Text());
  if (transmission_valid) {
    Say("  transmission checksum: %s\n", stored == 0 ? "none given" : "valid");
  } else {
    Say("  transmission checksum: computed %.4X, stored %.4X: invalid\n", computed, stored);
    const std::string fits = LineEndConversionThatFits(path);
    const std::string five = FiveDigitChecksumHint(path, computed);
    Complain(input.Label(),
             !five.empty() ? five
             : fits.empty()
                 ? "the transmission checksum does not match"
                 : "the transmission checksum does not match, but it would with the line ends "
                   "converted " +
                       fits +
                       ": the file's line ends were probably converted after it was written");
    exit_status = kExitDifferent;
  }
  if (JsonWanted()) {
    json.Add("passed", exit_status == kExitOk);
    PrintJson(json.Text());
    return exit_status;
  }
  PrintNotes(path);
  return exit_status;
}

}  // namespace

void AddCheckCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "check", "Check a JEDEC file: fuse count, C checksum and transmission checksum");
  auto check = std::make_shared<CheckOptions>();
  command->add_option("FILE", check->file, "the JEDEC file ('-' for standard input)")->required();
  command->add_option("--device", check->device, "check against this device of the database");
  command->callback([&options, check, &exit_status] { exit_status = Check(options, *check); });
}

}  // namespace fusekit::cli
