// Shared pieces of the fusekit commands.
#include "tools/fusekit/cli.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace fusekit::cli {

void Complain(const std::string& file, const std::string& what) {
  std::cerr << "fusekit: " << (file.empty() ? "" : file + ": ") << what << '\n';
}

void ComplainStatus(const std::string& file, const std::string& what, int status) {
  Complain(file, what + " (status " + std::to_string(status) + ": " + StatusText(status) + ")");
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
