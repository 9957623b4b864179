// DeviceDatabase: loading from a file, a text or the default database built into the library.
#include <cctype>
#include <cstdio>
#include <new>
#include <string>

#include "fusekit/devicedb.h"
#include "support/devicedb/json_loader.h"

namespace fusekit::embedded {
extern const unsigned char kDefaultDeviceDatabase[];
extern const std::size_t kDefaultDeviceDatabaseSize;
}  // namespace fusekit::embedded

namespace {

// A database is a few hundred kilobytes at most; refuse to read anything absurd into memory.
constexpr long kMaxDatabaseBytes = 64L * 1024 * 1024;

bool SameNameIgnoringCase(const char* a, const char* b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (std::tolower(static_cast<unsigned char>(*a)) !=
        std::tolower(static_cast<unsigned char>(*b)))
      return false;
  }
  return *a == *b;
}

}  // namespace

DeviceDatabase::DeviceDatabase() = default;
DeviceDatabase::~DeviceDatabase() = default;

int DeviceDatabase::LoadDefault() {
  return LoadText(reinterpret_cast<const char*>(fusekit::embedded::kDefaultDeviceDatabase),
                  fusekit::embedded::kDefaultDeviceDatabaseSize);
}

int DeviceDatabase::LoadFile(const char* fileName) {
  if (fileName == nullptr) return -2;
  std::FILE* file = std::fopen(fileName, "rb");
  if (file == nullptr) {
    last_error_ = std::string(fileName) + ": cannot be opened";
    return -2;
  }
  std::string text;
  int status = 0;
  try {
    char chunk[65536];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
      if (text.size() + got > static_cast<std::size_t>(kMaxDatabaseBytes)) {
        last_error_ = std::string(fileName) + ": larger than a device database can be";
        status = -30;
        break;
      }
      text.append(chunk, got);
    }
  } catch (const std::bad_alloc&) {
    status = -3;
  }
  std::fclose(file);
  return status != 0 ? status : LoadText(text.data(), text.size());
}

int DeviceDatabase::LoadText(const char* text, std::size_t length) {
  if (text == nullptr) length = 0;
  std::vector<DeviceInfo> devices;
  auto result = fusekit::devicedb::ParseDeviceDatabase(
      std::string_view(text != nullptr ? text : "", length), devices);
  if (result.status != 0) {
    last_error_ = std::move(result.error);
    return result.status;
  }
  devices_.swap(devices);
  last_error_.clear();
  return 0;
}

int DeviceDatabase::GetDeviceCount() const {
  return static_cast<int>(devices_.size());
}

const DeviceInfo* DeviceDatabase::GetDevice(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= devices_.size()) return nullptr;
  return &devices_[static_cast<std::size_t>(index)];
}

const DeviceInfo* DeviceDatabase::FindDevice(const char* name) const {
  if (name == nullptr) return nullptr;
  for (const DeviceInfo& device : devices_) {
    if (SameNameIgnoringCase(device.GetName(), name)) return &device;
  }
  return nullptr;
}

const char* DeviceDatabase::GetLastError() const {
  return last_error_.c_str();
}
