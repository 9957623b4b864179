// The ISC data file readers: ISC2SVFPlus and the narrow readers that share its tokenizer.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <list>
#include <new>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/crc.h"
#include "fusekit/family.h"
#include "fusekit/isc.h"
#include "fusekit/jedec.h"
#include "isc/isc_format.h"
#include "isc/text_case.h"
#include "isc/tokenizer.h"
#include "support/devicedb/call_scope.h"
#include "support/legacy_fusemap/grend.h"
#include "support/legacy_fusemap/row_file.h"
#include "support/util/hex_digits.h"

namespace fusekit::isc {
namespace {

// Statuses of the readers.
constexpr int kBadStructure = -2;  // missing "(", unknown keyword or block
constexpr int kNullFieldOrRow = -3;
constexpr int kSyntax = -13;  // syntax inside a block; null data or device
constexpr int kLengthMissing =
    -16;  // the device lacks a block's length; end of file in the main pass
constexpr int kWrongVersion = -17;
constexpr int kBlocksFollow = 0;  // a block ended with ","
constexpr int kDataEnded = 1;     // the file's closing ")"

constexpr const std::array<signed char, 256>& kHexDigitValue = hex::kDigitValue;

// Characters of a line of rows that the bulk path takes: hex digits, blanks and commas.
constexpr std::array<bool, 256> kRowLineCharacter = [] {
  std::array<bool, 256> accepted{};
  for (int c = 0; c < 256; ++c) {
    accepted[static_cast<std::size_t>(c)] =
        kHexDigitValue[static_cast<std::size_t>(c)] >= 0 || c == ' ' || c == '\t' || c == ',';
  }
  return accepted;
}();

bool Is(const std::string& token, const char* keyword) {
  return Upper(token) == keyword;
}

// Reads "-- KEY = number" from an upper-cased comment line; false when the key is absent.
bool CommentValue(const std::string& line, const char* key, unsigned long& value) {
  const std::size_t at = line.find(key);
  if (at == std::string::npos) return false;
  std::size_t p = at + std::strlen(key);
  while (p < line.size() && (line[p] == ' ' || line[p] == '\t')) ++p;
  if (p >= line.size() || line[p] != '=') return false;
  ++p;
  while (p < line.size() && (line[p] == ' ' || line[p] == '\t')) ++p;
  if (p >= line.size() || !std::isdigit(static_cast<unsigned char>(line[p]))) return false;
  value = 0;
  for (; p < line.size() && std::isdigit(static_cast<unsigned char>(line[p])) && value < 0x7FFFFFFF;
       ++p) {
    value = value * 10 + static_cast<unsigned long>(line[p] - '0');
  }
  return true;
}

// A data block's field and row width by the device record, or the status that refuses it.
struct BlockTarget {
  int status = 0;
  const char* field = nullptr;
  unsigned int width = 0;
  bool width_from_comment = false;  // a section block: its ROW_WIDTH comment comes first
};

BlockTarget TargetOf(const std::string& block, const DeviceInfo& device) {
  auto sized = [](const char* field, unsigned int width) {
    return width == 0 ? BlockTarget{kLengthMissing, nullptr, 0} : BlockTarget{0, field, width};
  };
  const unsigned int array_width =
      device.GetAddressLength() == 1 ? device.GetFuseNumber() : device.GetDataLength();
  const unsigned int usercode = device.GetPhysicalUESLength();
  if (block == "array") return sized("FuseArray_TDI", array_width);
  if (block == "array_tdo") return sized("FuseArray_TDO", array_width);
  if (block == "array_mask") return sized("FuseArray_MASK", array_width);
  if (block == "usercode") {
    return sized(std::strcmp(device.GetVendor(), "Helvar") == 0 ? "Usercode_TDO" : "Usercode_TDI",
                 usercode);
  }
  if (block == "usercode_tdo") return sized("Usercode_TDO", usercode);
  if (block == "usercode_mask") return sized("Usercode_MASK", usercode);
  if (block == "padring") {
    return device.GetPadringCount() != 0 ? sized("PadringArray_TDI", device.GetDataLength())
                                         : sized("ArchArray_TDI", device.GetARCHLength());
  }
  if (block == "cfg_pgm" || block == "cfg_vfy") {
    if (!IsOmbrelFamily(device.GetFamily()) || device.GetARCHLength() == 0 ||
        device.GetARCHRow() == 0)
      return {kLengthMissing, nullptr, 0};
    return {0, block == "cfg_pgm" ? "CFGArray_TDI" : "CFGArray_TDO", device.GetARCHRow()};
  }
  if (block == "e_fuse") return sized("EFuseArray_TDI", device.GetDataLength());
  if (block == "e_fuse_tdo") return sized("EFuseArray_TDO", device.GetDataLength());
  if (block == "e_fuse_mask") return sized("EFuseArray_MASK", device.GetDataLength());
  if (block == "control_register_0") return {0, "Control_Register_0_TDI", 32};
  if (block == "control_register_1") return {0, "Control_Register_1_TDI", 32};
  if (block == "sed_crc_tdi") return sized("SEDArray_TDI", device.GetSEDLength());
  return {kBadStructure, nullptr, 0};
}

// A section block's field and default row width (0 when only its size comment gives one), or
// no field when the block is not one of the wanted sections'.
BlockTarget SectionTarget(const std::string& block, const DeviceInfo& device, bool any_section,
                          Section wanted) {
  for (const SectionForm& entry : kSectionForms) {
    if (entry.form.block != block || (!any_section && entry.section != wanted)) continue;
    unsigned int width = 0;
    if (entry.width == SectionWidth::kCommentElse32) width = 32;
    if (entry.width == SectionWidth::kCommentElseSedLength) width = device.GetSEDLength();
    return {0, entry.form.field.data(), width, true};
  }
  return {};
}

class IscParser {
 public:
  explicit IscParser(core::TextReader& in) : tokens_(in) {}

