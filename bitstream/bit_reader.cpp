// BIT2SVFPlus and RBT2SVFPlus: the binary and ASCII forms of a bitstream stored whole, as one bit
// string, in "FuseArray_TDI", with the usercode and identifier the device needs.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "bitstream/model_access.h"
#include "core/file_io.h"
#include "fusekit/bitstream.h"
#include "fusekit/crc.h"
#include "fusekit/family.h"
#include "support/devicedb/call_scope.h"
#include "support/progdata/row_filler.h"
#include "support/util/bit_ops.h"

namespace fusekit::bitstream {
namespace {

constexpr int kCannotOpen = -2;
constexpr int kRowFailed = -3;
constexpr int kNullArgument = -6;
constexpr std::size_t kCommentLimit = 100000;
constexpr unsigned kSplitBits = 2000;
constexpr char kMarker[] = "CRVN";
constexpr std::size_t kAsciiPiece = 255;  // characters of a line taken at once

// The fuse rows: the whole file, reversed, one row after another.
class FuseRows {
 public:
  FuseRows(SVFDataField& field, unsigned int bits) : rows_(field, bits, 0xFF) {}
  bool Store(std::uint8_t byte) {
    ok_ = ok_ && rows_.Put(byte);
    return ok_;
  }
  bool StoreRun(const std::uint8_t* bytes, std::size_t count) {
    ok_ = ok_ && rows_.PutRun(bytes, count);
    return ok_;
  }
  bool StartFirstRow() { return ok_ = rows_.StartRow(); }
  bool Ok() const { return ok_; }

 private:
  progdata::RowFiller rows_;
  bool ok_ = true;
};

unsigned RowBits(const DeviceInfo& device) {
  return device.GetAddressLength() == 1 ? device.GetFuseNumber() : device.GetDataLength();
}

bool IsMarkerLetter(int byte) {
  return byte > 0 && std::strchr(kMarker, byte) != nullptr;
}

bool MarkerFamily(const char* family) {
  return IsPelmo3DFamily(family) || IsOrlanFamily(family) || IsVorskFamily(family);
}

// The binary reader's state machine, fed the bytes of the file in order, in pieces of any size.
// Before the header: the marker letters of the families that have them are stored as they are,
// and a Vorsk lead-in (00 01 00 04 and four bytes) too; then every byte up to the first 0xFF
// (the header) is stored as one 0xFF, and the rest of the file as it is.
class BinaryRows {
 public:
  BinaryRows(const DeviceInfo& device, FuseRows& rows)
      : marker_family_(MarkerFamily(device.GetFamily())),
        vorsk_(IsVorskFamily(device.GetFamily()) != 0),
        rows_(rows) {}

  void Feed(const std::uint8_t* bytes, std::size_t count) {
    for (; count != 0 && rows_.Ok(); ++bytes, --count) {
      if (state_ == State::kBody && looked_ahead_ < 0 && copy_ == 0) {
        rows_.StoreRun(bytes, count);
        return;
      }
      Step(*bytes);
    }
  }
  // The end of the file: a Vorsk lead-in cut short stands for one 0xFF, as any other bytes
  // taken after a 0x00 do.
  void Finish() {
    if (looked_ahead_ >= 0) rows_.Store(0xFF);
    looked_ahead_ = -1;
  }

 private:
  enum class State { kLeadIn, kHeader, kBody };

  void Step(std::uint8_t c) {
    if (looked_ahead_ >= 0) {  // the three bytes after a Vorsk 0x00
      ahead_[looked_ahead_++] = c;
      if (looked_ahead_ < 3) return;
      looked_ahead_ = -1;
      state_ = State::kHeader;
      if (ahead_[0] == 0x01 && ahead_[1] == 0x00 && ahead_[2] == 0x04) {
        for (std::uint8_t b : {0x00, 0x01, 0x00, 0x04}) rows_.Store(b);
        copy_ = 4;
      } else {
        rows_.Store(0xFF);  // one filler for every byte taken (the positions shift)
      }
      return;
    }
    if (copy_ != 0) {  // the four bytes of a lead-in
      --copy_;
      rows_.Store(c);
      return;
    }
    switch (state_) {
      case State::kLeadIn:
        if (vorsk_ && c == 0x00) {
          looked_ahead_ = 0;
        } else if (marker_family_ && IsMarkerLetter(c)) {
          rows_.Store(c);
        } else {
          state_ = State::kHeader;
          rows_.Store(0xFF);
        }
        return;
      case State::kHeader:
        if (c == 0xFF) state_ = State::kBody;
        rows_.Store(0xFF);
        return;
      case State::kBody:
        rows_.Store(c);
        return;
    }
  }

