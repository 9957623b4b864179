// fusekit info: what a programming file holds.
#include <cstdio>
#include <fstream>
#include <vector>

#include "tools/fusekit/cli.h"

namespace fusekit::cli {
namespace {

bool LooksLikeJedec(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  char buffer[4096];
  in.read(buffer, sizeof buffer);
  const std::string head(buffer, static_cast<std::size_t>(in.gcount()));
  return head.find('\x02') != std::string::npos;
}

void Field(const char* name, int given, long value, const char* format = "%ld") {
  std::printf("  %-24s", name);
  if (given == 0) {
    std::printf("(none)\n");
    return;
  }
  std::printf(format, value);
  std::printf("\n");
}

int JedecInfo(const InputFile& input) {
  std::string path = input.Path();
  JEDECSummary s;
  const int status = GetJEDECSummary(path.c_str(), &s);
  if (status != kStatusOk) {
    ComplainStatus(input.Label(), "cannot be read as a JEDEC file", status);
    return kExitInvalidInput;
  }
  std::printf("%s: JEDEC fuse map\n", input.Label().c_str());
  Field("QF (fuses)", s.hasFuseCount, static_cast<long>(s.fuseCount));
  Field("QP (pins)", s.hasPinCount, s.pinCount);
  Field("F (default fuse)", s.hasDefaultFuse, s.defaultFuse);
  Field("G (security)", s.hasSecurity, s.security);
  Field("C (fuse checksum)", s.hasChecksum, static_cast<long>(s.checksum), "%.4lX");
  Field("E field bits", s.eLength != 0, static_cast<long>(s.eLength));
  std::printf("  %-24s%s\n", "usercode (U)", s.usercodeBits != 0 ? s.usercode : "(none)");
  const int ufm = GetJEDEC_UFM(path.data());
  std::printf("  %-24s%s\n", "user flash image",
              ufm < 0 ? "(none)" : ("UFM" + std::to_string(ufm)).c_str());
  const std::string jed_name = path;  // the data-section queries want a ".jed" name
  for (const auto& [name, query] : {std::pair{"END data at fuse", &GetJEDEC_ENDDATA_NOTE},
                                    std::pair{"EBR data at fuse", &GetJEDEC_EBRDATA_NOTE},
                                    std::pair{"TAG data at fuse", &GetJEDEC_TAGDATA_NOTE}}) {
    std::string copy = jed_name;
    const int address = query(copy.data());
    Field(name, address != 0, address);
  }
  std::printf("  %-24s%s\n", "encrypted", GetJEDEC_Encrypted(path.data()) != 0 ? "yes" : "no");
  for (const auto& [name, query] :
       {std::pair{"first frame CRC", &GetJEDEC_FirstFrameCRC},
        std::pair{"frames CRC", &GetJEDEC_FramesCRC},
        std::pair{"first chain frame CRC", &GetJEDEC_FirstChainFrameCRC},
        std::pair{"chain frames CRC", &GetJEDEC_ChainFramesCRC}}) {
    const int crc = query(path.data());
    Field(name, crc != 0, crc, "%.8lX");
  }
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const auto size = static_cast<std::size_t>(in.tellg() > 0 ? static_cast<long>(in.tellg()) : 0);
  std::vector<char> header(2 * size + 1, '\0');  // the header text never exceeds twice the file
  ParseJEDECHeader(header.data(), path.c_str(), true);
  std::printf("  header:\n%s", header.data());
  return kExitOk;
}

int Info(const std::string& argument) {
  InputFile input(argument);
  if (!input.Ready() || !IsFileReadable(input.Path().c_str())) {
    Complain(input.Label(), "cannot be opened for reading");
    return kExitInvalidInput;
  }
  if (LooksLikeJedec(input.Path())) return JedecInfo(input);
  Complain(input.Label(),
           "is not a file this command knows (a JEDEC file starts its fields with STX)");
  return kExitInvalidInput;
}

}  // namespace

void AddInfoCommand(CLI::App& app, const GlobalOptions& /*options*/, int& exit_status) {
  CLI::App* command = app.add_subcommand("info", "Show what a programming file holds");
  auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "the file ('-' for standard input)")->required();
  command->callback([file, &exit_status] { exit_status = Info(*file); });
}

}  // namespace fusekit::cli
