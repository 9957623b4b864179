// fusekit extract: single values of a programming file, through the library's readers.
#include <cstdio>
#include <string>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/json.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {
namespace {

struct ExtractOptions {
  std::string file;
  std::string device;
  bool id = false;
  bool usercode = false;
  int control = -1;
  std::string fuses;
};

int Extract(const GlobalOptions& options, const ExtractOptions& extract) {
  const int wanted = (extract.id ? 1 : 0) + (extract.usercode ? 1 : 0) +
                     (extract.control >= 0 ? 1 : 0) + (extract.fuses.empty() ? 0 : 1);
  if (wanted != 1) {
    Complain("", "say one of --id, --usercode, --control N or --fuses OUT.txt");
    return kExitUsage;
  }
  if (OutputIsAnInput({extract.file}, extract.fuses)) return kExitUsage;
  InputFile input(extract.file);
  if (!input.Ready() || !Readable(input.Path(), input.Label())) return kExitInvalidInput;
  const std::string& path = input.Path();
  const std::string& label = input.Label();
  DeviceInfo device;
  if (const int status = DeviceByName(options, extract.device, device); status != kExitOk)
    return status;
  SVFPlusData data;
  if (!extract.fuses.empty()) {
    // The dump walks one row holding every fuse: the file is read for the device as one row of
    // all its fuses, and dumped with the device's own row width, one device row a line.
    if (DetectFormat(path) != FileFormat::kJedec) {
      Complain(label, "--fuses reads JEDEC files");
      return kExitUsage;
    }
    DeviceInfo one_row = device;
    one_row.SetAddressLength(1);
    one_row.SetDataLength(device.GetFuseNumber());
    one_row.SaveDeviceBackupValue();
    if (const int status = ReadProgrammingData(path, label, one_row, data); status != kExitOk)
      return status;
    OutputFile fuses(extract.fuses);
    if (!fuses.Ready()) return kExitInvalidInput;
    const int status = SVFPlus2XXX(fuses.Path().c_str(), &device, &data);
    if (status != 0) {
      ComplainStatus(fuses.Label(), "cannot be written", status);
      return kExitInvalidInput;
    }
    return fuses.Commit() ? kExitOk : kExitInvalidInput;
  }
  if (const int status = ReadProgrammingData(path, label, device, data); status != kExitOk)
    return status;
  std::string text(1024, '\0');
  const int status = extract.id         ? SVFPlus2ID(&data, text.data())
                     : extract.usercode ? SVFPlus2USERCODE(&device, 1, &data, text.data())
                                        : SVFPlus2CONTROL(&data, text.data(), extract.control);
  if (status != 1) {
    Complain(label, "holds no such value");
    return kExitInvalidInput;
  }
  if (JsonWanted()) {
    PrintJson(JsonObject()
                  .Add("file", label)
                  .Add("device", extract.device)
                  .Add(extract.id         ? "id"
                       : extract.usercode ? "usercode"
                                          : "control",
                       text.c_str())
                  .Text());
    return kExitOk;
  }
  std::printf("%s\n", text.c_str());
  return kExitOk;
}

}  // namespace

void AddExtractCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "extract",
      "Show one value of a JEDEC or ISC file: identifier, usercode, control register or fuses");
  auto extract = std::make_shared<ExtractOptions>();
  command->add_option("FILE", extract->file, "the file ('-' for standard input)")->required();
  command->add_option("--device", extract->device, "the device of the database")->required();
  command->add_flag("--id", extract->id, "the device identifier");
  command->add_flag("--usercode", extract->usercode, "the usercode");
  command->add_option("--control", extract->control,
                      "control register N (0, 1; 3: user-mode register)");
  command->add_option("--fuses", extract->fuses, "write the fuse array to OUT.txt as 0/1 digits")
      ->option_text("OUT.txt");
  command->callback(
      [&options, extract, &exit_status] { exit_status = Extract(options, *extract); });
}

}  // namespace fusekit::cli
