// Parser of the JSON device database into device records.
#ifndef FUSEKIT_SUPPORT_DEVICEDB_JSON_LOADER_H
#define FUSEKIT_SUPPORT_DEVICEDB_JSON_LOADER_H

#include <string>
#include <string_view>
#include <vector>

#include "fusekit/devicedb.h"

namespace fusekit::devicedb {

struct [[nodiscard]] LoadResult {
  int status;         // 0, -3 out of memory, -30 invalid database
  std::string error;  // why the text is invalid; empty on success
};

// Deepest nesting of arrays and objects accepted; the database needs three levels.
constexpr int kMaxNesting = 16;

// Reads every device record of text into devices (replacing what it held only on success).
LoadResult ParseDeviceDatabase(std::string_view text, std::vector<DeviceInfo>& devices);

}  // namespace fusekit::devicedb

#endif  // FUSEKIT_SUPPORT_DEVICEDB_JSON_LOADER_H
