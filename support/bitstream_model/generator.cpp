// Writing models as bitstream files, in the binary and the ASCII form.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "support/bitstream_model/stream.h"

namespace fusekit::bitstream_model {
namespace {

struct Closer {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, Closer>;

void Append(std::vector<std::uint8_t>& out, const unsigned char* bytes, std::size_t count) {
  if (count != 0) out.insert(out.end(), bytes, bytes + count);
}

// The lead-ins and header of the binary form: the comment entries each ended by a NUL, padded
// with NULs to the header segment length.
std::vector<std::uint8_t> BinaryHeader(const XFPBitstreamModel& model, const std::string& comment,
                                       unsigned int segment_length) {
  std::vector<std::uint8_t> out;
  if (model.HasMarker()) Append(out, reinterpret_cast<const unsigned char*>(kMarker), 4);
  const KvByteBuffer& lead_in = model.GetLeadIn();
  Append(out, lead_in.GetBuffer(), static_cast<std::size_t>(lead_in.GetDataSize()));
  out.push_back(0xFF);
  out.push_back(0x00);
  std::size_t start = 0;
  while (start < comment.size()) {
    std::size_t end = comment.find('\n', start);
    if (end == std::string::npos) end = comment.size();
    if (end > start) {
      Append(out, reinterpret_cast<const unsigned char*>(comment.data() + start), end - start);
      out.push_back(0x00);
    }
    start = end + 1;
  }
  while (out.size() < segment_length) out.push_back(0x00);
  return out;
}

int WriteBytes(const char* name, const std::vector<std::uint8_t>& bytes) {
  File file(name != nullptr ? std::fopen(name, "wb") : nullptr);
  if (!file) return kXFPCannotWrite;
  if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size())
    return kXFPWriteFailed;
  const bool flushed = std::fflush(file.get()) == 0;
  return std::fclose(file.release()) == 0 && flushed ? kXFPOk : kXFPWriteFailed;
}

}  // namespace

int BuildBody(const XFPBitstreamModel& model, const std::vector<CommandDef>& table,
              std::vector<std::uint8_t>& out) {
  out.insert(out.end(), kPreambleBytes, 0xFF);
  out.insert(out.end(), kSync, kSync + 2);
  for (unsigned int f = 0; f < model.GetFrameCount(); ++f) {
    const XFPFrameModel& frame = *model.GetFrame(f);
    const CommandDef* def = FindByFrame(table, frame.GetName());
    if (def == nullptr) return kXFPUnknownFrame;
    out.push_back(static_cast<std::uint8_t>(def->opcode));
    // The operand: as the frame has it, else the byte count of an operand-sized component.
    std::uint32_t operand = 0;
    if (const XFPFrameComponentModel* info = frame.FindComponent("CommandInfo")) {
      operand = std::uint32_t{info->GetByte(0)} << 16 | std::uint32_t{info->GetByte(1)} << 8 |
                info->GetByte(2);
    }
    for (const ComponentDef& component : def->components) {
      const XFPFrameComponentModel* part = frame.FindComponent(component.name.c_str());
      if (component.kind == SizeKind::kOperand && part != nullptr) operand = part->GetByteSize();
    }
    out.push_back(static_cast<std::uint8_t>(operand >> 16));
    out.push_back(static_cast<std::uint8_t>(operand >> 8));
    out.push_back(static_cast<std::uint8_t>(operand));
    for (const ComponentDef& component : def->components) {
      std::uint64_t bits = 0, bytes = 0;
      ComponentSize(component, model.GetDevice(), operand, bits, bytes);
      const XFPFrameComponentModel* part = frame.FindComponent(component.name.c_str());
      for (std::uint64_t i = 0; i < bytes; ++i) {
        out.push_back(part != nullptr ? part->GetByte(static_cast<unsigned int>(i)) : 0);
      }
    }
  }
  return kXFPOk;
}

}  // namespace fusekit::bitstream_model

namespace bm = fusekit::bitstream_model;

