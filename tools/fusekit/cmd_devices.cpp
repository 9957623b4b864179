// fusekit devices: the records of the device database.
#include <cstdio>
#include <string>
#include <vector>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/json.h"

namespace fusekit::cli {
namespace {

// JTAG devices are known by their 32-bit IDCODE, older ones by a one-byte identifier.
std::string IdentifierText(const DeviceInfo& device) {
  char text[16];
  if (device.GetIDLength() == 32) {
    std::snprintf(text, sizeof text, "0x%08X", device.GetjtagDeviceID());
  } else {
    std::snprintf(text, sizeof text, "0x%02X", device.GetispDeviceID() & 0xFFu);
  }
  return text;
}

int ListDevices(const GlobalOptions& options) {
  DeviceDatabase database;
  if (!LoadDatabase(options, database)) return kExitInvalidInput;
  if (JsonWanted()) {
    std::vector<std::string> devices;
    for (int i = 0; i < database.GetDeviceCount(); ++i) {
      const DeviceInfo& device = *database.GetDevice(i);
      devices.push_back(JsonObject()
                            .Add("name", device.GetName())
                            .Add("family", device.GetFamily())
                            .Add("fuses", device.GetFuseNumber())
                            .Add("id", IdentifierText(device))
                            .Text());
    }
    PrintJson(JsonObject().AddRaw("devices", JsonArray(devices)).Text());
    return kExitOk;
  }
  std::printf("%-12s %-16s %10s  %s\n", "NAME", "FAMILY", "FUSES", "ID");
  for (int i = 0; i < database.GetDeviceCount(); ++i) {
    const DeviceInfo& device = *database.GetDevice(i);
    std::printf("%-12s %-16s %10u  %s\n", device.GetName(), device.GetFamily(),
                device.GetFuseNumber(), IdentifierText(device).c_str());
  }
  return kExitOk;
}

}  // namespace

void AddDevicesCommand(CLI::App& app, const GlobalOptions& options, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "devices", "List the device records: name, family, fuse count and identifier");
  command->callback([&options, &exit_status] { exit_status = ListDevices(options); });
}

}  // namespace fusekit::cli
