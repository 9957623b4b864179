// Reads the JSON device database: {"format": "fusekit-devices", "version": 1, "devices": [...]}.
// Every key of a device record is checked against the tables below, so a misspelt key is an
// error rather than a silently missing value.
#include "support/devicedb/json_loader.h"

#include <cctype>
#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <new>
#include <set>

#include <nlohmann/json.hpp>

namespace fusekit::devicedb {
namespace {

using nlohmann::json;

struct TextKey {
  const char* key;
  void (DeviceInfo::*set)(const char*);
};
struct U16Key {
  const char* key;
  void (DeviceInfo::*set)(unsigned short);
};
struct U32Key {
  const char* key;
  void (DeviceInfo::*set)(unsigned int);
};
struct ListKey {
  const char* key;
  void (DeviceInfo::*set)(const std::vector<unsigned int>&);
};

constexpr TextKey kTextKeys[] = {
    {"name", &DeviceInfo::SetName},
    {"family", &DeviceInfo::SetFamily},
    {"code_name", &DeviceInfo::SetCodeName},
    {"vendor", &DeviceInfo::SetVendor},
    {"pon", &DeviceInfo::SetPON},
    {"jtag_ues_mask", &DeviceInfo::SetjtagUESMask},
    {"isp_ues_mask", &DeviceInfo::SetispUESMask},
};
constexpr U32Key kU32Keys[] = {
    {"address_length", &DeviceInfo::SetAddressLength},
    {"data_length", &DeviceInfo::SetDataLength},
    {"fuse_number", &DeviceInfo::SetFuseNumber},
    {"arch_length", &DeviceInfo::SetARCHLength},
    {"e_length", &DeviceInfo::SetELength},
    {"jtag_device_id", &DeviceInfo::SetjtagDeviceID},
    {"isp_device_id", &DeviceInfo::SetispDeviceID},
    {"physical_ues_length", &DeviceInfo::SetPhysicalUESLength},
    {"jtag_logical_ues_length", &DeviceInfo::SetjtagLogicalUESLength},
    {"isp_logical_ues_length", &DeviceInfo::SetispLogicalUESLength},
};
constexpr U16Key kU16Keys[] = {
    {"arch_row", &DeviceInfo::SetARCHRow},
    {"e_row", &DeviceInfo::SetERow},
    {"id_length", &DeviceInfo::SetIDLength},
    {"sed_length", &DeviceInfo::SetSEDLength},
    {"bit_map_transformation", &DeviceInfo::SetBitMapTransformation},
};
constexpr ListKey kListKeys[] = {
    {"control_ebr", &DeviceInfo::SetlistControlEBR},
    {"persistent_fuse", &DeviceInfo::SetlistPersistent_fuse},
    {"control_reg_one", &DeviceInfo::SetlistControlRegOne},
};
constexpr const char* kPackageKeys[] = {"type", "pon", "backup_pon", "jdf"};

// Thrown inside the parser only; ParseDeviceDatabase turns it into a result.
struct InvalidDatabase {
  std::string what;
};

[[noreturn]] void Fail(const std::string& where, const std::string& what) {
  throw InvalidDatabase{where + ": " + what};
}

// Arrays and objects nested deeper than kMaxNesting are refused before parsing, so that no
// hostile text can drive the parser or the value's destructor deep into the stack.
bool NestingWithinLimit(std::string_view text) {
  int depth = 0;
  bool in_string = false;
  bool escaped = false;
  for (const char c : text) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
    } else if (c == '"') {
      in_string = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMaxNesting) return false;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return true;
}

// A number is a JSON unsigned integer or a text in decimal or in hex with "0x".
std::uint64_t ReadNumber(const json& value, std::uint64_t max, const std::string& where) {
  if (value.is_number_unsigned()) {
    const auto n = value.get<std::uint64_t>();
    if (n > max)
      Fail(where, "value " + std::to_string(n) + " is larger than " + std::to_string(max));
    return n;
  }
  if (!value.is_string()) Fail(where, "expected an unsigned number or a number in a text");
  const std::string& text = value.get_ref<const std::string&>();
  std::string_view digits(text);
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.remove_prefix(2);
    base = 16;
  }
  std::uint64_t n = 0;
  const auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), n, base);
  if (digits.empty() || ec != std::errc() || ptr != digits.data() + digits.size()) {
    Fail(where, "\"" + text + "\" is not a number");
  }
  if (n > max) Fail(where, "value " + text + " is larger than " + std::to_string(max));
  return n;
}

const std::string& ReadText(const json& value, const std::string& where) {
  if (!value.is_string()) Fail(where, "expected a text");
  return value.get_ref<const std::string&>();
}

std::vector<unsigned int> ReadNumberList(const json& value, const std::string& where) {
  if (!value.is_array()) Fail(where, "expected an array of numbers");
  std::vector<unsigned int> list;
  for (std::size_t i = 0; i < value.size(); ++i) {
    list.push_back(
        static_cast<unsigned int>(ReadNumber(value[i], std::numeric_limits<unsigned int>::max(),
                                             where + "[" + std::to_string(i) + "]")));
  }
  return list;
}

std::vector<std::string> ReadPadring(const json& value, const std::string& where) {
  if (!value.is_array()) Fail(where, "expected an array of row numbers");
  if (value.size() > 0xFFFF) Fail(where, "more than 65535 rows");
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const auto row = ReadNumber(value[i], std::numeric_limits<unsigned int>::max(),
                                where + "[" + std::to_string(i) + "]");
    rows.push_back(std::to_string(row));  // held as the decimal text of the row number
  }
  return rows;
}