  // The widest row a block's size comment may ask for: more bits than the file has characters
  // to give (four a hex digit) cannot be rows of it.
  void SetFileSize(std::uint64_t bytes) {
    most_row_bits_ = bytes < (std::uint64_t{1} << 60) ? 4 * bytes + 8 : ~std::uint64_t{0};
  }

  Tokenizer& tokens() { return tokens_; }

  bool Next(const char* delimiters, std::string& token) { return tokens_.Next(delimiters, token); }
  bool Expect(const char* text, const char* delimiters = kKeywordDelimiters) {
    std::string token;
    return Next(delimiters, token) && token == text;
  }

  // After "HEADER" "(": the standard version, date, creator and entity names, up to ")".
  int Header(std::vector<std::string>& entities) {
    std::string token;
    while (Next(kKeywordDelimiters, token)) {
      if (token == ")") return 0;
      if (Is(token, "STD_VERSION")) {
        if (!Next(kValueDelimiters, token) || !Is(token, "STD_1532_2001")) return kWrongVersion;
      } else if (Is(token, "CREATION_DATE")) {
        Next(kValueDelimiters, token);
      } else if (Is(token, "CREATOR")) {
        // The text between the double quotes, which may hold blanks.
        if (!Next(kValueDelimiters, token)) return 0;
        std::string creator = token;
        while (creator.size() < 2 || creator.back() != '"') {
          if (!Next(kValueDelimiters, token)) break;
          creator += " " + token;
        }
      } else if (Is(token, "ENTITY")) {
        while (Next(kKeywordDelimiters, token) && token != ")") {
          if (token != ",") entities.push_back(token);
        }
        return 0;
      }
    }
    return 0;
  }

  // After "OVERRIDE": 1 when "proc_program_security" is turned on, else 0.
  int Override() {
    std::string token;
    bool security = false;
    while (Next(kKeywordDelimiters, token)) {
      if (Is(token, "PROC_PROGRAM_SECURITY")) security = true;
      if (Is(token, "ON")) return security ? 1 : 0;
      if (Is(token, "OFF")) return 0;
    }
    return 0;
  }

  // After a block name and "(": its parts, the rows stored in field (null to pass them over).
  // A section block takes its row width from the size comment before its rows when it has one.
  int Block(SVFDataField* field, unsigned int width, bool width_from_comment = false) {
    std::string token;
    for (;;) {
      if (!Next(kKeywordDelimiters, token)) return kSyntax;
      if (token == ")") {
        if (!Next(kKeywordDelimiters, token)) return kSyntax;
        if (token == ",") return kBlocksFollow;
        if (token == ")") return kDataEnded;
        return kSyntax;
      }
      if (Is(token, "REPEAT") || Is(token, "INITIALIZE")) {
        std::string comments;
        if (width_from_comment) tokens_.CaptureComments(&comments);
        const bool opened = Expect("(");
        tokens_.CaptureComments(nullptr);
        if (!opened) return kSyntax;
        unsigned long commented = 0;
        if (width_from_comment && CommentValue(Upper(comments), "ROW_WIDTH", commented)) {
          width = static_cast<unsigned int>(commented);
        }
        if (field != nullptr && (width == 0 || width > most_row_bits_)) return kLengthMissing;
        const int status = Rows(field, width);
        if (status != 0) return status;
      } else if (Is(token, "TERMINATE") || Is(token, "DATA_CRC")) {
        if (!Expect("(")) return kSyntax;
        while (Next(kKeywordDelimiters, token) && token != ")") {
        }
      } else {
        return kSyntax;
      }
    }
  }

