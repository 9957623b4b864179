// fusekit dump: a listing of a file: the hex dump, or with --device the frames of a bitstream.
#include <cstdio>
#include <string>

#include "tools/fusekit/bitstream_support.h"
#include "tools/fusekit/cli.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {
namespace {

struct DumpOptions {
  std::string input;
  std::string output;
  std::string device;
  bool ebr = false;
  std::string mask;
};

int Dump(const GlobalOptions& options, const DumpOptions& dump) {
  if (OutputIsAnInput({dump.input, dump.mask}, dump.output)) return kExitUsage;
  InputFile input(dump.input);
  if (!input.Ready() || !Readable(input.Path(), input.Label(), true)) return kExitInvalidInput;
  DeviceInfo device;
  if (!dump.device.empty()) {
    if (const int status = DeviceByName(options, dump.device, device); status != kExitOk)
      return status;
  }
  OutputFile listing(dump.output);
  if (!listing.Ready()) return kExitInvalidInput;
  int result;
  if (dump.device.empty()) {
    result = fnBITFileDisplay(input.Path().c_str(), listing.Path().c_str());
  } else {
    std::string name = input.Path();
    if (dump.ebr) {
      result = fnEBRFileDisplay(name.data(), &device, listing.Path().c_str(), dump.mask.c_str(),
                                nullptr);
    } else if (IsAsciiBitstreamName(dump.input)) {
      result = fnRBTFileDisplay(name.data(), &device, listing.Path().c_str(), nullptr);
    } else {
      result = fnBITFileDisplay(name.data(), &device, listing.Path().c_str(), nullptr);
    }
  }
  if (result == kStatusWriteFailed) {
    ComplainStatus(listing.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  // A listing that failed still says why at its end: it goes out too.
  if (!listing.Commit()) return kExitInvalidInput;
  if (result < 0) {
    ComplainStatus(input.Label(), "cannot be listed", result);
    return kExitInvalidInput;
  }
  return kExitOk;
}

}  // namespace

void AddDumpCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command =
      app.add_subcommand("dump", "List a file in hex, or with --device the frames of a bitstream");
  auto dump = std::make_shared<DumpOptions>();
  command->add_option("FILE", dump->input, "the file")->required();
  command->add_option("-o,--output", dump->output, "where the listing goes (default: stdout)");
  command->add_option("--device", dump->device,
                      "list the frames of a .bit/.rbk/.msk/.rbt/.rbka/.mska file for this device");
  command->add_flag("--ebr", dump->ebr, "list the user flash (EBR) data of a .bit file");
  command->add_option("--mask", dump->mask, "with --ebr: a mask bitstream selecting the bits");
  command->callback([&options, dump, &exit_status] { exit_status = Dump(options, *dump); });
}

}  // namespace fusekit::cli
