// The JSON output of the commands (--json): objects and arrays built as text, with the strings
// escaped, in the schema of docs/json.md.
#ifndef FUSEKIT_TOOLS_JSON_H
#define FUSEKIT_TOOLS_JSON_H

#include <string>
#include <utility>
#include <vector>

namespace fusekit::cli {

// A JSON string literal of text: quotes, backslashes and control characters escaped, bytes of
// 0x80 and more written as \u00XX (the files' texts are not always UTF-8).
std::string JsonString(const std::string& text);

class JsonObject {
 public:
  JsonObject& Add(const std::string& key, const std::string& value);
  JsonObject& Add(const std::string& key, const char* value);
  JsonObject& Add(const std::string& key, long long value);
  JsonObject& Add(const std::string& key, unsigned long long value);
  JsonObject& Add(const std::string& key, int value) {
    return Add(key, static_cast<long long>(value));
  }
  JsonObject& Add(const std::string& key, unsigned value) {
    return Add(key, static_cast<unsigned long long>(value));
  }
  JsonObject& Add(const std::string& key, unsigned long value) {
    return Add(key, static_cast<unsigned long long>(value));
  }
  JsonObject& Add(const std::string& key, long value) {
    return Add(key, static_cast<long long>(value));
  }
  JsonObject& Add(const std::string& key, bool value);
  // A value already rendered (an object, an array, null).
  JsonObject& AddRaw(const std::string& key, const std::string& json);
  std::string Text() const;

 private:
  std::vector<std::pair<std::string, std::string>> members_;
};

// An array of values already rendered.
std::string JsonArray(const std::vector<std::string>& values);

// Whether the commands print JSON (--json), and prints a document with a line end.
bool JsonWanted();
void SetJsonWanted(bool wanted);
void PrintJson(const std::string& document);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_JSON_H
