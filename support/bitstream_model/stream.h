// The two file forms of a bitstream as the model library reads and writes them.
//
// Binary form: optional lead-ins (the marker letters "CRVN" for the Pelmo3D, Orlan and Vorsk
// families; for Vorsk the eight bytes 00 01 00 04 and four more), the header 0xFF 0x00 and a
// block of NUL-terminated comment entries, then the body: a preamble of 0xFF bytes (the first
// one closes the header), the synchronisation word 0xBA 0xB3, and the commands. A command is an
// opcode byte, three operand bytes (most significant first) and the components the command
// table gives it; a 0xFF byte between commands is padding.
//
// ASCII form: a banner and other header lines, lead-in lines ("CRVN", "00010004" and eight hex
// digits), the comment entries one a line, then the body's bits as "0" and "1" characters, most
// significant bit of each byte first.
#ifndef FUSEKIT_SUPPORT_BITSTREAM_MODEL_STREAM_H
#define FUSEKIT_SUPPORT_BITSTREAM_MODEL_STREAM_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "fusekit/bitstream_model.h"
#include "support/bitstream_model/byte_source.h"
#include "support/bitstream_model/command_split.h"
#include "support/bitstream_model/command_table.h"

namespace fusekit::bitstream_model {

constexpr std::uint8_t kSync[2] = {0xBA, 0xB3};
constexpr std::uint8_t kLeadInStart[4] = {0x00, 0x01, 0x00, 0x04};
constexpr char kMarker[] = "CRVN";
constexpr char kBanner[] = "Corvane Semiconductor Corporation ASCII Bitstream";
constexpr char kBinaryLeadInLine[] = "00000000000000010000000000000100";
constexpr int kPreambleBytes = 4;

// What a parse finds.
struct Stream {
  bool marker = false;
  std::vector<std::uint8_t> lead_in;  // eight bytes or none
  std::vector<std::string> entries;
  std::vector<std::uint8_t> verbatim;  // the comment block as found
  std::vector<XFPFrameModel> frames;
  // When set, each frame the filter keeps is handed to it as it is read instead of being stored
  // in frames, and counted in frames_handed: a parse in memory of the size of one frame.
  std::function<void(const XFPFrameModel&)> frame_sink;
  std::size_t frames_handed = 0;
  std::size_t frames_passed = 0;  // frames the filter did not keep
  bool encrypted = false;
  bool compressed = false;
  bool authenticated = false;
  std::string error;  // what went wrong, for the log
};

// Which lead-ins a family may have.
struct LeadIns {
  bool marker = false;
  bool block = false;
};
LeadIns LeadInsOf(const char* family);

// Which frames a parse stores: all of them, or those named in a list ended by a null.
struct FrameFilter {
  const char* const* names = nullptr;
  bool Keeps(const std::string& frame) const;
};

// The lead-ins and header of the binary form; the cursor ends at the 0xFF that closes the
// header. 0 or an XFPResult.
int ParseBinaryHeader(ByteSource& in, const LeadIns& lead_ins, Stream& out);
// The body from the cursor: preamble, synchronisation word and commands. Frames the filter
// does not keep are checked and passed over, and still count for the stream's properties.
// With a split, the reader's side of it (command_split.h).
int ParseBody(ByteSource& in, const std::vector<CommandDef>& table, const DeviceInfo& device,
              const FrameFilter& filter, Stream& out, CommandSplit* split = nullptr);
// The commands from the cursor on, as ParseBody after the synchronisation word.
int ParseCommands(ByteSource& in, const std::vector<CommandDef>& table, const DeviceInfo& device,
                  const FrameFilter& filter, Stream& out, CommandSplit* split = nullptr);
// The ASCII form: header lines into out, the body's bytes into body.
int ParseAsciiHeader(const std::string& text, const LeadIns& lead_ins, Stream& out,
                     std::vector<std::uint8_t>& body);

// The body bytes of a model's frames: preamble, synchronisation word and commands.
int BuildBody(const XFPBitstreamModel& model, const std::vector<CommandDef>& table,
              std::vector<std::uint8_t>& out);

bool ReadWholeFile(const char* name, std::vector<std::uint8_t>& bytes);

// A name of the binary form by its extension (".bit", ".rbk", ".msk", in any case); any other
// name is taken for the ASCII form.
bool IsBinaryName(const char* name);

// What the factory does: the model cleared, set to device and kind, and fileName parsed in the
// form its name gives, keeping the frames keptFrames names (all when it is null).
int CreateModel(XFPBitstreamModel& model, DeviceInfo& device, KvLog& log, const char* fileName,
                int kind, const char* const* keptFrames,
                XFPBitstreamModel::ByteObserver observe = nullptr, void* context = nullptr);

// Who sees the bytes of a file as a parse reads it: observe, with context, when it is set.
struct FileObserver {
  XFPBitstreamModel::ByteObserver observe = nullptr;
  void* context = nullptr;
};

// XFPBitstreamModel::Parse of fileName for device, all frames kept, but handing each frame to
// sink as it is read instead of storing it: the result, the comment text the model would hold
// (its entries, each ended by a line feed) and the count of frames. With an empty sink the
// frames are checked and passed over, only counted: no frame is made. The observer, if any,
// sees the whole file, as ParseFile shows it. With a split and no sink, the parse is the
// reader's side of the split.
int ParseFrames(const char* fileName, bool ascii, const DeviceInfo& device,
                const std::function<void(const XFPFrameModel&)>& sink, std::string& comment,
                std::size_t& frames, const FileObserver& observer = FileObserver{},
                CommandSplit* split = nullptr);

// A file in the binary or ASCII form, parsed for device with its command table. The observer,
// if any, sees the whole file once it is open, whatever the parse finds; with a split, it sees
// at least the reader's part of it (command_split.h).
int ParseFile(const char* name, bool ascii, const std::vector<CommandDef>& table,
              const DeviceInfo& device, const FrameFilter& filter, const FileObserver& observer,
              Stream& out, CommandSplit* split = nullptr);

}  // namespace fusekit::bitstream_model

#endif  // FUSEKIT_SUPPORT_BITSTREAM_MODEL_STREAM_H
