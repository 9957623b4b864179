// Parsing the binary and ASCII forms into a model.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "fusekit/family.h"
#include "support/bitstream_model/stream.h"

namespace fusekit::bitstream_model {
namespace {

bool IsMarkerLetter(std::uint8_t byte) {
  return byte != 0 && std::strchr(kMarker, byte) != nullptr;
}

std::string Trim(const std::string& text) {
  std::size_t a = 0, b = text.size();
  while (a < b && std::isspace(static_cast<unsigned char>(text[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1]))) --b;
  return text.substr(a, b - a);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The four bytes after "00010004" on a hex lead-in line; false when they are not there.
bool HexLeadIn(const std::string& line, std::size_t at, std::vector<std::uint8_t>& lead_in) {
  std::string digits;
  for (std::size_t i = at + 8; i < line.size() && digits.size() < 8; ++i) {
    if (line[i] != ' ' && line[i] != '\t') digits += line[i];
  }
  if (digits.size() != 8) return false;
  std::vector<std::uint8_t> block(kLeadInStart, kLeadInStart + 4);
  for (int i = 0; i < 4; ++i) {
    const int high = HexDigit(digits[static_cast<std::size_t>(2 * i)]);
    const int low = HexDigit(digits[static_cast<std::size_t>(2 * i + 1)]);
    if (high < 0 || low < 0) return false;
    block.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  lead_in = block;
  return true;
}

bool BinaryLeadIn(const std::string& next_line, std::vector<std::uint8_t>& lead_in) {
  std::string bits;
  for (char c : next_line) {
    if (c == '0' || c == '1') bits += c;
  }
  if (bits.size() < 32) return false;
  std::vector<std::uint8_t> block(kLeadInStart, kLeadInStart + 4);
  for (int i = 0; i < 4; ++i) {
    block.push_back(static_cast<std::uint8_t>(
        std::stoul(bits.substr(static_cast<std::size_t>(8 * i), 8), nullptr, 2)));
  }
  lead_in = block;
  return true;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
    start = end + 1;
  }
  return lines;
}

}  // namespace

LeadIns LeadInsOf(const char* family) {
  LeadIns lead_ins;
  lead_ins.block = IsVorskFamily(family) != 0;
  lead_ins.marker = lead_ins.block || IsPelmo3DFamily(family) || IsOrlanFamily(family);
  return lead_ins;
}

bool ReadWholeFile(const char* name, std::vector<std::uint8_t>& bytes) {
  InputFile file = OpenInput(name);
  if (!file) return false;
  bytes.clear();
  // Read in one go at the size the file has; a file that grows meanwhile is read on in blocks.
  if (std::fseek(file.get(), 0, SEEK_END) == 0) {
    const long size = std::ftell(file.get());
    std::rewind(file.get());
    if (size > 0) {
      bytes.resize(static_cast<std::size_t>(size));
      bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    }
  }
  std::uint8_t buffer[1 << 16];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0)
    bytes.insert(bytes.end(), buffer, buffer + got);
  return std::ferror(file.get()) == 0;
}

int ParseBinaryHeader(ByteSource& in, const LeadIns& lead_ins, Stream& out) {
  for (;;) {
    if (lead_ins.marker && in.Need(1) && IsMarkerLetter(in.At()[0])) {
      out.marker = true;
      in.Advance(1);
    } else if (lead_ins.block && in.Need(8) && std::memcmp(in.At(), kLeadInStart, 4) == 0) {
      out.lead_in.assign(in.At(), in.At() + 8);
      in.Advance(8);
    } else {
      break;
    }
  }
  if (!in.Need(2) || in.At()[0] != 0xFF || in.At()[1] != 0x00) {
    out.error = "the header does not begin with 0xFF 0x00";
    return kXFPNoHeader;
  }
  std::size_t end = 0;
  if (!in.Find(0xFF, 2, end)) {
    out.error = "no 0xFF closes the comment block";
    return kXFPHeaderNotClosed;
  }
  const std::uint8_t* block = in.At();
  // The block after its leading 0x00: entries, each ended by a NUL.
  if (end > 2 && block[end - 1] != 0x00) {
    out.error = "the last comment entry has no NUL";
    return kXFPCommentNotEnded;
  }
  out.verbatim.assign(block + 2, block + end);  // the 0x00 after 0xFF belongs to the frame
  std::string entry;
  for (std::size_t i = 2; i < end; ++i) {
    if (block[i] != 0) {
      entry += static_cast<char>(block[i]);
    } else if (!entry.empty()) {
      out.entries.push_back(entry);
      entry.clear();
    }
  }
  in.Advance(end);
  return kXFPOk;
}

bool FrameFilter::Keeps(const std::string& frame) const {
  if (names == nullptr) return true;
  for (const char* const* name = names; *name != nullptr; ++name) {
    if (frame == *name) return true;
  }
  return false;
}

int ParseBody(ByteSource& in, const std::vector<CommandDef>& table, const DeviceInfo& device,
              const FrameFilter& filter, Stream& out, CommandSplit* split) {
  std::uint64_t preamble = 0;
  while (in.Need(1) && in.At()[0] == 0xFF) {
    in.Advance(1);
    ++preamble;
  }
  if (preamble == 0 || !in.Need(2) || in.At()[0] != kSync[0] || in.At()[1] != kSync[1]) {
    out.error = "the preamble is not followed by the synchronisation word BA B3";
    return kXFPNoSync;
  }
  in.Advance(2);
  return ParseCommands(in, table, device, filter, out, split);
}

int ParseCommands(ByteSource& in, const std::vector<CommandDef>& table, const DeviceInfo& device,
                  const FrameFilter& filter, Stream& out, CommandSplit* split) {
  std::vector<bool> kept_commands(table.size());  // the filter's answer for each command
  for (std::size_t i = 0; i < table.size(); ++i) kept_commands[i] = filter.Keeps(table[i].frame);
  for (;;) {
    // At the split the rest is the helper's; asked before reading on, so that the reader reads
    // nothing of the helper's part.
    if (int status = kXFPOk; split != nullptr && split->Arrive(in, out, status)) return status;
    if (!in.Need(1)) break;
    const int opcode = in.At()[0];
    if (opcode == 0xFF) {
      in.Advance(1);
      continue;
    }
    const CommandDef* def = FindByOpcode(table, opcode);
    const std::uint64_t start = in.Offset();
    auto fail = [&](const char* before, const char* after, int status) {
      char where[96];
      std::snprintf(where, sizeof where, "command 0x%02X at byte %llu",
                    static_cast<unsigned>(opcode), static_cast<unsigned long long>(start));
      out.error = std::string(before) + where + after;
      return status;
    };
    if (def == nullptr) return fail("unknown ", "", kXFPUnknownCommand);
    if (!in.Need(4)) return fail("", " runs past the end of the file", kXFPTruncatedCommand);
    const std::uint8_t* command = in.At();
    const std::uint32_t operand =
        std::uint32_t{command[1]} << 16 | std::uint32_t{command[2]} << 8 | command[3];
    const bool kept = kept_commands[static_cast<std::size_t>(def - table.data())];
    XFPFrameModel frame(kept ? def->frame.c_str() : "", opcode);
    if (kept) {
      frame.ReserveComponents(static_cast<unsigned int>(1 + def->components.size()));
      frame.AddComponent(XFPFrameComponentModel("CommandInfo", command + 1, 3, 24));
    }
    in.Advance(4);
    for (const ComponentDef& component : def->components) {
      std::uint64_t bits = 0, bytes = 0;
      ComponentSize(component, device, operand, bits, bytes);
      const bool there = kept ? static_cast<std::size_t>(bytes) == bytes &&
                                    in.Need(static_cast<std::size_t>(bytes))
                              : in.Skip(bytes);
      if (!there) return fail("", " runs past the end of the file", kXFPTruncatedCommand);
      if (!kept) continue;
      frame.AddComponent(XFPFrameComponentModel(
          component.name.c_str(), bytes != 0 ? in.At() : nullptr, static_cast<unsigned int>(bytes),
          static_cast<unsigned int>(bits)));
      in.Advance(static_cast<std::size_t>(bytes));
    }
    if (!kept) {
      ++out.frames_passed;
    } else if (out.frame_sink) {
      out.frame_sink(frame);
      ++out.frames_handed;
    } else {
      out.frames.push_back(std::move(frame));
    }
    out.encrypted = out.encrypted || def->encrypted;
    out.compressed = out.compressed || def->compressed;
    out.authenticated = out.authenticated || def->authenticated;
    if (split != nullptr) split->AfterCommand(in, opcode, start);
  }
  if (in.Failed()) {
    out.error = "cannot be read";
    return kXFPCannotOpen;
  }
  return kXFPOk;
}

int ParseAsciiHeader(const std::string& text, const LeadIns& lead_ins, Stream& out,
                     std::vector<std::uint8_t>& body) {
  const std::vector<std::string> lines = Lines(text);
  std::size_t i = 0;
  for (; i < lines.size(); ++i) {
    const std::string line = Trim(lines[i]);
    if (line.empty() || line.compare(0, 2, "//") == 0) continue;
    if (lead_ins.block) {
      const std::size_t hex = line.find("00010004");
      if (line.find(kBinaryLeadInLine) != std::string::npos && i + 1 < lines.size() &&
          BinaryLeadIn(lines[i + 1], out.lead_in)) {
        ++i;
        continue;
      }
      if (hex != std::string::npos && HexLeadIn(line, hex, out.lead_in)) continue;
    }
    if (line[0] == '0' || line[0] == '1') break;
    if (lead_ins.marker && line.compare(0, 4, kMarker) == 0) {
      out.marker = true;
    } else if (line.find(':') != std::string::npos) {
      out.entries.push_back(line);
      out.verbatim.insert(out.verbatim.end(), line.begin(), line.end());
      out.verbatim.push_back(0);
    }
  }
  unsigned byte = 0;
  int bits = 0;
  bool any = false;
  for (; i < lines.size(); ++i) {
    if (Trim(lines[i]).compare(0, 2, "//") == 0) continue;
    for (char c : lines[i]) {
      if (std::isspace(static_cast<unsigned char>(c))) continue;
      any = true;
      byte = byte << 1 | (c == '1' ? 1u : 0u);
      if (++bits == 8) {
        body.push_back(static_cast<std::uint8_t>(byte));
        byte = 0;
        bits = 0;
      }
    }
  }
  if (!any) {
    out.error = "no data lines";
    return kXFPNoData;
  }
  return kXFPOk;
}

int ParseFile(const char* name, bool ascii, const std::vector<CommandDef>& table,
              const DeviceInfo& device, const FrameFilter& filter, const FileObserver& observer,
              Stream& out, CommandSplit* split) {
  const LeadIns lead_ins = LeadInsOf(device.GetFamily());
  if (ascii) {
    std::vector<std::uint8_t> data;
    if (!ReadWholeFile(name, data)) {
      out.error = "cannot be opened";
      return kXFPCannotOpen;
    }
    if (observer.observe != nullptr) {
      if (!data.empty()) observer.observe(observer.context, data.data(), data.size());
      observer.observe(observer.context, nullptr, 0);
    }
    std::vector<std::uint8_t> body;
    const int result = ParseAsciiHeader(std::string(data.begin(), data.end()), lead_ins, out, body);
    if (result != kXFPOk) return result;
    ByteSource in(body);
    return ParseBody(in, table, device, filter, out);
  }
  InputFile file = OpenInput(name);
  if (!file) {
    out.error = "cannot be opened";
    return kXFPCannotOpen;
  }
  ByteSource in(file.get());
  in.SetObserver(observer.observe, observer.context);
  int result = ParseBinaryHeader(in, lead_ins, out);
  if (result == kXFPOk) result = ParseBody(in, table, device, filter, out, split);
  if (observer.observe != nullptr) {
    in.Drain();
    observer.observe(observer.context, nullptr, 0);
  }
  return result;
}

int ParseFrames(const char* fileName, bool ascii, const DeviceInfo& device,
                const std::function<void(const XFPFrameModel&)>& sink, std::string& comment,
                std::size_t& frames, const FileObserver& observer, CommandSplit* split) {
  comment.clear();
  frames = 0;
  if (fileName == nullptr) return kXFPNullArgument;
  Stream stream;
  stream.frame_sink = sink;
  static const char* const kNoFrames[] = {nullptr};
  const FrameFilter filter{sink ? nullptr : kNoFrames};
  try {
    std::vector<CommandDef> table;
    if (!CommandTableOf(device, table)) return kXFPBadCommandTable;
    // Frames handed to a sink are made by the reader alone.
    const int result =
        ParseFile(fileName, ascii, table, device, filter, observer, stream, sink ? nullptr : split);
    if (result != kXFPOk) return result;
  } catch (const std::bad_alloc&) {
    return kXFPTruncatedCommand;  // as XFPBitstreamModel::Parse
  }
  for (const std::string& entry : stream.entries) comment += entry + "\n";
  frames = sink ? stream.frames_handed : stream.frames_passed;
  return kXFPOk;
}

}  // namespace fusekit::bitstream_model

