// Bitstream properties: compressed, encrypted, authenticated, comment entries, and what JEDEC and
// ISC files declare about themselves.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "bitstream/model_access.h"
#include "core/file_io.h"
#include "fusekit/bitstream.h"
#include "fusekit/family.h"

namespace fusekit::bitstream {
namespace {

constexpr std::size_t kLineChars = 3000;

std::string Trim(const std::string& text) {
  std::size_t a = 0, b = text.size();
  while (a < b && std::isspace(static_cast<unsigned char>(text[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1]))) --b;
  return text.substr(a, b - a);
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string WithoutSpace(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (!std::isspace(static_cast<unsigned char>(c))) out += c;
  }
  return out;
}

// The extension from the last '.', lower-cased ("" without one).
std::string LowerExtension(const char* name) {
  const std::string text(name);
  const std::size_t dot = text.find_last_of('.');
  if (dot == std::string::npos) return "";
  std::string extension = text.substr(dot);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

// Lower-cases the extension of the caller's name in place, as hosts expect of these queries.
void LowerExtensionInPlace(char* name) {
  char* dot = std::strrchr(name, '.');
  for (char* p = dot; p != nullptr && *p != '\0'; ++p)
    *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
}

// Lines of a text file of at most 3000 characters, upper-cased and trimmed, until visit(line)
// returns true. False when the file cannot be opened.
template <class Visit>
bool ForEachUpperLine(const char* name, Visit&& visit) {
  core::UniqueFile file = core::OpenFile(name, "r");
  if (!file) return false;
  std::string buffer(kLineChars + 1, '\0');
  while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), file.get()) != nullptr) {
    if (visit(Trim(Upper(buffer.c_str())))) break;
  }
  return true;
}

std::string BinaryComment(const char* name, const std::string& key) {
  core::UniqueFile file = core::OpenFile(name, "rb");
  if (!file) return "";
  int c;
  while ((c = std::getc(file.get())) != EOF && c != 0) {
  }
  while (c != EOF) {
    std::string entry;
    while ((c = std::getc(file.get())) != EOF && c != ':') {
      if (c == 0) {
        entry.clear();
      } else {
        entry += static_cast<char>(c);
      }
    }
    if (c == EOF) break;
    std::string value;
    while ((c = std::getc(file.get())) != EOF && c != 0) value += static_cast<char>(c);
    if (Upper(WithoutSpace(entry)) == key) return Trim(value);
  }
  return "";
}

std::string AsciiComment(const char* name, const std::string& key) {
  std::string value;
  ForEachUpperLine(name, [&](const std::string& line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0) return false;
    if (WithoutSpace(line.substr(0, colon)) != key) return false;
    value = Trim(line.substr(colon + 1));
    return true;
  });
  return value;
}

bool IsJedecOrIsc(char* name) {
  LowerExtensionInPlace(name);
  const std::string extension = LowerExtension(name);
  return extension == ".jed" || extension == ".isc";
}

}  // namespace
}  // namespace fusekit::bitstream

namespace bs = fusekit::bitstream;

namespace {
// The properties need the comment and the flags of a stream, none of its frames.
constexpr const char* kNoFrames[] = {nullptr};
}  // namespace

bool IsBitstreamCompressed(const char* fileName, DeviceInfo* device) {
  if (device == nullptr) return false;
  XFPBitstreamModel model;
  return bs::BuildConfigSummary(model, *device, fileName, kNoFrames) >= 0 && model.IsCompressed();
}

int IsBitstreamEncrypted(const char* fileName, DeviceInfo* device) {
  if (device == nullptr) return -1;
  XFPBitstreamModel model;
  const int built = bs::BuildConfigSummary(model, *device, fileName, kNoFrames);
  if (built < 0) return -1;
  const std::string comment = model.GetComment();
  if (!model.IsEncrypted()) return built;
  bool found = false;
  const std::string mode = bs::CommentValue(comment.c_str(), "Config Mode:", found);
  if (!found) {
    const char* family = device->GetFamily();
    return IsTorvik4Family(family) || IsGlimraFamily(family) || IsPelmo3DFamily(family) ||
                   IsOrlanFamily(family) || IsVorskFamily(family)
               ? 1
               : -1;
  }
  if (mode.empty()) return -1;
  return mode == "SPI" || mode == "SPIM" ? 2 : 1;
}

int GetAuthenticatedInfo(char* fileName, DeviceInfo* device, const char* logFile) {
  if (fileName == nullptr || device == nullptr) return 0;
  const std::string extension = bs::LowerExtension(fileName);
  if (extension != ".bit" && extension != ".rbt") return 0;
  KvLog log;
  log.Open(logFile != nullptr ? logFile : "", "a");
  XFPBitstreamModel model;
  const int built =
      XFPObjectFactory::CreateConfigBitstreamModel(model, *device, log, fileName, nullptr, nullptr);
  if (built < 0) return built;
  return (model.IsEncrypted() ? 2 : 0) + (model.IsAuthenticated() ? 1 : 0);
}

