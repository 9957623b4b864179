// The commands that write JEDEC files: usercode, merge and split.
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <list>
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

struct UsercodeOptions {
  std::string file;
  std::string value;
  std::string output;
  std::string device;
};

int Usercode(const GlobalOptions& options, const UsercodeOptions& given) {
  UsercodeOptions u = given;
  InputFile input(given.file);
  if (!input.Ready() || !Readable(input.Path(), input.Label())) return kExitInvalidInput;
  // Standard input cannot be edited in place: its file goes to standard output then.
  if (given.file == "-" && u.output.empty()) u.output = "-";
  u.file = input.Path();
  DeviceInfo device;
  if (const int status = DeviceForJedec(options, u.device, u.file, input.Label(), device);
      status != kExitOk)
    return status;
  const unsigned bits =
      device.GetjtagLogicalUESLength() != 0 ? device.GetjtagLogicalUESLength() : 32;
  std::vector<char> hex(bits / 4 + 8);
  const int parsed = ues_edit_read_num(u.value.c_str(), bits, hex.data());
  if (parsed == -9) {
    Complain("", "usercode " + u.value + " does not fit in " + std::to_string(bits) + " bits");
    return kExitUsage;
  }
  if (parsed != 0) {
    Complain("", "usercode " + u.value +
                     " is not a number: write hex (0x1A2B or 1A2Bh), binary (0b1010), decimal "
                     "(1234) or quoted text ('AB12')");
    return kExitUsage;
  }
  // Without -o the file is edited in place, through a complete copy renamed over it.
  OutputFile output(u.output.empty() ? u.file : u.output);
  if (!u.output.empty() && OutputIsAnInput({given.file}, u.output)) return kExitUsage;
  if (!output.Ready()) return kExitInvalidInput;
  char old_usercode[256] = "";
  const int result =
      WriteUESInfo(u.file.c_str(), output.Path().c_str(), &device, 1, hex.data(), old_usercode);
  if (result < 0) {
    ComplainStatus(result == kStatusWriteFailed ? output.Label() : u.file,
                   result == kStatusWriteFailed ? "cannot be written" : "cannot be edited", result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  // The file itself may be on standard output: the note then goes to standard error.
  std::fprintf(output.ToStandardOutput() ? stderr : stdout, "%s: usercode %s (was %s)\n",
               output.Label().c_str(), hex.data(), old_usercode[0] != '\0' ? old_usercode : "none");
  return kExitOk;
}

struct ChainOptions {
  std::string output;
  std::vector<std::string> inputs;
  std::string device;
  std::string prefix;
};

// Each input must fit the device when one is named.
int CheckAgainstDevice(const GlobalOptions& options, const ChainOptions& c) {
  if (c.device.empty()) return kExitOk;
  DeviceInfo device;
  if (const int status = DeviceByName(options, c.device, device); status != kExitOk) return status;
  for (const std::string& input : c.inputs) {
    std::string name = input;
    const int status = VerifyJEDECfile(name.data(), &device, 1);
    if (status != 0) {
      ComplainStatus(input, "does not fit " + c.device, status);
      return kExitInvalidInput;
    }
  }
  return kExitOk;
}

int Merge(const GlobalOptions& options, const ChainOptions& c) {
  if (OutputIsAnInput(c.inputs, c.output)) return kExitUsage;
  if (const int status = CheckAgainstDevice(options, c); status != kExitOk) return status;
  OutputFile output(c.output);
  if (!output.Ready()) return kExitInvalidInput;
  std::list<std::string> inputs(c.inputs.begin(), c.inputs.end());
  const int result = MergeTavrelJedecFiles(inputs, output.Path().c_str());
  if (result < 0) {
    ComplainStatus(
        result == kStatusWriteFailed ? output.Label() : "",
        result == kStatusWriteFailed ? "cannot be written" : "the files cannot be merged", result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: %zu devices merged\n", output.Label().c_str(), c.inputs.size());
  return kExitOk;
}

// The devices a merged chain file describes: its "NOTE DEVICE <n> QF..." notes.
std::size_t DevicesOfChain(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  if (error) return 0;
  std::vector<char> header(static_cast<std::size_t>(size) * 2 + 1, '\0');
  ParseJEDECHeader(header.data(), path.c_str(), false);
  std::size_t devices = 0;
  std::string line;
  for (const char* p = header.data(); *p != '\0'; ++p) {
    if (*p != '\n') {
      line += *p;
      continue;
    }
    if (line.rfind("NOTE DEVICE ", 0) == 0 && line.find(" QF") != std::string::npos) ++devices;
    line.clear();
  }
  return devices;
}

int Split(const GlobalOptions& options, const ChainOptions& c) {
  if (c.inputs.size() != 1) {
    Complain("", "split takes one merged file");
    return kExitUsage;
  }
  const std::string input = c.inputs.front();
  if (!Readable(input, input)) return kExitInvalidInput;
  std::string prefix = c.prefix;
  if (prefix.empty()) {
    const std::size_t dot = input.find_last_of('.');
    prefix = dot != std::string::npos && input.find('/', dot) == std::string::npos
                 ? input.substr(0, dot)
                 : input;
  }
  // The pieces are written into a folder beside them and moved into place once all are done.
  const std::string folder = std::filesystem::path(prefix + "_").parent_path().string();
  std::string work = (folder.empty() ? std::string(".") : folder) + "/.fusekit-split-XXXXXX";
  if (mkdtemp(work.data()) == nullptr) {
    Complain(prefix, "cannot be written: its folder cannot take a work folder");
    return kExitInvalidInput;
  }
  DeviceInfo device;
  if (!c.device.empty()) {
    if (const int status = DeviceByName(options, c.device, device); status != kExitOk)
      return status;
  }
  std::list<std::string> pieces;
  for (std::size_t n = 1; n <= DevicesOfChain(input); ++n)
    pieces.push_back(work + "/" + std::to_string(n) + ".jed");
  const int result = SplitTavrelJedecFiles(input.c_str(), pieces);
  int exit_status = kExitOk;
  std::size_t n = 0;
  for (const std::string& piece : pieces) {
    if (result < 0) break;
    const std::string target = prefix + "_" + std::to_string(++n) + ".jed";
    if (std::rename(piece.c_str(), target.c_str()) != 0) {
      Complain(target, "cannot be written");
      exit_status = kExitInvalidInput;
      break;
    }
    std::printf("%s: device %zu\n", target.c_str(), n);
    std::string written = target;
    if (!c.device.empty() && VerifyJEDECfile(written.data(), &device, 1) != 0) {
      Complain(target, "does not fit " + c.device);
      exit_status = kExitInvalidInput;
    }
  }
  if (result < 0) {
    ComplainStatus(input, "cannot be split into its devices", result);
    exit_status = kExitInvalidInput;
  }
  std::error_code ignored;
  std::filesystem::remove_all(work, ignored);
  return exit_status;
}

}  // namespace

void AddJedecWriteCommands(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* usercode = app.add_subcommand(
      "usercode", "Set the usercode of a JEDEC file (hex, binary, decimal or quoted text)");
  auto u = std::make_shared<UsercodeOptions>();
  usercode->add_option("FILE", u->file, "the JEDEC file")->required();
  usercode->add_option("VALUE", u->value, "the usercode: 0x1A2B, 1A2Bh, 0b1010, 1234, 'AB12'")
      ->required();
  usercode->add_option("-o,--output", u->output, "write to OUT.jed (default: FILE itself)")
      ->option_text("OUT.jed");
  usercode->add_option("--device", u->device, "the device of the database (its usercode length)");
  usercode->callback([&options, u, &exit_status] { exit_status = Usercode(options, *u); });

  CLI::App* merge =
      app.add_subcommand("merge", "Merge the JEDEC files of the devices of one chain into one");
  auto m = std::make_shared<ChainOptions>();
  merge->add_option("OUT", m->output, "the merged file")->required();
  merge->add_option("IN", m->inputs, "the files of the devices, in chain order")->required();
  merge->add_option("--device", m->device, "check every file against this device first");
  merge->callback([&options, m, &exit_status] { exit_status = Merge(options, *m); });

  CLI::App* split =
      app.add_subcommand("split", "Split a merged chain file into its devices' files");
  auto s = std::make_shared<ChainOptions>();
  split->add_option("IN", s->inputs, "the merged file")->required();
  split->add_option("-o,--output", s->prefix, "name the files PREFIX_1.jed, PREFIX_2.jed, ...")
      ->option_text("PREFIX");
  split->add_option("--device", s->device, "check every device's file against this device");
  split->callback([&options, s, &exit_status] { exit_status = Split(options, *s); });
}

}  // namespace fusekit::cli