  const bool marker_family_;
  const bool vorsk_;
  FuseRows& rows_;
  State state_ = State::kLeadIn;
  std::uint8_t ahead_[3] = {};
  int looked_ahead_ = -1;  // bytes of ahead_ taken, -1 when none are looked for
  int copy_ = 0;           // lead-in bytes still to store as they are
};

// Feeds the whole file to the rows.
bool ReadBinary(std::FILE* file, BinaryRows& reader, FuseRows& rows) {
  const bool read = core::ForEachChunk(file, [&](const std::uint8_t* bytes, std::size_t count) {
    reader.Feed(bytes, count);
    return rows.Ok();
  });
  reader.Finish();
  return read && rows.Ok();
}

// The lines of a text as the ASCII reader takes them: pieces of at most 255 characters, line
// ends removed.
std::vector<std::string> AsciiLines(std::FILE* file) {
  std::vector<std::string> lines;
  char buffer[kAsciiPiece + 1];
  while (std::fgets(buffer, sizeof buffer, file) != nullptr) {
    std::string line(buffer);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

std::string TrimUpper(const std::string& text) {
  std::size_t a = 0, b = text.size();
  while (a < b && std::isspace(static_cast<unsigned char>(text[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(text[b - 1]))) --b;
  std::string out = text.substr(a, b - a);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

// Bytes from hex digit pairs from text[at] on: blanks skipped; the end or 0xFF ends a byte early.
void StoreHexBytes(const std::string& text, std::size_t at, int count, FuseRows& rows) {
  for (int n = 0; n < count; ++n) {
    unsigned byte = 0;
    for (int digit = 0; digit < 2; ++digit) {
      while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
      if (at >= text.size() || static_cast<unsigned char>(text[at]) == 0xFF) break;
      byte = byte << 4 | util_HexAnsi2Hex(text[at++]);
    }
    rows.Store(static_cast<std::uint8_t>(byte));
  }
}

void StoreBinaryBytes(const std::string& text, int count, FuseRows& rows) {
  std::size_t at = 0;
  for (int n = 0; n < count; ++n) {
    unsigned byte = 0;
    for (int bit = 0; bit < 8 && at < text.size(); ++bit) {
      while (at < text.size() && text[at] != '0' && text[at] != '1') ++at;
      if (at < text.size()) byte = byte << 1 | (text[at++] == '1' ? 1u : 0u);
    }
    rows.Store(static_cast<std::uint8_t>(byte));
  }
}

// A header line: the marker's four letters, then one 0xFF byte for every other character that is
// not white space; a 0xFF character ends the line. Returns the bytes it stands for.
std::uint64_t HeaderLine(const std::string& line, bool marker_family, FuseRows* rows) {
  std::uint64_t bytes = 0;
  std::size_t at = 0;
  if (marker_family && line.compare(0, 4, kMarker) == 0) {
    for (int i = 0; i < 4; ++i) {
      if (rows != nullptr) rows->Store(static_cast<std::uint8_t>(kMarker[i]));
    }
    bytes += 4;
    at = 4;
  }
  for (; at < line.size(); ++at) {
    const auto c = static_cast<unsigned char>(line[at]);
    if (c == 0xFF) break;
    if (std::isspace(c)) continue;
    if (rows != nullptr) rows->Store(0xFF);
    ++bytes;
  }
  return bytes;
}

// A line whose first token begins with "//".
bool IsCommentLine(const std::string& line) {
  const std::size_t first = line.find_first_not_of(" \t\r\n");
  return first != std::string::npos && line.compare(first, 2, "//") == 0;
}

// Walks the ASCII form: header lines, Vorsk lead-in lines and data bits. With rows null it only
// counts the bytes.
std::uint64_t WalkAscii(const std::vector<std::string>& lines, const DeviceInfo* device,
                        FuseRows* rows) {
  const char* family = device != nullptr ? device->GetFamily() : "";
  const bool marker_family = MarkerFamily(family);
  const bool vorsk = IsVorskFamily(family) != 0;
  std::uint64_t bytes = 0;
  std::size_t i = 0;
  for (; i < lines.size(); ++i) {
    const std::string token = TrimUpper(lines[i]);
    if (token.compare(0, 2, "//") == 0 || token.empty()) continue;
    if (vorsk && rows != nullptr) {
      const std::size_t hex = token.find("00010004");
      if (token.find("00000000000000010000000000000100") != std::string::npos) {
        for (std::uint8_t b : {0x00, 0x01, 0x00, 0x04}) rows->Store(b);
        if (i + 1 < lines.size()) StoreBinaryBytes(lines[++i], 4, *rows);
        bytes += 8;
        continue;
      }
      if (hex != std::string::npos) {
        for (std::uint8_t b : {0x00, 0x01, 0x00, 0x04}) rows->Store(b);
        StoreHexBytes(token, 8, 4, *rows);
        bytes += 8;
        continue;
      }
    }
    if (token[0] == '0' || token[0] == '1') break;
    bytes += HeaderLine(token, marker_family, rows);
  }
  unsigned byte = 0;
  int bits = 0;
  for (; i < lines.size(); ++i) {
    if (IsCommentLine(lines[i])) continue;  // a comment wherever it stands
    for (const char c : lines[i]) {
      if (static_cast<unsigned char>(c) == 0xFF) return bytes;
      if (std::isspace(static_cast<unsigned char>(c))) continue;
      byte = (byte << 1 | (c == '1' ? 1u : 0u)) & 0xFF;
      if (++bits == 8) {
        if (rows != nullptr) rows->Store(static_cast<std::uint8_t>(byte));
        ++bytes;
        bits = 0;
      }
    }
  }
  return bytes;
}

// "FuseArray_SPLIT_TDI": the first quotient 250-byte chunks of the source, from its last byte
// down, each into a 2000-bit row from the row's last byte down, and a row of pure 0xFF after the
// last chunk. Without a source (no "FuseArray_TDI" of exactly one row) only that filler row is
// added. Moves `from` past the bytes copied.
int SplitChunks(SVFPlusData& data, unsigned quotient, const KvByteBuffer* source, int& from) {
  SVFDataField* split = data.AddDataField();
  if (split == nullptr) return kRowFailed;
  split->SetFieldName("FuseArray_SPLIT_TDI");
  const std::vector<std::uint8_t> chunk(kSplitBits / 8, 0xFF);
  auto add_row = [&]() -> KvByteBuffer* {
    KvByteBuffer* row = split->AddRow(kSplitBits);
    if (row == nullptr || row->AppendData(chunk.data(), kSplitBits / 8) == 0) return nullptr;
    return row;
  };
  KvByteBuffer* target = add_row();
  if (target == nullptr) return kRowFailed;
  if (source == nullptr) return 0;
  const int full_bytes = static_cast<int>(quotient * (kSplitBits / 8));
  int index = static_cast<int>(kSplitBits / 8) - 1;
  for (int copied = 0; copied < full_bytes && from >= 0; ++copied, --from) {
    target->WriteData(index--, source->ReadData(from));
    if (index < 0) {
      target = add_row();
      if (target == nullptr) return kRowFailed;
      index = static_cast<int>(kSplitBits / 8) - 1;
    }
  }
  return 0;
}

// "FuseArray_SPLIT_REMAIN_TDI": one row of the remainder's bits, 0xFF where the source has no
// byte for it, else the next bytes of the source, the lowest source index of the run to index 0.
int SplitRemainder(SVFPlusData& data, unsigned remainder, const KvByteBuffer* source, int from) {
  SVFDataField* rest = data.AddDataField();
  if (rest == nullptr) return kRowFailed;
  rest->SetFieldName("FuseArray_SPLIT_REMAIN_TDI");
  const unsigned rest_bytes = (remainder + 7) / 8;
  KvByteBuffer* row = rest->AddRow(remainder);
  const std::vector<std::uint8_t> fill(rest_bytes, 0xFF);
  if (row == nullptr || row->AppendData(fill.data(), rest_bytes) == 0) return kRowFailed;
  if (source == nullptr) return 0;
  const int lowest = from - static_cast<int>(rest_bytes) + 1;
  for (unsigned k = 0; k < rest_bytes; ++k) {
    const int source_index = lowest + static_cast<int>(k);
    if (source_index >= 0) row->WriteData(static_cast<int>(k), source->ReadData(source_index));
  }
  return 0;
}

// The split copies of row 1 of "FuseArray_TDI": 2000-bit rows when the row holds at least one
// whole chunk, and the remainder whenever there is one, however short the row.
int Split(SVFPlusData& data, unsigned int row_bits) {
  const unsigned quotient = row_bits / kSplitBits;
  const unsigned remainder = row_bits % kSplitBits;
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  const KvByteBuffer* source =
      array != nullptr && array->GetRowCount() == 1 ? array->GetRow(1) : nullptr;
  int from = source != nullptr ? source->GetDataSize() - 1 : -1;
  if (quotient >= 1) {
    if (const int status = SplitChunks(data, quotient, source, from); status != 0) return status;
  }
  return remainder >= 1 ? SplitRemainder(data, remainder, source, from) : 0;
}

int AddRowOf(SVFPlusData& data, const char* name, unsigned bits, const std::uint8_t* bytes,
             std::size_t count) {
  SVFDataField* field = data.AddDataField();
  if (field == nullptr) return kRowFailed;
  field->SetFieldName(name);
  KvByteBuffer* row = field->AddRow(bits);
  if (row == nullptr) return kRowFailed;
  const std::size_t size = (bits + 7) / 8;
  for (std::size_t i = 0; i < size; ++i) {
    if (row->WriteData(i < count && bytes != nullptr ? bytes[i] : 0) == 0) return kRowFailed;
  }
  return 0;
}

bool IsTorvik2Class(const std::string& family) {
  static const char* const kFamilies[] = {
      "CorvaneTorvik2",      "CorvaneDunmar2",   "CorvaneTorvik2M",     "CorvaneTorvik2_ENG",
      "CorvaneTorvik2M_ENG", "CorvaneDunmar2M",  "CorvaneTorvik2S",     "CorvaneTorvik2MS",
      "CorvaneDunmar2S",     "CorvaneDunmar2MS", "CorvaneTorvik2S_ENG", "CorvaneTorvik2MS_ENG"};
  for (const char* name : kFamilies) {
    if (family == name) return true;
  }
  return false;
}

// Encrypted Torvik2-class streams: the first 0xBA of the file and the first 0xB3 after it become
// 0xFF in the stored row.
void ScrubSync(SVFPlusData& data) {
  SVFDataField* array = data.GetDataField("FuseArray_TDI");
  if (array == nullptr || array->GetRowCount() != 1) return;
  KvByteBuffer* row = array->GetRow(1);
  const int size = row->GetDataSize();
  bool found_first = false;
  for (int i = size - 1, steps = 0; i >= 0 && steps < size; --i, ++steps) {
    const unsigned char byte = row->ReadData(i);
    if (!found_first && byte == 0x5D) {
      row->WriteData(i, 0xFF);
      found_first = true;
    } else if (found_first && byte == 0xCD) {
      row->WriteData(i, 0xFF);
      return;
    }
  }
}

bool InOrderUsercodeFamily(const char* family) {
  return IsTorvik4Family(family) || IsPelmo2Family(family) || IsPelmo3DFamily(family) ||
         IsFendra2Family(family) || IsGlimraFamily(family) || IsOrlanFamily(family) ||
         IsVorskFamily(family);
}

// The usercode from the model (or the identifier for "TEBU" devices) and the "ID" field.
// Of the model only the comment, the properties and two frames are wanted.
const char* const kUsercodeFrames[] = {"Usercode Frame", "Write Patch Init Address Frame", nullptr};

// The model of the usercode rules: built while the rows are read, or when they are done.
struct UsercodeModel {
  XFPBitstreamModel model;
  int built = 0;
  bool ready = false;
};

// Whether the usercode rules read the model, once the device has its backup values back.
bool UsercodeNeedsModel(const DeviceInfo& device) {
  return device.GetPhysicalUESLength() >= 1 && std::strncmp(device.GetFamily(), "TEBU", 4) != 0;
}

int AddUsercodeAndId(const char* file_name, DeviceInfo& device, SVFPlusData& data,
                     UsercodeModel& summary) {
  device.RestoreDeviceBackupValue();
  const unsigned usercode_bits = device.GetPhysicalUESLength();
  if (usercode_bits < 1) return 0;
  const std::string family = device.GetFamily();
  const unsigned id = device.GetjtagDeviceID();
  int result = 0;
  if (family.compare(0, 4, "TEBU") == 0) {
    const std::uint8_t bytes[4] = {static_cast<std::uint8_t>(id >> 24),
                                   static_cast<std::uint8_t>(id >> 16),
                                   static_cast<std::uint8_t>(id >> 8), 0x01};
    if (AddRowOf(data, "Usercode_TDI", usercode_bits, bytes, 4) != 0) return kRowFailed;
  } else {
    if (!summary.ready) {
      summary.built = BuildConfigSummary(summary.model, device, file_name, kUsercodeFrames);
      summary.ready = true;
    }
    const XFPBitstreamModel& model = summary.model;
    const int built = summary.built;
    if (built < 0) {
      if (AddRowOf(data, "Usercode_TDI", usercode_bits, nullptr, 0) != 0) return kRowFailed;
      result = built;
    } else {
      std::string comment = model.GetComment();
      if (comment.size() > kCommentLimit - 1) comment.resize(kCommentLimit - 1);
      data.SetComment(comment.c_str());
      if (model.IsEncrypted()) data.SetEncrypted(true);
      if (IsVorskFamily(family.c_str())) {
        data.SetFirmware(model.FindComponent("Write Patch Init Address Frame", "CommandInfo") !=
                         nullptr);
      }
      const XFPFrameComponentModel* usercode = model.FindComponent("Usercode Frame", "Usercode");
      if (usercode != nullptr) {
        std::vector<std::uint8_t> bytes(usercode->GetBytes(),
                                        usercode->GetBytes() + usercode->GetByteSize());
        if (!InOrderUsercodeFamily(family.c_str())) {
          std::vector<std::uint8_t> reversed(bytes.rbegin(), bytes.rend());
          for (std::uint8_t& b : reversed) b = bits::Mirror(b);
          bytes = reversed;
        }
        if (AddRowOf(data, "Usercode_TDI", usercode_bits, bytes.data(), bytes.size()) != 0)
          return kRowFailed;
      } else if (!model.IsEncrypted()) {
        if (AddRowOf(data, "Usercode_TDI", usercode_bits, nullptr, 0) != 0) return kRowFailed;
      } else {
        if (IsTorvik2Class(family)) ScrubSync(data);
        bool found = false;
        CommentValue(comment.c_str(), "Config Mode:", found);  // read, as it always was, unused
        const std::string value = CommentValue(comment.c_str(), "Usercode:", found);
        if (found && !value.empty()) {
          unsigned int number = 0;
          std::sscanf(value.c_str(), "%X", &number);
          const std::uint8_t bytes[4] = {
              static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
              static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
          const std::size_t size = (usercode_bits + 7) / 8;
          std::vector<std::uint8_t> row(size, 0);
          for (std::size_t i = 0; i < size && i < 4; ++i) row[size - 1 - i] = bytes[3 - i];
          if (AddRowOf(data, "Usercode_TDI", usercode_bits, row.data(), size) != 0)
            return kRowFailed;
        }
      }
    }
  }
  const std::uint8_t id_bytes[4] = {
      static_cast<std::uint8_t>(id >> 24), static_cast<std::uint8_t>(id >> 16),
      static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)};
  if (AddRowOf(data, "ID", device.GetIDLength(), id_bytes, 4) != 0) return kRowFailed;
  return result;
}

// The model parse shows the file to the rows as it reads it, so that the file is read once.
struct ObservedRows {
  BinaryRows* reader;
  bool ended = false;
};

void ObserveBytes(void* context, const unsigned char* bytes, std::size_t count) {
  auto* observed = static_cast<ObservedRows*>(context);
  if (count == 0) {
    observed->ended = true;
  } else {
    observed->reader->Feed(bytes, count);
  }
}

// Rows of the binary form, and the usercode model built in the same pass when the device
// needs one.
bool ReadBinaryRows(std::FILE* file, const char* file_name, DeviceInfo& device, FuseRows& rows,
                    UsercodeModel& summary) {
  BinaryRows reader(device, rows);
  device.RestoreDeviceBackupValue();  // as the usercode rules do, before the model is built
  if (UsercodeNeedsModel(device)) {
    ObservedRows observed{&reader};
    summary.built = BuildConfigSummary(summary.model, device, file_name, kUsercodeFrames,
                                       &ObserveBytes, &observed);
    summary.ready = true;
    if (observed.ended) {
      reader.Finish();
      return rows.Ok();
    }
  }
  return ReadBinary(file, reader, rows);  // the parse did not read the file
}

int ReadBitstream(const char* file_name, DeviceInfo& device, SVFPlusData& data, bool split,
                  bool ascii) {
  core::UniqueFile file = core::OpenFile(file_name, ascii ? "r" : "rb");
  if (!file) return kCannotOpen;
  std::vector<std::string> lines;
  if (ascii) {
    lines = AsciiLines(file.get());
    if (lines.empty()) return kCannotOpen;
  }
  SVFDataField* array = data.AddDataField();
  if (array == nullptr) return kRowFailed;
  array->SetFieldName("FuseArray_TDI");
  const unsigned bits = RowBits(device);
  FuseRows rows(*array, bits);
  if (!rows.StartFirstRow()) return kRowFailed;  // the first row exists whatever the file holds
  UsercodeModel summary;
  const bool stored = ascii ? (WalkAscii(lines, &device, &rows), rows.Ok())
                            : ReadBinaryRows(file.get(), file_name, device, rows, summary);
  if (!stored) return kRowFailed;
  file.reset();
  if (split) {
    if (const int status = Split(data, bits); status != 0) return status;
  }
  return AddUsercodeAndId(file_name, device, data, summary);
}

}  // namespace

// Vorsk ASCII streams are measured in their binary form: the model is generated as a binary
// bitstream next to the input ("<name without extension>_tmp.bit"), measured and removed.
int RegeneratedLength(const char* file_name, DeviceInfo& device, unsigned long* bits) {
  XFPBitstreamModel model;
  const int built = BuildConfigModel(model, device, file_name);
  if (built < 0) return built;
  XFPBitstreamFile file;
  if (file.OpenFile(file_name) < 0) return kNullArgument;
  XFPHeader header;
  header.SetDeviceProperties(device);
  header.SetHeaderSegmentLen(model.UpdateBitstreamHeaderSegmentLength());
  header.SetBitstreamHeader(file.GetComment());
  std::string temporary = file_name;
  const std::size_t dot = temporary.find_last_of('.');
  const std::size_t slash = temporary.find_last_of("/\\");
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) temporary.erase(dot);
  temporary += "_tmp.bit";
  const int generated = XFPGenerateBitstream::Generate(model, header, temporary.c_str());
  if (generated < 0) {
    std::remove(temporary.c_str());
    return generated;
  }
  const int measured = BITCheck(temporary.data(), &device, bits);
  std::remove(temporary.c_str());
  return measured;
}

namespace {

int ReadGuarded(const char* file_name, DeviceInfo* device, SVFPlusData* data, bool split,
                bool ascii) {
  if (device == nullptr || data == nullptr || file_name == nullptr) return kNullArgument;
  devicedb::DeviceCallScope device_scope(device);
  try {
    return ReadBitstream(file_name, *device, *data, split, ascii);
  } catch (const std::bad_alloc&) {
    return kRowFailed;
  }
}

int ReadWithCrc(const char* file_name, DeviceInfo* device, SVFPlusData* data, char* crc_text,
                bool ascii) {
  if (data == nullptr) return kRowFailed;
  const int result = ReadGuarded(file_name, device, data, false, ascii);
  if (result < 0) return result;
  SVFDataField* array = data->GetDataField("FuseArray_TDI");
  if (array == nullptr) return result;
  array->ResetRowPointer();
  char text[64] = "";
  char kind[] = "array";
  GetDataCRC(kind, nullptr, array, nullptr, true, text);
  if (text[0] != '\0' && crc_text != nullptr) std::strcpy(crc_text, text);
  return result;
}

}  // namespace
}  // namespace fusekit::bitstream

int BIT2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, const char*,
                const char*, const char*, char* crcText) {
  return fusekit::bitstream::ReadWithCrc(fileName, device, data, crcText, false);
}

int BIT2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, const char*,
                const char*, const char*, bool split) {
  return fusekit::bitstream::ReadGuarded(fileName, device, data, split, false);
}

int RBT2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, const char*,
                const char*, const char*, char* crcText) {
  return fusekit::bitstream::ReadWithCrc(fileName, device, data, crcText, true);
}

int RBT2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, const char*,
                const char*, const char*, bool split) {
  return fusekit::bitstream::ReadGuarded(fileName, device, data, split, true);
}

int RBTCheck(const char* fileName, unsigned long* bitLength) {
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "r");
  if (!file) return -2;
  try {
    const std::vector<std::string> lines = fusekit::bitstream::AsciiLines(file.get());
    const std::uint64_t bytes = fusekit::bitstream::WalkAscii(lines, nullptr, nullptr);
    if (bitLength != nullptr) *bitLength = static_cast<unsigned long>(bytes * 8);
  } catch (const std::bad_alloc&) {
    return -3;
  }
  return 0;
}

int RBTCheck(const char* fileName, DeviceInfo* device, unsigned long* bitLength) {
  if (device == nullptr) return -6;
  if (!IsVorskFamily(device->GetFamily())) return RBTCheck(fileName, bitLength);
  return fusekit::bitstream::RegeneratedLength(fileName, *device, bitLength);
}
