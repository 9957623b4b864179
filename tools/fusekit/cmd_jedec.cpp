// fusekit check: a JEDEC file checked against a device.
#include <unistd.h>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <vector>

#include "tools/fusekit/jedec_support.h"
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
  std::printf("%s: %s\n", input.Label().c_str(),
              check.device.empty() ? "checked as a generic device"
                                   : ("checked as " + check.device).c_str());
  JEDECSummary summary;
  if (GetJEDECSummary(path.c_str(), &summary) == kStatusOk) {
    std::printf("  fuses %lu, pins %ld, security %d, usercode %s\n", summary.fuseCount,
                summary.pinCount, summary.security,
                summary.usercodeBits != 0 ? summary.usercode : "(none)");
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
  } else if (status != kStatusOk) {
    const std::string why = status == kStatusNoFuseData ? WhyFieldsEndEarly(path) : "";
    if (!why.empty()) {
      Complain(input.Label(), "cannot be read as a JEDEC file: " + why);
    } else {
      ComplainStatus(input.Label(), "does not fit the device", status);
    }
    return kExitInvalidInput;
  } else {
    std::printf("  fuse checksum: %s\n",
                summary.hasChecksum && summary.checksum != 0 ? "valid" : "none given");
  }
  unsigned short computed = 0;
  unsigned short stored = 0;
  if (ValidTransmissionChecksum(path.data(), &computed, &stored) == 1) {
    std::printf("  transmission checksum: %s\n", stored == 0 ? "none given" : "valid");
  } else {
    std::printf("  transmission checksum: computed %.4X, stored %.4X: invalid\n", computed, stored);
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
