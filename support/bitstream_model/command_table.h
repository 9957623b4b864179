// The command table of a family's bitstreams: for every opcode, the frame it carries and the
// sizes of the frame's components, taken from the device record.
//
// A table is text, one command a line:
//   <opcode in hex> <frame name>[ [flag]...][: <component>=<size>[, <component>=<size>...]]
// A size is a count of bytes, or "frame" (the data length in bits), "id" (the identifier length
// in bits), "usercode" (the physical usercode length in bits) or "operand" (as many bytes as
// the command's three operand bytes say). Flags mark the frames that make a stream
// "[encrypted]", "[compressed]" or "[authenticated]". Empty lines and lines that begin with '#'
// are passed over.
#ifndef FUSEKIT_SUPPORT_BITSTREAM_MODEL_COMMAND_TABLE_H
#define FUSEKIT_SUPPORT_BITSTREAM_MODEL_COMMAND_TABLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "fusekit/devicedb.h"

namespace fusekit::bitstream_model {

enum class SizeKind { kBytes, kFrameBits, kIdBits, kUsercodeBits, kOperand };

struct ComponentDef {
  std::string name;
  SizeKind kind = SizeKind::kBytes;
  std::uint32_t bytes = 0;  // for kBytes
};

struct CommandDef {
  int opcode = 0;
  std::string frame;
  bool encrypted = false;
  bool compressed = false;
  bool authenticated = false;
  std::vector<ComponentDef> components;
};

// The table written into the library, used for a device record without one.
extern const char* const kDefaultCommandTable;

// Parses a table; false (with table untouched) when a line cannot be read.
bool ParseCommandTable(const std::string& text, std::vector<CommandDef>& table);

// The table of the device record, or the default one. False when it cannot be read.
bool CommandTableOf(const DeviceInfo& device, std::vector<CommandDef>& table);

// The size of a component for the device: bits, and the bytes that hold them. operand is the
// command's operand value.
void ComponentSize(const ComponentDef& def, const DeviceInfo& device, std::uint32_t operand,
                   std::uint64_t& bits, std::uint64_t& bytes);

const CommandDef* FindByOpcode(const std::vector<CommandDef>& table, int opcode);
const CommandDef* FindByFrame(const std::vector<CommandDef>& table, const std::string& frame);

}  // namespace fusekit::bitstream_model

#endif  // FUSEKIT_SUPPORT_BITSTREAM_MODEL_COMMAND_TABLE_H