PackageList ReadPackages(const json& value, const std::string& where) {
  if (!value.is_array()) Fail(where, "expected an array of packages");
  PackageList list;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::string at = where + "[" + std::to_string(i) + "]";
    const json& entry = value[i];
    if (!entry.is_object()) Fail(at, "expected an object");
    for (const auto& item : entry.items()) {
      bool known = false;
      for (const char* key : kPackageKeys) known = known || item.key() == key;
      if (!known) Fail(at, "unknown key \"" + item.key() + "\"");
    }
    if (!entry.contains("type")) Fail(at, "a package needs a \"type\"");
    Package package;
    package.SetType(ReadText(entry["type"], at + ".type").c_str());
    if (entry.contains("pon")) package.SetPON(ReadText(entry["pon"], at + ".pon").c_str());
    if (entry.contains("backup_pon")) {
      package.SetBackupPON(ReadText(entry["backup_pon"], at + ".backup_pon").c_str());
    }
    if (entry.contains("jdf")) package.SetJDF(ReadText(entry["jdf"], at + ".jdf").c_str());
    if (!list.AddPackage(package)) Fail(at, "too many packages");
  }
  return list;
}

// Applies one key of a device record; false when the key is not one of the record's.
bool ApplyKey(DeviceInfo& device, const std::string& key, const json& value,
              const std::string& where) {
  for (const auto& k : kTextKeys) {
    if (key == k.key) return (device.*k.set)(ReadText(value, where).c_str()), true;
  }
  for (const auto& k : kU32Keys) {
    if (key == k.key) {
      const auto n = ReadNumber(value, std::numeric_limits<unsigned int>::max(), where);
      return (device.*k.set)(static_cast<unsigned int>(n)), true;
    }
  }
  for (const auto& k : kU16Keys) {
    if (key == k.key) {
      const auto n = ReadNumber(value, std::numeric_limits<unsigned short>::max(), where);
      return (device.*k.set)(static_cast<unsigned short>(n)), true;
    }
  }
  for (const auto& k : kListKeys) {
    if (key == k.key) return (device.*k.set)(ReadNumberList(value, where)), true;
  }
  if (key == "padring") return device.SetPadring(ReadPadring(value, where)), true;
  if (key == "packages") return device.SetDevicePackage(ReadPackages(value, where)), true;
  return false;
}

DeviceInfo ReadDevice(const json& entry, const std::string& where) {
  if (!entry.is_object()) Fail(where, "expected an object");
  if (!entry.contains("name")) Fail(where, "a device needs a \"name\"");
  if (!entry.contains("family")) Fail(where, "a device needs a \"family\"");
  DeviceInfo device;
  for (const auto& item : entry.items()) {
    if (!ApplyKey(device, item.key(), item.value(), where + "." + item.key())) {
      Fail(where, "unknown key \"" + item.key() + "\"");
    }
  }
  if (device.GetName()[0] == '\0') Fail(where, "the device name is empty");
  device.SaveDeviceBackupValue();  // the loaded geometry is what a restore returns to
  return device;
}

// "bitstream_commands": {"<family or default>": ["<command line>", ...], ...}: the command
// tables of the bitstream model library, each kept as its lines joined by line feeds.
std::map<std::string, std::string> ReadBitstreamCommands(const json& root) {
  std::map<std::string, std::string> tables;
  if (!root.contains("bitstream_commands")) return tables;
  const json& section = root["bitstream_commands"];
  if (!section.is_object()) Fail("bitstream_commands", "expected an object of families");
  for (const auto& item : section.items()) {
    const std::string where = "bitstream_commands." + item.key();
    if (!item.value().is_array()) Fail(where, "expected an array of command lines");
    std::string table;
    for (std::size_t i = 0; i < item.value().size(); ++i) {
      table += ReadText(item.value()[i], where + "[" + std::to_string(i) + "]") + "\n";
    }
    tables[item.key()] = table;
  }
  return tables;
}

std::vector<DeviceInfo> ReadDatabase(std::string_view text) {
  if (!NestingWithinLimit(text)) Fail("database", "nested deeper than the format allows");
  json root;
  try {
    root = json::parse(text.begin(), text.end());
  } catch (const json::parse_error& e) {
    Fail("database", std::string("not valid JSON (") + e.what() + ")");
  }
  if (!root.is_object()) Fail("database", "expected an object at the top");
  if (!root.contains("format") || root["format"] != "fusekit-devices") {
    Fail("database", "\"format\" must be \"fusekit-devices\"");
  }
  if (!root.contains("version") || root["version"] != 1) Fail("database", "\"version\" must be 1");
  if (!root.contains("devices") || !root["devices"].is_array()) {
    Fail("database", "\"devices\" must be an array");
  }
  const std::map<std::string, std::string> commands = ReadBitstreamCommands(root);
  const json& entries = root["devices"];
  std::vector<DeviceInfo> devices;
  std::set<std::string> names;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string where = "devices[" + std::to_string(i) + "]";
    devices.push_back(ReadDevice(entries[i], where));
    auto table = commands.find(devices.back().GetFamily());
    if (table == commands.end()) table = commands.find("default");
    if (table != commands.end()) devices.back().SetBitstreamCommands(table->second.c_str());
    std::string folded = devices.back().GetName();
    for (char& c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!names.insert(folded).second) {
      Fail(where, "device name \"" + std::string(devices.back().GetName()) + "\" appears twice");
    }
  }
  return devices;
}

}  // namespace

LoadResult ParseDeviceDatabase(std::string_view text, std::vector<DeviceInfo>& devices) {
  try {
    devices = ReadDatabase(text);
  } catch (const InvalidDatabase& e) {
    return {-30, e.what};
  } catch (const std::bad_alloc&) {
    return {-3, "out of memory"};
  } catch (const std::exception& e) {
    return {-30, e.what()};
  }
  return {0, {}};
}

}  // namespace fusekit::devicedb