using fusekit::bitstream_model::Stream;

int XFPBitstreamModel::Parse(const char* fileName, bool ascii, KvLog* log) {
  return Parse(fileName, ascii, log, nullptr);
}

int XFPBitstreamModel::Parse(const char* fileName, bool ascii, KvLog* log,
                             const char* const* keptFrames) {
  return Parse(fileName, ascii, log, keptFrames, nullptr, nullptr);
}

int XFPBitstreamModel::Parse(const char* fileName, bool ascii, KvLog* log,
                             const char* const* keptFrames, ByteObserver observe, void* context) {
  namespace bm = fusekit::bitstream_model;
  const DeviceInfo device = device_;
  const int kind = kind_;
  Clear();
  device_ = device;
  kind_ = kind;
  Stream stream;
  int result = kXFPOk;
  try {
    std::vector<bm::CommandDef> table;
    if (fileName == nullptr) return kXFPNullArgument;
    if (!bm::CommandTableOf(device_, table)) {
      stream.error = "the command table of the device cannot be read";
      result = kXFPBadCommandTable;
    } else {
      result = bm::ParseFile(fileName, ascii, table, device_, bm::FrameFilter{keptFrames},
                             bm::FileObserver{observe, context}, stream);
    }
  } catch (const std::bad_alloc&) {
    stream.error = "out of memory";
    result = kXFPTruncatedCommand;
  }
  if (result != kXFPOk) {
    if (log != nullptr && log->IsOpen())
      log->WriteMessage("Bitstream %s: %s\n", fileName, stream.error.c_str());
    return result;
  }
  marker_ = stream.marker;
  if (stream.lead_in.size() == 8) SetLeadIn(&stream.lead_in[4]);
  for (const std::string& entry : stream.entries) comment_ += entry + "\n";
  if (!stream.verbatim.empty())
    verbatim_.AppendData(stream.verbatim.data(), static_cast<unsigned int>(stream.verbatim.size()));
  frames_ = std::move(stream.frames);
  encrypted_ = stream.encrypted;
  compressed_ = stream.compressed;
  authenticated_ = stream.authenticated;
  UpdateBitstreamHeaderSegmentLength();
  return kXFPOk;
}
