// Reading command tables.
#include "support/bitstream_model/command_table.h"

#include <cctype>
#include <cstdlib>

namespace fusekit::bitstream_model {

const char* const kDefaultCommandTable =
    "E2 Verify ID Frame: ID=id\n"
    "C3 Usercode Frame: Usercode=usercode\n"
    "41 Data Frame: Data=frame\n"
    "42 eDataFrame: Data=frame\n"
    "43 Compressed Data Frame [compressed]: Data=operand\n"
    "A0 Encrypted Data Frame [encrypted]: Data=operand\n"
    "A8 Authentication Frame [authenticated]: Signature=operand\n"
    "80 Write Patch Init Address Frame\n"
    "81 Write Patch Program Increment Frame: Data=operand\n"
    "79 Program Done Frame\n";

namespace {

std::string Trim(const std::string& text) {
  std::size_t a = 0, b = text.size();
  while (a < b && std::isspace(static_cast<unsigned char>(text[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1]))) --b;
  return text.substr(a, b - a);
}

bool ParseSize(const std::string& text, ComponentDef& def) {
  if (text == "frame") return def.kind = SizeKind::kFrameBits, true;
  if (text == "id") return def.kind = SizeKind::kIdBits, true;
  if (text == "usercode") return def.kind = SizeKind::kUsercodeBits, true;
  if (text == "operand") return def.kind = SizeKind::kOperand, true;
  if (text.empty() || text.size() > 7 || text.find_first_not_of("0123456789") != std::string::npos)
    return false;
  def.kind = SizeKind::kBytes;
  def.bytes = static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
  return true;
}

bool ParseComponents(const std::string& text, CommandDef& command) {
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    const std::string item = Trim(text.substr(start, comma - start));
    const std::size_t equals = item.find('=');
    if (equals == std::string::npos) return false;
    ComponentDef def;
    def.name = Trim(item.substr(0, equals));
    if (def.name.empty() || !ParseSize(Trim(item.substr(equals + 1)), def)) return false;
    command.components.push_back(def);
    start = comma + 1;
  }
  return true;
}

// "<frame name>[ [flag]...]": the name, and the flags that follow it.
bool ParseFrame(std::string text, CommandDef& command) {
  for (std::size_t open = text.find('['); open != std::string::npos; open = text.find('[')) {
    const std::size_t close = text.find(']', open);
    if (close == std::string::npos) return false;
    const std::string flag = text.substr(open + 1, close - open - 1);
    if (flag == "encrypted") {
      command.encrypted = true;
    } else if (flag == "compressed") {
      command.compressed = true;
    } else if (flag == "authenticated") {
      command.authenticated = true;
    } else {
      return false;
    }
    text.erase(open, close - open + 1);
  }
  command.frame = Trim(text);
  return !command.frame.empty();
}

bool ParseLine(const std::string& line, CommandDef& command) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string::npos || blank == 0 || blank > 2) return false;
  const std::string opcode = line.substr(0, blank);
  if (opcode.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return false;
  command.opcode = static_cast<int>(std::strtoul(opcode.c_str(), nullptr, 16));
  if (command.opcode == 0xFF) return false;  // 0xFF is padding between commands
  const std::size_t colon = line.find(':', blank);
  if (!ParseFrame(line.substr(blank + 1,
                              colon == std::string::npos ? std::string::npos : colon - blank - 1),
                  command))
    return false;
  return colon == std::string::npos || ParseComponents(line.substr(colon + 1), command);
}

}  // namespace

bool ParseCommandTable(const std::string& text, std::vector<CommandDef>& table) {
  std::vector<CommandDef> parsed;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = Trim(text.substr(start, end - start));
    start = end + 1;
    if (line.empty() || line[0] == '#') continue;
    CommandDef command;
    if (!ParseLine(line, command) || FindByOpcode(parsed, command.opcode) != nullptr) return false;
    parsed.push_back(command);
  }
  table = parsed;
  return true;
}

bool CommandTableOf(const DeviceInfo& device, std::vector<CommandDef>& table) {
  const char* text = device.GetBitstreamCommands();
  return ParseCommandTable(text != nullptr && text[0] != '\0' ? text : kDefaultCommandTable, table);
}

void ComponentSize(const ComponentDef& def, const DeviceInfo& device, std::uint32_t operand,
                   std::uint64_t& bits, std::uint64_t& bytes) {
  switch (def.kind) {
    case SizeKind::kFrameBits:
      bits = device.GetDataLength();
      break;
    case SizeKind::kIdBits:
      bits = device.GetIDLength();
      break;
    case SizeKind::kUsercodeBits:
      bits = device.GetPhysicalUESLength();
      break;
    case SizeKind::kOperand:
      bits = std::uint64_t{operand} * 8;
      break;
    default:
      bits = std::uint64_t{def.bytes} * 8;
      break;
  }
  bytes = (bits + 7) / 8;
}

const CommandDef* FindByOpcode(const std::vector<CommandDef>& table, int opcode) {
  for (const CommandDef& command : table) {
    if (command.opcode == opcode) return &command;
  }
  return nullptr;
}

const CommandDef* FindByFrame(const std::vector<CommandDef>& table, const std::string& frame) {
  for (const CommandDef& command : table) {
    if (command.frame == frame) return &command;
  }
  return nullptr;
}

}  // namespace fusekit::bitstream_model