 private:
  // Rows of width bits as hex digits, rows separated by ",", up to ")". A width of 1 to 4 bits
  // past a whole byte starts the row with one digit, stored with the high nibble set.
  int Rows(SVFDataField* field, unsigned int width) {
    const bool skipping = field == nullptr;
    if (!skipping && width == 0) return kNullFieldOrRow;
    const unsigned int bytes = (width + 7) / 8;
    const bool short_lead = width % 8 >= 1 && width % 8 <= 4;
    // The row being read, stored when it is complete: filled of its bytes are there.
    const std::unique_ptr<unsigned char[]> row(new unsigned char[bytes]);
    std::size_t filled = 0;
    int byte = short_lead ? 0xF : -1;  // the byte being built, -1 for none; the short first
                                       // byte waits for one digit only
    auto end_row = [&]() -> int {
      if (byte >= 0 || filled != bytes) return kSyntax;  // the row must be complete
      KvByteBuffer* stored = field->AddRow(width);
      if (stored == nullptr || stored->AppendData(row.get(), bytes) == 0) return kNullFieldOrRow;
      filled = 0;
      byte = short_lead ? 0xF : -1;
      return 0;
    };
    // One character of the rows: a digit, a blank, or a "," or ")" that ends a row. 1 when the
    // rows end, 0 to go on, or a status.
    auto take = [&](char c) -> int {
      const int digit = kHexDigitValue[static_cast<unsigned char>(c)];
      if (digit >= 0) {
        if (byte < 0) {
          byte = digit;
          return 0;
        }
        if (filled >= bytes) return kSyntax;
        row[filled++] = static_cast<unsigned char>((byte << 4) | digit);
        byte = -1;
        return 0;
      }
      if (c == ',' || c == ')') {
        if (const int status = end_row(); status != 0) return status;
        return c == ')' ? 1 : 0;
      }
      return c == ' ' || c == '\t' || c == '\n' || c == '\r' ? 0 : kSyntax;
    };
    // A line of the bulk path: pairs of digits that start a byte go in at once.
    auto take_line = [&](const std::uint8_t* p, const std::uint8_t* end) -> int {
      while (p != end) {
        if (byte < 0 && end - p >= 2) {
          const int high = kHexDigitValue[p[0]];
          const int low = kHexDigitValue[p[1]];
          if ((high | low) >= 0) {
            if (filled >= bytes) return kSyntax;
            row[filled++] = static_cast<unsigned char>((high << 4) | low);
            p += 2;
            continue;
          }
        }
        if (const int status = take(static_cast<char>(*p++)); status != 0) return status;
      }
      return 0;
    };
    // The common line, taken in one pass from p, where a line starts, to its line feed, which
    // must come before end: blanks, digits that complete pairs (the pending one first), blanks,
    // at most one "," with blanks after it, and a line feed or CR LF. 1 when the line was taken
    // (next is then past it), 0 when it has another form (nothing is changed then), or a
    // status.
    auto take_plain_line = [&](const std::uint8_t* p, const std::uint8_t* end,
                               const std::uint8_t*& next) -> int {
      const std::size_t kept = filled;
      const int pending = byte;
      auto other_form = [&] {
        filled = kept;
        byte = pending;
        return 0;
      };
      auto skip_blanks = [&] {
        while (p != end && (*p == ' ' || *p == '\t')) ++p;
      };
      skip_blanks();
      if (byte >= 0) {
        const int digit = p != end ? kHexDigitValue[*p] : -1;
        if (digit < 0 || filled >= bytes) return other_form();
        row[filled++] = static_cast<unsigned char>((byte << 4) | digit);
        byte = -1;
        ++p;
      }
      unsigned char* out = row.get() + filled;
      unsigned char* const out_end = row.get() + bytes;
      while (end - p >= 32 && out_end - out >= 16 && hex::DecodePairs32(p, out)) {
        p += 32;
        out += 16;
      }
      for (; end - p >= 2; p += 2) {
        const int high = kHexDigitValue[p[0]];
        const int low = kHexDigitValue[p[1]];
        if ((high | low) < 0) break;
        if (out == out_end) return other_form();
        *out++ = static_cast<unsigned char>((high << 4) | low);
      }
      filled = static_cast<std::size_t>(out - row.get());
      skip_blanks();
      const bool row_ends = p != end && *p == ',';
      if (row_ends) {
        if (filled != bytes) return other_form();
        ++p;
        skip_blanks();
      }
      if (p != end && *p == '\r') ++p;
      if (p == end || *p != '\n') return other_form();
      next = p + 1;
      if (!row_ends) return 1;
      const int status = end_row();
      return status != 0 ? status : 1;
    };
    std::string token;
    for (;;) {
      if (!skipping) {
        if (const int status = TakeWholeLines(take_plain_line, take_line); status != 0)
          return status < 0 ? status : 0;
      }
      if (!Next(kRowDelimiters, token)) return kSyntax;
      if (skipping) {
        // A block passed over: its rows are not checked, only its end is looked for.
        if (token.find(')') != std::string::npos) return 0;
        continue;
      }
      for (const char c : token) {
        if (const int status = take(c); status != 0) return status < 0 ? status : 0;
      }
    }
  }