void GetBitstreamComment(KvCString& value, const char* key, const char* fileName) {
  value = "";
  if (fileName == nullptr || key == nullptr) return;
  const std::string wanted = bs::Upper(bs::WithoutSpace(key));
  const std::string extension = bs::LowerExtension(fileName);
  std::string found;
  if (extension == ".bit") {
    found = bs::BinaryComment(fileName, wanted);
  } else if (extension == ".rbt") {
    found = bs::AsciiComment(fileName, wanted);
  }
  value = found.c_str();
}

int GetEncrytedFromFile(const char* fileName) {
  if (fileName == nullptr) return 0;
  std::string name = fileName;
  if (!bs::IsJedecOrIsc(name.data())) return 0;
  bool encrypted = false;
  bs::ForEachUpperLine(fileName, [&](const std::string& line) {
    encrypted = line.find("AN ENCRYPTED JEDEC") != std::string::npos;
    return encrypted;
  });
  return encrypted ? 1 : 0;
}

unsigned long GetISCFuseCountByFilename(const char* fileName) {
  if (fileName == nullptr) return 0;
  std::string name = fileName;
  if (!bs::IsJedecOrIsc(name.data())) return 0;
  long count = 0;
  bs::ForEachUpperLine(fileName, [&](const std::string& line) {
    const std::size_t at = line.find("TOTAL_FUSES");
    if (at == std::string::npos) return false;
    const std::string rest = line.substr(at + 11);
    const std::size_t equals = rest.find('=');
    if (equals != std::string::npos) std::sscanf(rest.c_str() + equals + 1, "%ld", &count);
    return true;
  });
  return count > 0 ? static_cast<unsigned long>(count) : 0;
}

namespace fusekit::bitstream {
namespace {

// The keys that name a device, in order of preference.
constexpr const char* kDeviceKeys[] = {
    "DEVICE CORVANE:", "DEVICE CORVANE :", "DEVICE_NAME:", "DEVICE NAME:", "DEVICE NAME",
    "PART NAME:",      "PART NAME",        "PART NUMBER:", "DEVICE:"};

// The first word after key (and a ':' right after it) in an upper-cased line.
std::string WordAfter(const std::string& line, const std::string& key) {
  std::size_t at = line.find(key);
  if (at == std::string::npos) return "";
  at += key.size();
  while (at < line.size() && (line[at] == ' ' || line[at] == ':' || line[at] == '=')) ++at;
  std::size_t end = at;
  while (end < line.size() && !std::isspace(static_cast<unsigned char>(line[end])) &&
         line[end] != '*' && line[end] != ';')
    ++end;
  return line.substr(at, end - at);
}

// The best device name among lines: the first match of the most preferred key.
std::string BestName(const std::vector<std::string>& lines, const std::vector<std::string>& keys) {
  for (const std::string& key : keys) {
    for (const std::string& line : lines) {
      const std::string word = WordAfter(line, key);
      if (!word.empty()) return word;
    }
  }
  return "";
}

// The lines of an upper-cased comment text.
std::vector<std::string> UpperLines(const char* comment) {
  const std::string text = Upper(comment != nullptr ? comment : "");
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace

std::string DeviceNameOfComment(const char* comment) {
  return BestName(UpperLines(comment), {std::begin(kDeviceKeys), std::end(kDeviceKeys)});
}

}  // namespace fusekit::bitstream

void GetDeviceNameFromFile(KvCString& value, const char* fileName) {
  value = "";
  if (fileName == nullptr) return;
  const std::string extension = bs::LowerExtension(fileName);
  std::vector<std::string> keys(std::begin(bs::kDeviceKeys), std::end(bs::kDeviceKeys));
  std::vector<std::string> lines;
  if (extension == ".bit" || extension == ".msk" || extension == ".rbk") {
    XFPBitstreamFile file;
    if (file.OpenFile(fileName) < 0) return;
    value = bs::DeviceNameOfComment(file.GetComment()).c_str();
    return;
  } else if (extension == ".jed" || extension == ".isc" || extension == ".nvcm" ||
             extension == ".alt" || extension == ".fea" || extension == ".bsm" ||
             extension == ".rbt" || extension == ".mska" || extension == ".rbka" ||
             extension == ".pcm") {
    if (extension == ".bsm") keys = {"#DN"};
    bs::ForEachUpperLine(fileName, [&](const std::string& line) {
      lines.push_back(line);
      return false;
    });
  } else {
    return;
  }
  value = bs::BestName(lines, keys).c_str();
}
