// Shared pieces of the fusekit commands.
#include "tools/fusekit/cli.h"

#include "tools/fusekit/json.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace fusekit::cli {

void Say(const char* format, ...) {
  if (JsonWanted()) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stdout, format, arguments);
  va_end(arguments);
}

void Complain(const std::string& file, const std::string& what) {
  std::cerr << "fusekit: " << (file.empty() ? "" : file + ": ") << what << '\n';
}

namespace {

struct Meaning {
  const char* function;  // null: any function
  int status;
  const char* text;
};

// The statuses whose meaning depends on the function that returns them, as their headers give
// them, and the results of the bitstream model, which every bitstream function passes on.
constexpr Meaning kMeanings[] = {
    {"ISC2SVFPlus", -2,
     "the file cannot be opened, a \"(\" is missing, or a keyword or block is unknown"},
    {"ISC2SVFPlus", -3, "a field or row cannot be made"},
    {"ISC2SVFPlus", -13, "a syntax error inside a block"},
    {"ISC2SVFPlus", -16,
     "the device has no length for one of the file's blocks, or the file ends early"},
    {"ISC2SVFPlus", -17, "the file names another standard"},
    {"FEA2SVFPlus", -12, "its notes name another device"},
    {"FEA2SVFPlus", -13,
     "it is not a feature-row file: a line that is no note, keyword or bits, a keyword given "
     "twice, or no FEATURE_ROW"},
    {"Ini2SVFPlus", -13, "the settings file has problems (listed above); nothing was applied"},
    {"JEDEC2SVFPlus", -1,
     "the file cannot be read as a JEDEC file for the device (its fuse count, checksum or fields)"},
    {"JEDEC2ISC", -1,
     "the file cannot be read as a JEDEC file for the device (its fuse count, checksum or fields)"},
    {"VerifyJEDECfile", -2, "its fuse count does not match the device"},
    {"fnJEDFileCompare", -2,
     "the compare was abandoned: QF or the first L address differ, an E field is in one file only, "
     "or a field is malformed"},
    {"fnJEDFileCompare", -4, "a file has no STX"},
    {nullptr, -40, "the file cannot be opened"},
    {nullptr, -41, "a binary bitstream must begin with FF 00 (after its lead-ins)"},
    {nullptr, -42, "no FF closes the bitstream's comment block"},
    {nullptr, -43, "the last comment entry of the bitstream has no NUL"},
    {nullptr, -44, "the bitstream's preamble is not followed by the synchronisation word BA B3"},
    {nullptr, -45, "the bitstream holds an opcode the device's command table does not have"},
    {nullptr, -46, "a bitstream command runs past the end of the file"},
    {nullptr, -47, "the device's bitstream command table cannot be read"},
    {nullptr, -48, "the ASCII bitstream has no data lines"},
    {nullptr, -50, "the bitstream generator cannot write its file"},
    {nullptr, -51, "the bitstream names a frame the command table does not have"},
    {nullptr, -52, "the file could not be written whole"},
};

}  // namespace

std::string StatusMeaning(int status, const char* function) {
  for (const Meaning& m : kMeanings) {
    if (m.status != status) continue;
    if (m.function == nullptr || (function != nullptr && std::strcmp(m.function, function) == 0))
      return m.text;
  }
  return StatusText(status);
}

void ComplainStatus(const std::string& file, const std::string& what, int status,
                    const char* function) {
  Complain(file, what + " (status " + std::to_string(status) + ": " +
                     StatusMeaning(status, function) + ")");
}

bool Readable(const std::string& path, const std::string& label, bool empty_is_fine) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) {
    Complain(label, errno == ENOENT
                        ? "does not exist"
                        : std::string("cannot be opened for reading: ") + std::strerror(errno));
    return false;
  }
  if (S_ISDIR(info.st_mode)) {
    Complain(label, "is a directory, not a file");
    return false;
  }
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    Complain(label, std::string("cannot be opened for reading: ") + std::strerror(errno));
    return false;
  }
  const bool empty = !empty_is_fine && S_ISREG(info.st_mode) && info.st_size == 0;
  std::fclose(file);
  if (empty) {
    Complain(label, "file is empty");
    return false;
  }
  return true;
}

bool LoadDatabase(const GlobalOptions& options, DeviceDatabase& database) {
  if (options.device_db.empty()) {
    const int status = database.LoadDefault();
    if (status != kStatusOk)
      ComplainStatus("built-in device database", database.GetLastError(), status);
    return status == kStatusOk;
  }
  const int status = database.LoadFile(options.device_db.c_str());
  if (status == kStatusReadFailed) {
    Complain(options.device_db, "cannot open the device database");
  } else if (status != kStatusOk) {
    ComplainStatus(options.device_db, database.GetLastError(), status);
  }
  return status == kStatusOk;
}

int DeviceByName(const GlobalOptions& options, const std::string& name, DeviceInfo& device) {
  DeviceDatabase database;
  if (!LoadDatabase(options, database)) return kExitInvalidInput;
  const DeviceInfo* found = database.FindDevice(name.c_str());
  if (found == nullptr) {
    Complain("", "no device named " + name + " in the device database");
    return kExitUsage;
  }
  device = *found;
  return kExitOk;
}

InputFile::InputFile(std::string argument) : path_(std::move(argument)), label_(path_) {
  if (path_ != "-") return;
  label_ = "standard input";
  temporary_ = std::make_unique<TemporaryFile>("", "stdin", "");
  std::FILE* out = temporary_->Ready() ? std::fopen(temporary_->Path().c_str(), "wb") : nullptr;
  if (out == nullptr) {
    ready_ = false;
    return;
  }
  path_ = temporary_->Path();
  char buffer[65536];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, stdin)) > 0) {
    if (std::fwrite(buffer, 1, got, out) != got) ready_ = false;
  }
  if (std::ferror(stdin)) ready_ = false;
  if (std::fclose(out) != 0) ready_ = false;
}

InputFile::~InputFile() = default;

}  // namespace fusekit::cli