  // Rows come as lines of digits, blanks and commas. Such lines, when the tokenizer would read
  // each as a line of its own, are handed to take straight from the reader's window, which
  // gives what the tokens would; a line with anything else (a ")", a comment), a line longer
  // than the tokenizer's, or one that runs past the window is left to the tokenizer. Returns 0
  // to go on with the tokenizer, else what take returned.
  // take_plain_line is tried first on each line: 1 when it took the line, 0 when the line is
  // left to take_line.
  template <class TakePlainLine, class TakeLine>
  int TakeWholeLines(TakePlainLine& take_plain_line, TakeLine& take_line) {
    core::TextReader* in = tokens_.ReaderAtLineStart();
    if (in == nullptr) return 0;
    for (;;) {
      const std::uint8_t* p = in->WindowBegin();
      const std::uint8_t* const end = in->WindowEnd();
      const std::uint8_t* const limit =
          end - p > static_cast<std::ptrdiff_t>(kLineChars) ? p + kLineChars - 1 : end;
      const std::uint8_t* next = nullptr;
      const int taken = take_plain_line(p, limit, next);
      if (taken < 0) return taken;
      if (taken > 0) {
        in->Consume(next);
        continue;
      }
      const std::uint8_t* q = p;
      while (q != limit && kRowLineCharacter[*q]) ++q;
      if (q == limit || (*q != '\n' && *q != '\r')) return 0;
      next = q + 1;
      if (*q == '\r') {
        if (next == end) return 0;  // a CR LF may be split by the window's end
        if (*next == '\n') ++next;
      }
      if (const int status = take_line(p, q); status != 0) return status;
      in->Consume(next);
    }
  }

