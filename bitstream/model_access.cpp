// Model building shared by the bitstream operations.
#include "bitstream/model_access.h"

#include <cstring>
#include <string>

#include "core/log_name.h"
#include "fusekit/core.h"
#include "support/bitstream_model/stream.h"

namespace fusekit::bitstream {

int BuildConfigSummary(XFPBitstreamModel& model, DeviceInfo& device, const char* fileName,
                       const char* const* keptFrames, XFPBitstreamModel::ByteObserver observe,
                       void* context) {
  KvLog log;
  const char* log_name = GetLogFileName();
  log.Open(log_name != nullptr ? log_name : "", "a");
  const int result = bitstream_model::CreateModel(model, device, log, fileName, kXFPConfig,
                                                  keptFrames, observe, context);
  core::ConsumeLogFileName();
  return result;
}

int BuildConfigModel(XFPBitstreamModel& model, DeviceInfo& device, const char* fileName) {
  return BuildConfigSummary(model, device, fileName, nullptr);
}

std::string CommentValue(const char* comment, const char* key, bool& found) {
  found = false;
  if (comment == nullptr || key == nullptr) return "";
  const char* at = std::strstr(comment, key);
  if (at == nullptr) return "";
  found = true;
  const std::string rest(at + std::strlen(key) + (at[std::strlen(key)] != '\0' ? 1 : 0));
  std::size_t a = 0;
  while (a < rest.size() && std::isspace(static_cast<unsigned char>(rest[a]))) ++a;
  const std::size_t b = rest.find_first_of(" \t\n\r", a);
  return rest.substr(a, b == std::string::npos ? std::string::npos : b - a);
}

}  // namespace fusekit::bitstream
