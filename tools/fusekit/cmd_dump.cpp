// fusekit dump: a listing of a file: the hex dump, or with --device the frames of a bitstream.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tools/fusekit/bitstream_support.h"
#include "tools/fusekit/cli.h"

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
  InputFile input(dump.input);
  if (!input.Ready() || !IsFileReadable(input.Path().c_str())) {
    Complain(input.Label(), "cannot be opened for reading");
    return kExitInvalidInput;
  }
  const bool to_stdout = dump.output.empty() || dump.output == "-";
  const std::string listing =
      to_stdout ? (std::filesystem::temp_directory_path() / "fusekit-dump.txt").string()
                : dump.output;
  int result;
  if (dump.device.empty()) {
    result = fnBITFileDisplay(input.Path().c_str(), listing.c_str());
  } else {
    DeviceInfo device;
    if (const int status = DeviceByName(options, dump.device, device); status != kExitOk)
      return status;
    std::string name = dump.input;
    if (dump.ebr) {
      result = fnEBRFileDisplay(name.data(), &device, listing.c_str(), dump.mask.c_str(), nullptr);
    } else if (IsAsciiBitstreamName(dump.input)) {
      result = fnRBTFileDisplay(name.data(), &device, listing.c_str(), nullptr);
    } else {
      result = fnBITFileDisplay(name.data(), &device, listing.c_str(), nullptr);
    }
  }
  if (to_stdout) {
    std::ifstream in(listing, std::ios::binary);
    std::cout << in.rdbuf();
    std::remove(listing.c_str());
  }
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