  Tokenizer tokens_;
  std::uint64_t most_row_bits_ = ~std::uint64_t{0};
};

// kFull is ISC2SVFPlus; kWithSections the same with the section blocks besides; kSection one
// section's blocks, the others passed over.
enum class Mode { kFull, kUsercodeOnly, kControlOnly, kWithSections, kSection };

// The modes that read the whole file: header, geometry, identifier, data CRC.
bool ReadsWhole(Mode mode) {
  return mode == Mode::kFull || mode == Mode::kWithSections;
}

// What the Grend path passes on unchanged to GREND_OUT and JEDEC2SVFPlus.
struct LegacyArguments {
  int jedec_mode = 0;
  const char* jedec_option = nullptr;
  const char* work_dir = nullptr;
  const char* package_name = nullptr;
  const char* install_path = nullptr;
};

struct ReadRequest {
  const char* file_name;
  DeviceInfo* device;
  SVFPlusData* data;
  Mode mode;
  int register_index;                            // control reader: 0 or 1
  Section section;                               // section reader: the section
  const std::vector<std::string>* entity_names;  // compared with the header's (no effect)
  char* data_crc_out;
  char* file_crc_out;
  int* array_rows_out;
  LegacyArguments legacy;
};

// The geometry of the "array" block from its size comments, into the device record.
int GeometryPass(const char* file_name, DeviceInfo& device) {
  core::UniqueFile file = core::OpenFile(file_name, "rb");
  if (!file) return kBadStructure;
  core::TextReader in(file.get());
  IscParser parser(in);
  std::string token;
  for (;;) {
    if (!parser.Next(kKeywordDelimiters, token)) return 0;  // no array block: nothing to learn
    if (!Is(token, "DATA")) continue;
    if (!parser.Next(kValueDelimiters, token)) return 0;
    if (Lower(token) == "array") break;
  }
  if (!parser.Expect("(")) return kBadStructure;
  if (!parser.Next(kKeywordDelimiters, token) || !Is(token, "REPEAT")) return 0;
  unsigned long row_width = 0;
  std::string line;
  while (parser.tokens().NextRawLine(line) && line.find('(') == std::string::npos) {
    if (line.compare(0, 2, "--") != 0) continue;
    const std::string upper = Upper(line);
    unsigned long value = 0;
    if (CommentValue(upper, "DATA_WIDTH", value) || CommentValue(upper, "ROW_WIDTH", value)) {
      row_width = value;
    }
    if (CommentValue(upper, "ADDRESS_WIDTH", value) || CommentValue(upper, "COLUMN_WIDTH", value)) {
      device.SetAddressLength(static_cast<unsigned int>(value));
      if (value == 1) device.SetFuseNumber(static_cast<unsigned int>(row_width));
    }
  }
  return 0;
}

// Skips the header's tokens up to its ")" (the narrow readers do not look at it).
void SkipHeader(IscParser& parser) {
  std::string token;
  while (parser.Next(kKeywordDelimiters, token) && token != ")") {
  }
}

// Whether a narrow reader keeps the block, and where: null target means pass it over.
BlockTarget NarrowTarget(const ReadRequest& request, const std::string& block) {
  if (request.mode == Mode::kUsercodeOnly) {
    if (block == "usercode" || block == "usercode_tdo" || block == "usercode_mask") {
      return TargetOf(block, *request.device);
    }
    return {};
  }
  const char* wanted = request.register_index != 0 ? "control_register_1" : "control_register_0";
  return block == wanted ? TargetOf(block, *request.device) : BlockTarget{};
}

int AppendId(SVFPlusData& data, const DeviceInfo& device) {
  SVFDataField* id = data.AddDataField();
  if (id == nullptr) return kNullFieldOrRow;
  id->SetFieldName("ID");
  KvByteBuffer* row = id->AddRow(device.GetIDLength());
  if (row == nullptr) return kNullFieldOrRow;
  const unsigned int value = device.GetjtagDeviceID();
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (row->WriteData(static_cast<unsigned char>(value >> shift)) == 0) return kNullFieldOrRow;
  }
  return 0;
}

// The padding bits of every row (the leading bits of byte 0 of a width that is not a multiple of
// 8) set to 1, as programming data holds them: the writer prints them as 0 when a row's first
// byte takes two digits, and a section read gives back the fields that were written.
void SetPaddingBits(SVFDataField& field) {
  field.ResetRowPointer();
  for (int r = 1; r <= field.GetRowCount(); ++r) {
    KvByteBuffer* row = field.GetRow(r);
    const unsigned int lead = field.GetCurrentRowWidth() % 8;
    field.GetCurrentRow();
    if (row == nullptr || lead == 0 || row->GetDataSize() == 0) continue;
    row->WriteData(0, static_cast<unsigned char>(row->ReadData(0) | ((0xFFu << lead) & 0xFFu)));
  }
  field.ResetRowPointer();
}

// The field and width of a block in the request's mode; no field to pass it over.
BlockTarget TargetOfMode(const ReadRequest& request, const std::string& block) {
  switch (request.mode) {
    case Mode::kFull:
      return TargetOf(block, *request.device);
    case Mode::kWithSections: {
      const BlockTarget main = TargetOf(block, *request.device);
      if (main.status != kBadStructure) return main;
      const BlockTarget section = SectionTarget(block, *request.device, true, Section::kSecurity);
      return section.field != nullptr ? section : main;
    }
    case Mode::kSection:
      return SectionTarget(block, *request.device, false, request.section);
    default:
      return NarrowTarget(request, block);
  }
}

// The main pass: keywords, header, override and data blocks, up to the file's closing ")".
int MainPass(const ReadRequest& request, std::string* comments,
             std::vector<std::string>* entities) {
  core::UniqueFile file = core::OpenFile(request.file_name, "rb");
  if (!file) return kBadStructure;
  core::TextReader in(file.get());
  IscParser parser(in);
  if (request.mode == Mode::kSection || request.mode == Mode::kWithSections) {
    parser.SetFileSize(core::FileSize(file.get()));
  }
  std::string token;
  bool found_block = false;
  int section_blocks = 0;  // blocks of the wanted section read (the override line for security)
  int status = kLengthMissing;
  while (status != kDataEnded) {
    if (!parser.Next(kKeywordDelimiters, token)) return kLengthMissing;
    if (Is(token, "IEEE_1532_DATA")) {
      if (!parser.Expect("(")) return kBadStructure;
      parser.tokens().SetOpened();
    } else if (Is(token, "HEADER")) {
      if (!parser.Expect("(")) return kBadStructure;
      if (!ReadsWhole(request.mode)) {
        SkipHeader(parser);
        continue;
      }
      std::vector<std::string> names;
      const int header = parser.Header(names);
      if (header < 0) return header;
      if (entities != nullptr) *entities = names;
      // The caller's names are compared with the file's; a mismatch does not change the status.
    } else if (Is(token, "OVERRIDE")) {
      const int security = parser.Override();
      if (ReadsWhole(request.mode)) request.data->SetSecurity(security);
      if (request.mode == Mode::kSection && request.section == Section::kSecurity) {
        request.data->SetSecurity(security);
        section_blocks = 1;
      }
    } else if (Is(token, "DATA")) {
      if (!parser.Next(kValueDelimiters, token)) return kLengthMissing;
      const std::string block = Lower(token);
      const BlockTarget target = TargetOfMode(request, block);
      if (target.status < 0) return target.status;
      SVFDataField* field = nullptr;
      if (target.field != nullptr) {
        // A section read replaces what the container held under the name.
        if (request.mode == Mode::kSection) {
          while (request.data->DeleteDataField(target.field)) {
          }
          ++section_blocks;
        }
        field = request.data->AddDataField();
        if (field == nullptr) return kNullFieldOrRow;
        field->SetFieldName(target.field);
        found_block = true;
      }
      if (!parser.Expect("(")) return kBadStructure;
      status = parser.Block(field, target.width, target.width_from_comment);
      if (field != nullptr && target.width_from_comment) SetPaddingBits(*field);
      if (status < 0) return status;
    } else if (token == ")" && request.mode == Mode::kSection) {
      status = kDataEnded;  // a section file may hold no block: the security setting alone
    } else {
      return kBadStructure;  // UNPROCESSED included: such files are refused
    }
  }
  if (comments != nullptr) *comments = parser.tokens().LeadingComments();
  if (request.file_crc_out != nullptr && parser.Next(kKeywordDelimiters, token) && !token.empty()) {
    std::strcpy(request.file_crc_out, Upper(token.substr(0, 255)).c_str());
  }
  if (request.mode == Mode::kSection) {
    // A file without the override line is not secured.
    if (request.section == Section::kSecurity && section_blocks == 0) request.data->SetSecurity(0);
    return section_blocks;
  }
  if (request.mode == Mode::kControlOnly && !found_block) return status;
  // The identifier closes the data; if it cannot be stored, the status reached stands.
  AppendId(*request.data, *request.device);
  return status;
}

// The Grend PLD devices (vendor "Helvar") are read through the legacy fuse-map library: the
// read-back rows go to it as a row file, it builds a JEDEC file, and that file is read instead.
constexpr int kRowFileNotCreated = -1;
constexpr int kJedecNotRead = -13;
constexpr int kGrendResultBase = -4;  // GREND_OUT's failures 1 to 7 become -5 to -11
// The row file holds a character a fuse. The geometry comes from the file's comments, so a
// hostile file could ask for any size; no device of the legacy library comes near this.
constexpr std::uint64_t kMostRowFileFuses = std::uint64_t{1} << 24;

bool IsHelvar(const DeviceInfo& device) {
  return std::strcmp(device.GetVendor(), "Helvar") == 0;
}

// Bit i of the row's bit string is row position i, most significant bit of byte 0 first; bits
// past the row's bytes read as 1. This is the order of the usercode rows of 16 and 32 bits.
std::string PositionBits(const KvByteBuffer* row, unsigned int bits) {
  std::string text(bits, '1');
  if (row == nullptr) return text;
  const unsigned char* bytes = row->GetBuffer();
  const unsigned int size = static_cast<unsigned int>(row->GetDataSize());
  for (unsigned int i = 0; i < bits && i / 8 < size; ++i) {
    text[i] = ((bytes[i / 8] >> (7 - i % 8)) & 1u) != 0 ? '1' : '0';
  }
  return text;
}

// A row as the row file holds it: column c is row position pad + width - 1 - c, the reversal
// that the JEDEC conversion lays the columns out by.
std::string ColumnBits(const KvByteBuffer* row, unsigned int width) {
  const std::string positions = PositionBits(row, (width + 7) / 8 * 8);
  const unsigned int pad = (width + 7) / 8 * 8 - width;
  std::string columns(width, '1');
  for (unsigned int c = 0; c < width; ++c) columns[c] = positions[pad + width - 1 - c];
  return columns;
}

legacy::RowFile ReadBackRows(SVFPlusData& data, const DeviceInfo& device) {
  legacy::RowFile rows;
  SVFDataField* array = data.GetDataField("FuseArray_TDO");
  for (unsigned int a = 0; a < device.GetAddressLength(); ++a) {
    rows[static_cast<int>(a)] =
        ColumnBits(array->GetRow(static_cast<int>(a) + 1), device.GetDataLength());
  }
  if (SVFDataField* usercode = data.GetDataField("Usercode_TDO")) {
    rows[legacy::kUsercodeRow] = PositionBits(usercode->GetRow(1), 32);
  }
  if (SVFDataField* e_fuses = data.GetDataField("EFuseArray_TDO")) {
    rows[legacy::kERow] = ColumnBits(e_fuses->GetRow(1), device.GetDataLength());
  }
  return rows;
}

// The JEDEC file's name: the package's JDF name up to its first '.', else the device's name.
std::string JedecBaseName(DeviceInfo& device, const char* package_name) {
  const PackageList* packages = device.GetDevicePackage();
  const Package* package =
      packages != nullptr && package_name != nullptr ? packages->GetPackage(package_name) : nullptr;
  std::string name = package != nullptr && package->GetJDF() != nullptr ? package->GetJDF() : "";
  name = name.substr(0, name.find('.'));
  return name.empty() ? std::string(device.GetName()) : name;
}

// The legacy library's folder: installPath without a last component "grend" (any case), in
// lower case, with "grend" appended.
std::string LegacyLibraryFolder(const char* install_path) {
  std::string folder = Lower(install_path != nullptr ? install_path : "");
  const std::size_t slash = folder.find_last_of("\\/");
  if (slash != std::string::npos && folder.compare(slash + 1, std::string::npos, "grend") == 0) {
    folder.erase(slash);
  }
  return core::PathInFolder(folder.c_str(), "grend");
}

int ReadThroughLegacyLibrary(const ReadRequest& request) {
  SVFPlusData& data = *request.data;
  DeviceInfo& device = *request.device;
  if (data.GetDataField("FuseArray_TDO") == nullptr) return kNullFieldOrRow;
  const std::string row_file = core::PathInFolder(request.legacy.work_dir, "tvex.tdo");
  const std::string result_file = core::PathInFolder(request.legacy.work_dir, "result.txt");
  const std::string jedec_file =
      core::PathInFolder(request.legacy.work_dir,
                         (JedecBaseName(device, request.legacy.package_name) + ".jed").c_str());
  if (std::uint64_t{device.GetAddressLength()} * device.GetDataLength() > kMostRowFileFuses ||
      !legacy::WriteRowFile(row_file, ReadBackRows(data, device))) {
    std::remove(row_file.c_str());
    return kRowFileNotCreated;
  }
  int result = GREND_OUT(row_file.c_str(), "r", jedec_file.c_str(), result_file.c_str(),
                         request.legacy.jedec_option, request.legacy.work_dir,
                         LegacyLibraryFolder(request.legacy.install_path).c_str());
  if (result >= kGrendOutCannotReadRows && result <= kGrendOutCannotWrite) {
    result = kGrendResultBase - result;
  }
  std::remove(row_file.c_str());
  std::remove(result_file.c_str());
  if (result < 0) return result;

  while (const SVFDataField* first = data.GetDataField(0)) {
    const std::string name = first->GetFieldName();
    if (!data.DeleteDataField(name.c_str())) break;
  }
  std::vector<char> jedec_name(jedec_file.begin(), jedec_file.end());
  jedec_name.push_back('\0');
  const int read = JEDEC2SVFPlus(jedec_name.data(), &device, request.legacy.jedec_mode, &data,
                                 request.legacy.jedec_option, request.legacy.work_dir,
                                 request.legacy.package_name, request.legacy.install_path);
  std::remove(jedec_file.c_str());
  if (read < 0) return kJedecNotRead;
  if (request.data_crc_out != nullptr) {
    request.data_crc_out[0] = '\0';
    if (SVFDataField* array = data.GetDataField("FuseArray_TDO")) {
      SVFDataField* e_fuses = data.GetDataField("EFuseArray_TDO");
      array->ResetRowPointer();
      if (e_fuses != nullptr) e_fuses->ResetRowPointer();
      char name[] = "array_tdo";
      GetDataCRC(name, nullptr, array, e_fuses, true, request.data_crc_out);
    }
  }
  return result;
}

int ReadIsc(const ReadRequest& request) {
  if (request.data == nullptr || request.device == nullptr) return kSyntax;
  if (ReadsWhole(request.mode)) {
    const int geometry = GeometryPass(request.file_name, *request.device);
    if (geometry < 0) return geometry;
  }
  std::vector<std::string> entities;
  const int status = MainPass(request, nullptr, &entities);
  if (status < 0) return status;
  if (request.mode != Mode::kControlOnly && request.mode != Mode::kSection &&
      IsHelvar(*request.device)) {
    const int grend = ReadThroughLegacyLibrary(request);
    if (grend < 0) return grend;
  } else if (ReadsWhole(request.mode) && request.data_crc_out != nullptr) {
    request.data_crc_out[0] = '\0';
    if (SVFDataField* array = request.data->GetDataField("FuseArray_TDI")) {
      array->ResetRowPointer();
      char name[] = "array";
      GetDataCRC(name, nullptr, array, nullptr, true, request.data_crc_out);
    }
  }
  if (ReadsWhole(request.mode) && request.array_rows_out != nullptr) {
    if (const SVFDataField* array = request.data->GetDataField("FuseArray_TDI")) {
      *request.array_rows_out = array->GetRowCount();
    }
  }
  return status;
}

int ReadIscGuarded(const ReadRequest& request) {
  // The geometry the file declares is the one change the full read leaves with the caller.
  devicedb::DeviceCallScope device_scope(request.device);
  if (ReadsWhole(request.mode)) device_scope.KeepGeometry();
  try {
    return ReadIsc(request);
  } catch (const std::bad_alloc&) {
    return kNullFieldOrRow;
  }
}

std::vector<std::string> NamesOf(const KvObjList* list) {
  std::vector<std::string> names;
  if (list == nullptr) return names;
  for (int i = 0; i < list->GetCount(); ++i) {
    if (const auto* element = dynamic_cast<const DeviceStrElement*>(list->GetAt(i))) {
      names.emplace_back(element->GetString());
    }
  }
  return names;
}

// The header of the file only: 0 or -17 from the header parser, -2 when the file cannot be
// opened or does not open with "IEEE_1532_DATA (" and "HEADER (", 1 when it ends before one.
int ReadHeaderOnly(const char* file_name, std::vector<std::string>& entities, std::string& comments,
                   bool require_header_keyword) {
  core::UniqueFile file = core::OpenFile(file_name, "rb");
  if (!file) return kBadStructure;
  core::TextReader in(file.get());
  IscParser parser(in);
  std::string token;
  if (!parser.Next(kKeywordDelimiters, token)) return 1;
  if (!Is(token, "IEEE_1532_DATA") && require_header_keyword) return kBadStructure;
  if (!parser.Expect("(")) return kBadStructure;
  parser.tokens().SetOpened();
  comments = parser.tokens().LeadingComments();
  if (!parser.Next(kKeywordDelimiters, token)) return 1;
  if (!Is(token, "HEADER")) return require_header_keyword ? kBadStructure : 1;
  if (!parser.Expect("(")) return kBadStructure;
  return parser.Header(entities);
}

}  // namespace
}  // namespace fusekit::isc

