// The --json forms of info: what a file holds, from the library's summaries, in the schema of
// docs/json.md.
#include <cstdio>
#include <string>
#include <vector>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/file_format.h"
#include "tools/fusekit/json.h"
#include "tools/fusekit/json_reports.h"

namespace fusekit::cli {

std::string Hex(unsigned long value, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%0*lX", digits, value);
  return text;
}

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

std::string Strings(const std::vector<std::string>& values) {
  std::vector<std::string> quoted;
  for (const std::string& value : values) quoted.push_back(JsonString(value));
  return JsonArray(quoted);
}

int JedecJson(const std::string& path, JsonObject& out) {
  JEDECSummary s;
  const int status = GetJEDECSummary(path.c_str(), &s);
  if (status != kStatusOk) return status;
  out.AddRaw("fuses", s.hasFuseCount ? std::to_string(s.fuseCount) : "null");
  out.AddRaw("pins", s.hasPinCount ? std::to_string(s.pinCount) : "null");
  out.AddRaw("default_fuse", s.hasDefaultFuse ? std::to_string(s.defaultFuse) : "null");
  out.AddRaw("security", s.hasSecurity ? std::to_string(s.security) : "null");
  out.AddRaw("fuse_checksum", s.hasChecksum ? JsonString(Hex(s.checksum, 4)) : "null");
  out.Add("e_bits", s.eLength);
  out.AddRaw("usercode", s.usercodeBits != 0 ? JsonString(s.usercode) : "null");
  unsigned short computed = 0, stored = 0;
  std::string name = path;
  const int valid = ValidTransmissionChecksum(name.data(), &computed, &stored);
  out.AddRaw("transmission_checksum", JsonObject()
                                          .Add("computed", Hex(computed, 4))
                                          .Add("stored", Hex(stored, 4))
                                          .Add("valid", valid == 1)
                                          .Text());
  return 0;
}

int IscJson(const std::string& path, JsonObject& out) {
  ISCSummary s;
  const int status = GetISCSummary(path.c_str(), &s);
  if (status != 0) return status;
  out.Add("standard", s.standard).Add("created", s.date).Add("creator", s.creator);
  out.AddRaw("entities", Strings(s.entities));
  out.Add("security", s.security);
  out.AddRaw("comments", Strings(Lines(s.comments)));
  std::vector<std::string> blocks;
  for (const ISCBlockSummary& b : s.blocks) {
    JsonObject block;
    block.Add("name", b.name).Add("keyword", b.keyword).Add("unprocessed", b.unprocessed);
    block.Add("rows", b.rowCount)
        .Add("row_width", b.rowWidth)
        .Add("terminate_rows", b.terminateRows);
    block.AddRaw("data_crc", b.hasStoredCRC ? JsonObject()
                                                  .Add("stored", Hex(b.storedCRC, 8))
                                                  .Add("computed", Hex(b.computedCRC, 8))
                                                  .Add("valid", b.storedCRC == b.computedCRC)
                                                  .Text()
                                            : "null");
    blocks.push_back(block.Text());
  }
  out.AddRaw("blocks", JsonArray(blocks));
  out.AddRaw("file_checksum",
             s.hasFileChecksum ? JsonObject()
                                     .Add("stored", Hex(s.storedFileChecksum, 4))
                                     .Add("computed", Hex(s.computedFileChecksum, 4))
                                     .Add("valid", s.storedFileChecksum == s.computedFileChecksum)
                                     .Text()
                               : "null");
  return 0;
}

int ImageJson(const std::string& path, JsonObject& out) {
  ImageSummary s;
  const int status = GetImageSummary(path.c_str(), &s);
  if (status != 0) return status;
  out.Add("image_format", s.format);
  std::vector<std::string> records;
  for (const ImageRecordCount& r : s.records) {
    records.push_back(JsonObject()
                          .Add("kind", r.kind)
                          .Add("count", r.count)
                          .Add("bad_checksum", r.badChecksum)
                          .Text());
  }
  out.AddRaw("records", JsonArray(records));
  out.AddRaw("lowest_address", s.hasData ? std::to_string(s.lowestAddress) : "null");
  out.AddRaw("highest_address", s.hasData ? std::to_string(s.highestAddress) : "null");
  out.Add("data_bytes", s.dataBytes).Add("bad_records", s.badRecords);
  std::vector<std::string> lines;
  for (unsigned long line : s.badLines) lines.push_back(std::to_string(line));
  out.AddRaw("bad_lines", JsonArray(lines));
  return 0;
}

int BitstreamJson(const std::string& path, bool ascii, JsonObject& out) {
  XFPBitstreamFile file;
  const int opened = file.OpenFile(path.c_str());
  if (opened < 0) return opened;
  out.AddRaw("comment", Strings(Lines(file.GetComment())));
  unsigned long bits = 0;
  std::string name = path;
  if (ascii) {
    RBTCheck(path.c_str(), &bits);
  } else {
    BITCheck(name.data(), &bits);
  }
  out.Add("length_bits", bits);
  return 0;
}

int FeatureRowJson(const std::string& path, JsonObject& out) {
  SVFPlusData data;
  std::string name = path;
  const int status = FEA2SVFPlus(name.data(), nullptr, &data);
  if (status != 0) return status;
  for (const auto& [key, field] :
       {std::pair{"feature_row", "FeatureRow_TDI"}, std::pair{"feature_bits", "FeatureBits_TDI"}}) {
    unsigned width = 0;
    const std::string hex = FirstRowHex(data, field, width);
    out.AddRaw(
        key, width == 0 ? "null" : JsonObject().Add("bits", width).Add("value", "0x" + hex).Text());
  }
  out.AddRaw("notes", Strings(Lines(data.GetComment() != nullptr ? data.GetComment() : "")));
  return 0;
}

}  // namespace

int InfoJson(const std::string& path, const std::string& label, FileFormat format) {
  JsonObject out;
  out.Add("file", label).Add("format", FormatName(format));
  int status = -1;
  if (format == FileFormat::kJedec) status = JedecJson(path, out);
  if (format == FileFormat::kIsc) status = IscJson(path, out);
  if (format == FileFormat::kFeatureRow) status = FeatureRowJson(path, out);
  if (IsImageFormat(format)) status = ImageJson(path, out);
  if (IsBitstreamFormat(format))
    status = BitstreamJson(path, format == FileFormat::kAsciiBitstream, out);
  if (status < 0) {
    ComplainStatus(label, std::string("cannot be read as a ") + FormatName(format), status);
    return kExitInvalidInput;
  }
  PrintJson(out.Text());
  return kExitOk;
}

}  // namespace fusekit::cli