int XFPGenerateBitstream::Generate(const XFPBitstreamModel& model, const XFPHeader& header,
                                   const char* fileName) {
  try {
    std::vector<bm::CommandDef> table;
    if (!bm::CommandTableOf(model.GetDevice(), table)) return kXFPBadCommandTable;
    std::vector<std::uint8_t> bytes =
        bm::BinaryHeader(model, header.GetBitstreamHeader(), header.GetHeaderSegmentLen());
    if (const int status = bm::BuildBody(model, table, bytes); status != kXFPOk) return status;
    return bm::WriteBytes(fileName, bytes);
  } catch (const std::bad_alloc&) {
    return kXFPCannotWrite;
  }
}

int XFPGenerateBitstream::Generate(const XFPBitstreamModel& model, const char* fileName) {
  XFPHeader header;
  header.SetDeviceProperties(model.GetDevice());
  header.SetBitstreamHeader(model.GetComment());
  return Generate(model, header, fileName);
}

namespace fusekit::bitstream_model {
namespace {

// The ASCII form of a stream whose body bytes are given.
int WriteAscii(const XFPBitstreamModel& model, const std::vector<std::uint8_t>& body,
               const char* fileName) {
  std::string text = std::string(bm::kBanner) + "\nCreated by fusekit\n";
  if (model.HasMarker()) text += std::string(bm::kMarker) + "\n";
  const KvByteBuffer& lead_in = model.GetLeadIn();
  if (lead_in.GetDataSize() == 8) {
    char line[32];
    std::snprintf(line, sizeof line, "00010004%02X%02X%02X%02X\n", lead_in.GetBuffer()[4],
                  lead_in.GetBuffer()[5], lead_in.GetBuffer()[6], lead_in.GetBuffer()[7]);
    text += line;
  }
  text += model.GetComment();
  for (std::size_t i = 0; i < body.size(); ++i) {
    for (int bit = 7; bit >= 0; --bit) text += ((body[i] >> bit) & 1) != 0 ? '1' : '0';
    if (i % 4 == 3 || i + 1 == body.size()) text += '\n';
  }
  return WriteBytes(fileName, std::vector<std::uint8_t>(text.begin(), text.end()));
}

}  // namespace
}  // namespace fusekit::bitstream_model

int XFPGenerateBitstream::GenerateAscii(const XFPBitstreamModel& model, const char* fileName) {
  try {
    std::vector<bm::CommandDef> table;
    if (!bm::CommandTableOf(model.GetDevice(), table)) return kXFPBadCommandTable;
    std::vector<std::uint8_t> body;
    if (const int status = bm::BuildBody(model, table, body); status != kXFPOk) return status;
    return bm::WriteAscii(model, body, fileName);
  } catch (const std::bad_alloc&) {
    return kXFPCannotWrite;
  }
}

int XFPGenerateBitstream::ConvertForm(const char* inFile, const char* outFile) {
  try {
    std::vector<std::uint8_t> data;
    if (!bm::ReadWholeFile(inFile, data)) return kXFPCannotOpen;
    bm::Stream stream;
    bm::LeadIns any;
    any.marker = any.block = true;
    std::vector<std::uint8_t> body;
    const bool binary = bm::IsBinaryName(inFile);
    int result;
    if (binary) {
      bm::ByteSource in(data);
      result = bm::ParseBinaryHeader(in, any, stream);
      const std::size_t pos = std::min(static_cast<std::size_t>(in.Offset()), data.size());
      body.assign(data.begin() + static_cast<std::ptrdiff_t>(pos), data.end());
    } else {
      result = bm::ParseAsciiHeader(std::string(data.begin(), data.end()), any, stream, body);
    }
    if (result != kXFPOk) return result;
    XFPBitstreamModel model;
    model.SetMarker(stream.marker);
    if (stream.lead_in.size() == 8) model.SetLeadIn(&stream.lead_in[4]);
    for (const std::string& entry : stream.entries) model.AddCommentEntry(entry.c_str());
    if (!binary) {
      std::vector<std::uint8_t> bytes = bm::BinaryHeader(model, model.GetComment(), 0);
      bytes.insert(bytes.end(), body.begin(), body.end());
      return bm::WriteBytes(outFile, bytes);
    }
    return bm::WriteAscii(model, body, outFile);
  } catch (const std::bad_alloc&) {
    return kXFPCannotWrite;
  }
}