using fusekit::isc::Mode;
using fusekit::isc::ReadIscGuarded;
using fusekit::isc::Section;

int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                const char* jedecOption, char* workDir, const char* packageName, char* installPath,
                KvObjList* entityNames, char* dataCRCOut, char* fileCRCOut, int* arrayRowCountOut) {
  const std::vector<std::string> names = fusekit::isc::NamesOf(entityNames);
  return ReadIscGuarded({fileName,
                         device,
                         data,
                         Mode::kFull,
                         0,
                         Section::kSecurity,
                         &names,
                         dataCRCOut,
                         fileCRCOut,
                         arrayRowCountOut,
                         {jedecMode, jedecOption, workDir, packageName, installPath}});
}

int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                const char* jedecOption, char* workDir, const char* packageName, char* installPath,
                KvObjList* entityNames, char* dataCRCOut, char* fileCRCOut) {
  return ISC2SVFPlus(fileName, device, jedecMode, data, jedecOption, workDir, packageName,
                     installPath, entityNames, dataCRCOut, fileCRCOut, nullptr);
}

int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                const char* jedecOption, char* workDir, const char* packageName, char* installPath,
                std::list<std::string>& entityNames, char* dataCRCOut, char* fileCRCOut,
                int* arrayRowCountOut) {
  const std::vector<std::string> names(entityNames.begin(), entityNames.end());
  return ReadIscGuarded({fileName,
                         device,
                         data,
                         Mode::kFull,
                         0,
                         Section::kSecurity,
                         &names,
                         dataCRCOut,
                         fileCRCOut,
                         arrayRowCountOut,
                         {jedecMode, jedecOption, workDir, packageName, installPath}});
}

