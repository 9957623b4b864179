#include "tools/fusekit/json.h"

#include <cstdio>

namespace fusekit::cli {
namespace {

bool json_wanted = false;

}  // namespace

std::string JsonString(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (u < 0x20 || u >= 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04X", u);
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

JsonObject& JsonObject::Add(const std::string& key, const std::string& value) {
  return AddRaw(key, JsonString(value));
}

JsonObject& JsonObject::Add(const std::string& key, const char* value) {
  return AddRaw(key, value != nullptr ? JsonString(value) : "null");
}

JsonObject& JsonObject::Add(const std::string& key, long long value) {
  return AddRaw(key, std::to_string(value));
}

JsonObject& JsonObject::Add(const std::string& key, unsigned long long value) {
  return AddRaw(key, std::to_string(value));
}

JsonObject& JsonObject::Add(const std::string& key, bool value) {
  return AddRaw(key, value ? "true" : "false");
}

JsonObject& JsonObject::AddRaw(const std::string& key, const std::string& json) {
  members_.emplace_back(key, json);
  return *this;
}

std::string JsonObject::Text() const {
  std::string out = "{";
  for (std::size_t i = 0; i < members_.size(); ++i) {
    if (i != 0) out += ", ";
    out += JsonString(members_[i].first) + ": " + members_[i].second;
  }
  return out + "}";
}

std::string JsonArray(const std::vector<std::string>& values) {
  std::string out = "[";
  for (std::size_t i = 0; i < values.size(); ++i) out += (i != 0 ? ", " : "") + values[i];
  return out + "]";
}

bool JsonWanted() {
  return json_wanted;
}
void SetJsonWanted(bool wanted) {
  json_wanted = wanted;
}

void PrintJson(const std::string& document) {
  std::printf("%s\n", document.c_str());
}

}  // namespace fusekit::cli
