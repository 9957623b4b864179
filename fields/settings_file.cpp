// Ini2SVFPlus: a device settings file (sections and key = value lines) applied to programming
// data, all or nothing, every problem named with its line.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/file_io.h"
#include "fields/text_lines.h"
#include "fusekit/fields.h"
#include "fusekit/status.h"

namespace fusekit::fields {
namespace {

constexpr int kCannotOpen = -2;
constexpr int kNullArgument = -3;
constexpr int kProblems = -13;

// One setting that can be applied: where it goes and its value as bits (or the security flag).
struct Setting {
  std::string field;  // "" for the security flag
  std::string bits;
  bool security = false;
};

// The keys a settings file knows, by section, in lower case.
const std::map<std::string, std::vector<std::string>>& KnownKeys() {
  static const std::map<std::string, std::vector<std::string>> keys = {
      {"device", {"name"}},
      {"usercode", {"value"}},
      {"security", {"enabled"}},
      {"feature", {"row", "bits"}},
  };
  return keys;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

bool AllOf(std::string_view text, const char* accepted) {
  return !text.empty() && text.find_first_not_of(accepted) == std::string_view::npos;
}

// Hex digits as bits, four a digit.
std::string BitsOfHex(std::string_view digits) {
  std::string bits;
  for (const char c : digits) {
    const int value = std::isdigit(static_cast<unsigned char>(c))
                          ? c - '0'
                          : std::toupper(static_cast<unsigned char>(c)) - 'A' + 10;
    for (int b = 3; b >= 0; --b) bits.push_back((value >> b) & 1 ? '1' : '0');
  }
  return bits;
}

// bits cut or extended with leading zeros to width; nothing when a 1 would be cut.
std::optional<std::string> Fitted(std::string bits, std::size_t width) {
  if (bits.size() > width) {
    const std::size_t cut = bits.size() - width;
    if (bits.find('1') < cut) return std::nullopt;
    bits.erase(0, cut);
  }
  bits.insert(0, width - bits.size(), '0');
  return bits;
}

// A number as 0x hex, 0b binary or decimal, as bits (no width yet); nothing when it is not one.
std::optional<std::string> NumberBits(std::string_view value) {
  const std::string lower = Lower(value);
  if (lower.rfind("0x", 0) == 0 && AllOf(std::string_view(lower).substr(2), "0123456789abcdef"))
    return BitsOfHex(std::string_view(lower).substr(2));
  if (lower.rfind("0b", 0) == 0 && AllOf(std::string_view(lower).substr(2), "01"))
    return lower.substr(2);
  if (!AllOf(lower, "0123456789") || lower.size() > 19) return std::nullopt;
  unsigned long long number = std::stoull(lower);
  std::string bits;
  for (int b = 63; b >= 0; --b) bits.push_back((number >> b) & 1 ? '1' : '0');
  return bits;
}

class SettingsReader {
 public:
  SettingsReader(DeviceInfo& device, SVFPlusData& data) : device_(device), data_(data) {}

  void Read(std::string_view text) {
    ForEachLine(text, [&](unsigned long number, std::string_view line) {
      line_ = number;
      TakeLine(Trimmed(line));
      return true;
    });
  }

  const std::string& Problems() const { return problems_; }
  const std::vector<Setting>& Settings() const { return settings_; }

 private:
  void Problem(const std::string& text) {
    problems_ += "line " + std::to_string(line_) + ": " + text + "\n";
  }

  void TakeLine(std::string_view line) {
    if (line.empty() || line.front() == ';' || line.front() == '#') return;
    if (line.front() == '[') {
      if (line.back() != ']') return Problem("a section name without its closing \"]\"");
      section_ = Lower(Trimmed(line.substr(1, line.size() - 2)));
      known_section_ = KnownKeys().count(section_) != 0;
      if (!known_section_)
        Problem("unknown section [" + std::string(line.substr(1, line.size() - 2)) + "]");
      return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || Trimmed(line.substr(0, equals)).empty())
      return Problem("not a section, key = value or comment");
    const std::string_view key = Trimmed(line.substr(0, equals));
    const std::string_view value = Trimmed(line.substr(equals + 1));
    if (section_.empty()) return Problem("key \"" + std::string(key) + "\" before any section");
    if (!known_section_) return;  // its section was named as unknown already
    const std::string lower_key = Lower(key);
    const std::vector<std::string>& keys = KnownKeys().at(section_);
    if (std::find(keys.begin(), keys.end(), lower_key) == keys.end())
      return Problem("unknown key \"" + std::string(key) + "\" in [" + section_ + "]");
    const std::string where = section_ + "." + lower_key;
    if (const auto first = seen_.find(where); first != seen_.end())
      return Problem("\"" + std::string(key) + "\" in [" + section_ +
                     "] given twice (first on line " + std::to_string(first->second) + ")");
    seen_[where] = line_;
    if (value.empty()) return Problem("no value for \"" + std::string(key) + "\"");
    TakeSetting(lower_key, value);
  }

  void TakeSetting(const std::string& key, std::string_view value) {
    const std::string shown(value);
    if (section_ == "device") {
      if (!SameWithoutCase(value, device_.GetName()))
        Problem("the settings are for " + shown + ", not " + device_.GetName());
    } else if (section_ == "usercode") {
      const unsigned int length = device_.GetPhysicalUESLength();
      const std::size_t width = length != 0 ? length : 32;
      const std::optional<std::string> bits = NumberBits(value);
      if (!bits) return Problem("usercode \"" + shown + "\" is not a number");
      const std::optional<std::string> fitted = Fitted(*bits, width);
      if (!fitted)
        return Problem("usercode " + shown + " is wider than " + std::to_string(width) + " bits");
      settings_.push_back({"Usercode_TDI", *fitted, false});
    } else if (section_ == "security") {
      const std::string lower = Lower(value);
      const bool on = lower == "on" || lower == "yes" || lower == "true" || lower == "1";
      const bool off = lower == "off" || lower == "no" || lower == "false" || lower == "0";
      if (!on && !off) return Problem("\"" + shown + "\" is not on or off");
      settings_.push_back({"", on ? "1" : "0", true});
    } else {
      TakeFeature(key == "row" ? "FeatureRow_TDI" : "FeatureBits_TDI", value);
    }
  }

  // A binary string (its width is its length) or 0x and hex digits (the width of the field the
  // data holds when the value fits it, else four bits a digit).
  void TakeFeature(const char* field, std::string_view value) {
    if (AllOf(value, "01")) {
      settings_.push_back({field, std::string(value), false});
      return;
    }
    const std::string lower = Lower(value);
    if (lower.rfind("0x", 0) != 0 || !AllOf(std::string_view(lower).substr(2), "0123456789abcdef"))
      return Problem("\"" + std::string(value) + "\" is neither bits nor 0x and hex digits");
    std::string bits = BitsOfHex(std::string_view(lower).substr(2));
    if (SVFDataField* present = data_.GetDataField(field)) {
      present->ResetRowPointer();
      if (auto fitted = Fitted(bits, present->GetCurrentRowWidth())) bits = *fitted;
    }
    settings_.push_back({field, bits, false});
  }

  DeviceInfo& device_;
  SVFPlusData& data_;
  unsigned long line_ = 0;
  std::string section_;  // lower case; "" before the first
  bool known_section_ = false;
  std::map<std::string, unsigned long> seen_;  // "section.key" and the line it came on
  std::vector<Setting> settings_;
  std::string problems_;
};

void CopyBounded(const std::string& text, char* out, int size) {
  if (out == nullptr || size < 1) return;
  const std::size_t kept = std::min(text.size(), static_cast<std::size_t>(size) - 1);
  std::memcpy(out, text.data(), kept);
  out[kept] = '\0';
}

int Apply(const char* file_name, DeviceInfo& device, SVFPlusData& data, char* messages,
          int messages_size) {
  CopyBounded("", messages, messages_size);
  const core::MappedFile file(file_name);
  if (!file.Ready()) return kCannotOpen;
  SettingsReader reader(device, data);
  reader.Read(file.Text());
  if (!reader.Problems().empty()) {
    CopyBounded(reader.Problems(), messages, messages_size);
    return kProblems;
  }
  for (const Setting& setting : reader.Settings()) {
    if (setting.security) {
      data.SetSecurity(setting.bits == "1" ? 1 : 0);
    } else if (!StoreBitRow(data, setting.field.c_str(), setting.bits)) {
      return kStatusRowWriteFailed;
    }
  }
  return static_cast<int>(reader.Settings().size());
}

}  // namespace
}  // namespace fusekit::fields

int Ini2SVFPlus(char* fileName, DeviceInfo* device, SVFPlusData* data, char* messagesOut,
                int messagesSize) {
  if (device == nullptr || data == nullptr) return fusekit::fields::kNullArgument;
  try {
    return fusekit::fields::Apply(fileName, *device, *data, messagesOut, messagesSize);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusRowWriteFailed;
  }
}