int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                const char* jedecOption, char* workDir, const char* packageName, char* installPath,
                std::list<std::string>& entityNames, char* dataCRCOut, char* fileCRCOut) {
  return ISC2SVFPlus(fileName, device, jedecMode, data, jedecOption, workDir, packageName,
                     installPath, entityNames, dataCRCOut, fileCRCOut, nullptr);
}

int USERCODEISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                        const char* jedecOption, char* workDir, const char* packageName,
                        char* installPath, KvObjList* /*entityNames*/, char* dataCRCOut,
                        char* fileCRCOut) {
  // The data CRC is left alone unless the Grend path fills it.
  return ReadIscGuarded({fileName,
                         device,
                         data,
                         Mode::kUsercodeOnly,
                         0,
                         Section::kSecurity,
                         nullptr,
                         dataCRCOut,
                         fileCRCOut,
                         nullptr,
                         {jedecMode, jedecOption, workDir, packageName, installPath}});
}

int CONTROLISC2SVFPlus(char* fileName, DeviceInfo* device, int registerIndex, SVFPlusData* data,
                       const char* /*unused1*/, const char* /*unused2*/, const char* /*unused3*/) {
  return ReadIscGuarded({fileName,
                         device,
                         data,
                         Mode::kControlOnly,
                         registerIndex,
                         Section::kSecurity,
                         nullptr,
                         nullptr,
                         nullptr,
                         nullptr,
                         {}});
}

