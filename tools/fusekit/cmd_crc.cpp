// fusekit crc: the CRC-16 and checksums of a file.
#include <cstdio>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/json.h"

namespace fusekit::cli {
namespace {

// True when the file holds an STX followed later by an ETX, the frame of a JEDEC file.
bool HasTransmissionFrame(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  int wanted = 0x02;
  int c;
  while ((c = std::getc(file)) != EOF) {
    if (c != wanted) continue;
    if (wanted == 0x03) break;
    wanted = 0x03;
  }
  std::fclose(file);
  return c == 0x03;
}

int CrcJson(const InputFile& input) {
  const char* path = input.Path().c_str();
  JsonObject out;
  char hex[16];
  out.Add("file", input.Label());
  std::snprintf(hex, sizeof hex, "%04X", GetFileCRC16(path));
  out.Add("crc16", hex);
  std::snprintf(hex, sizeof hex, "%04X", GetBinaryFileChecksum16(path, false));
  out.Add("checksum16", hex);
  int status = kExitOk;
  if (HasTransmissionFrame(input.Path())) {
    unsigned short computed = 0, stored = 0;
    std::string name = input.Path();
    const bool valid = ValidTransmissionChecksum(name.data(), &computed, &stored) != 0;
    char computed_text[8], stored_text[8];
    std::snprintf(computed_text, sizeof computed_text, "%04X", computed);
    std::snprintf(stored_text, sizeof stored_text, "%04X", stored);
    out.AddRaw("transmission_checksum", JsonObject()
                                            .Add("computed", computed_text)
                                            .Add("stored", stored_text)
                                            .Add("valid", valid)
                                            .Text());
    if (!valid) status = kExitDifferent;
  } else {
    out.AddRaw("transmission_checksum", "null");
  }
  PrintJson(out.Text());
  return status;
}

int ShowCrc(const std::string& argument) {
  InputFile input(argument);
  if (!input.Ready()) {
    Complain(input.Label(), "cannot be read");
    return kExitInvalidInput;
  }
  if (!Readable(input.Path(), input.Label(), true)) return kExitInvalidInput;
  const char* path = input.Path().c_str();
  if (JsonWanted()) return CrcJson(input);
  std::printf("%s\n", input.Label().c_str());
  std::printf("  CRC-16 (as the ISC writer computes it): %.4X\n", GetFileCRC16(path));
  std::printf("  16-bit binary checksum:                 %.4X\n",
              GetBinaryFileChecksum16(path, false));
  if (!HasTransmissionFrame(input.Path())) {
    std::printf("  transmission checksum:                  none (no STX ... ETX frame)\n");
    return kExitOk;
  }
  unsigned short computed = 0;
  unsigned short stored = 0;
  std::string name = input.Path();
  const int valid = ValidTransmissionChecksum(name.data(), &computed, &stored);
  const char* verdict = valid == 0 ? "invalid" : stored == 0 ? "valid (none stored)" : "valid";
  std::printf("  transmission checksum:                  computed %.4X, stored %.4X: %s\n",
              computed, stored, verdict);
  if (valid == 0) {
    Complain(input.Label(), "the transmission checksum does not match");
    return kExitDifferent;
  }
  return kExitOk;
}

}  // namespace

void AddCrcCommand(CLI::App& app, const GlobalOptions& /*options*/, int& exit_status) {
  CLI::App* command = app.add_subcommand(
      "crc", "Show a file's CRC-16, its 16-bit checksum and its JEDEC transmission checksum");
  auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "the file ('-' for standard input)")->required();
  command->callback([file, &exit_status] { exit_status = ShowCrc(*file); });
}

}  // namespace fusekit::cli
