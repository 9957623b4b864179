// fusekit map: a picture of a file's programming data, fuse by fuse.
#include <cstdio>
#include <string>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/fuse_map_png.h"
#include "tools/fusekit/jedec_support.h"
#include "tools/fusekit/output_file.h"

namespace fusekit::cli {

int ReadForPicture(const GlobalOptions& options, const std::string& path, const std::string& label,
                   const std::string& device_name, SVFPlusData& data) {
  DeviceInfo device;
  if (device_name.empty()) {
    if (DetectFormat(path) != FileFormat::kJedec) {
      Complain(label, "name its device with --device to draw its fuses");
      return kExitUsage;
    }
    if (const int status = DeviceForJedec(options, "", path, label, device); status != kExitOk)
      return status;
  } else if (const int status = DeviceByName(options, device_name, device); status != kExitOk) {
    return status;
  }
  return ReadProgrammingData(path, label, device, data);
}

int WritePicture(const std::string& target, const SVFPlusData& data, const SVFPlusData* other) {
  OutputFile output(target);
  if (!output.Ready()) return kExitInvalidInput;
  std::string error;
  if (!WriteFuseMapPng(output.Path(), data, other, error)) {
    Complain(output.Label(), error);
    return kExitInvalidInput;
  }
  return output.Commit() ? kExitOk : kExitInvalidInput;
}

namespace {

struct MapOptions {
  std::string file;
  std::string device;
  std::string output;
};

int Map(const GlobalOptions& options, const MapOptions& m) {
  if (OutputIsAnInput({m.file}, m.output)) return kExitUsage;
  InputFile input(m.file);
  if (!input.Ready() || !Readable(input.Path(), input.Label())) return kExitInvalidInput;
  SVFPlusData data;
  if (const int status = ReadForPicture(options, input.Path(), input.Label(), m.device, data);
      status != kExitOk)
    return status;
  const int status = WritePicture(m.output, data, nullptr);
  if (status == kExitOk) Say("%s: fuse map drawn\n", m.output.c_str());
  return status;
}

}  // namespace

void AddMapCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "map", "Draw a file's fuses as a PNG picture: each array and block, 1 and 0 in two colours");
  auto map = std::make_shared<MapOptions>();
  command->add_option("FILE", map->file, "the file ('-' for standard input)")->required();
  command->add_option("--device", map->device,
                      "the device the file is for (a JEDEC file can go without)");
  command->add_option("-o,--output", map->output, "the PNG file to write")
      ->required()
      ->option_text("MAP.png");
  command->callback([&options, map, &exit_status] { exit_status = Map(options, *map); });
}

}  // namespace fusekit::cli