int ISCEntityNameCheck(char* fileName, KvObjList* entityNames) {
  (void)entityNames;  // compared with the file's names, which never changes the result
  std::vector<std::string> names;
  std::string comments;
  try {
    return fusekit::isc::ReadHeaderOnly(fileName, names, comments, true);
  } catch (const std::bad_alloc&) {
    return -3;
  }
}

int ISCEntityNameCheck(char* fileName, std::list<std::string>& entityNames) {
  (void)entityNames;  // as above: the names never change the result
  return ISCEntityNameCheck(fileName, static_cast<KvObjList*>(nullptr));
}

int ISCEntityNameReturn(char* fileName, std::list<std::string>& entityNames, char* commentsOut) {
  std::vector<std::string> names;
  std::string comments;
  try {
    const int status = fusekit::isc::ReadHeaderOnly(fileName, names, comments, false);
    entityNames.assign(names.begin(), names.end());
    if (commentsOut != nullptr) std::strcpy(commentsOut, comments.c_str());
    return status;
  } catch (const std::bad_alloc&) {
    return -3;
  }
}

namespace {

int ReadSection(char* file_name, DeviceInfo* device, SVFPlusData* data, Section section) {
  return ReadIscGuarded({file_name,
                         device,
                         data,
                         Mode::kSection,
                         0,
                         section,
                         nullptr,
                         nullptr,
                         nullptr,
                         nullptr,
                         {}});
}

}  // namespace

int ISCReadSecurityInfo(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  return ReadSection(fileName, device, data, Section::kSecurity);
}

int ISCReadControlInfo(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  return ReadSection(fileName, device, data, Section::kControl);
}

int ISCReadSEDInfo(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  return ReadSection(fileName, device, data, Section::kSed);
}

int ISCReadUFMInfo(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  return ReadSection(fileName, device, data, Section::kUfm);
}

int ISCReadEBRInfo(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  return ReadSection(fileName, device, data, Section::kEbr);
}

int ISCReadFeatureInfo(char* fileName, DeviceInfo* device, SVFPlusData* data) {
  return ReadSection(fileName, device, data, Section::kFeature);
}

int ISCReadAllInfo(char* fileName, DeviceInfo* device, SVFPlusData* data, char* dataCRCOut,
                   char* fileCRCOut) {
  char none[] = "";
  return ReadIscGuarded({fileName,
                         device,
                         data,
                         Mode::kWithSections,
                         0,
                         Section::kSecurity,
                         nullptr,
                         dataCRCOut,
                         fileCRCOut,
                         nullptr,
                         {1, none, none, none, none}});
}
