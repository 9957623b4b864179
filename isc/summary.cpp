// GetISCSummary: the header, comments, blocks and checksums of an ISC data file, without a
// device record.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "core/file_io.h"
#include "crc/block_crc.h"
#include "crc/file_crc.h"
#include "fusekit/isc.h"
#include "fusekit/util.h"
#include "isc/summary.h"
#include "isc/text_case.h"

namespace fusekit::isc {
namespace {

constexpr int kBadStructure = -2;
constexpr int kNullSummary = -6;
constexpr int kSyntax = -13;
constexpr int kEndedEarly = -16;

struct Token {
  enum Kind { kEnd, kWord, kOpen, kClose, kComma, kComment } kind = kEnd;
  std::string_view text;  // into the scanned text
  std::size_t at = 0;
};

bool IsBlank(char c) {
  return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\v' || c == '\f';
}

// Tokens of the whole text: "(", ")" and "," on their own, comment lines ("--" to the line's
// end) as one token, everything else split at blanks.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  Token Next() {
    while (pos_ < text_.size() && IsBlank(text_[pos_])) ++pos_;
    Token token;
    token.at = pos_;
    if (pos_ >= text_.size()) return token;
    const char c = text_[pos_];
    if (c == '(' || c == ')' || c == ',') {
      ++pos_;
      token.kind = c == '(' ? Token::kOpen : c == ')' ? Token::kClose : Token::kComma;
      return token;
    }
    if (text_.compare(pos_, 2, "--") == 0) {
      const std::size_t end = std::min(text_.find('\n', pos_), text_.size());
      token.kind = Token::kComment;
      token.text = text_.substr(pos_, end - pos_);
      if (!token.text.empty() && token.text.back() == '\r') token.text.remove_suffix(1);
      pos_ = end;
      return token;
    }
    const std::size_t start = pos_;
    while (pos_ < text_.size() && !IsBlank(text_[pos_]) && text_[pos_] != '(' &&
           text_[pos_] != ')' && text_[pos_] != ',')
      ++pos_;
    token.kind = Token::kWord;
    token.text = text_.substr(start, pos_ - start);
    return token;
  }

  // The next token that is not a comment line; comments go to the sizes seen.
  Token NextSkippingComments(unsigned long* row_width = nullptr) {
    Token token = Next();
    for (; token.kind == Token::kComment; token = Next()) {
      if (row_width != nullptr) ReadRowWidth(std::string(token.text), *row_width);
    }
    return token;
  }

 private:
  static void ReadRowWidth(const std::string& comment, unsigned long& width) {
    const std::string upper = Upper(comment);
    for (const char* key : {"ROW_WIDTH", "DATA_WIDTH"}) {
      const std::size_t at = upper.find(key);
      if (at == std::string::npos) continue;
      unsigned long value = 0;
      if (std::sscanf(upper.c_str() + at + std::strlen(key), " = %lu", &value) == 1) width = value;
    }
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

void ParseHeader(Scanner& scanner, ISCSummary& summary) {
  for (Token token = scanner.NextSkippingComments(); token.kind != Token::kEnd;
       token = scanner.NextSkippingComments()) {
    if (token.kind == Token::kClose) return;
    const std::string word = Upper(std::string(token.text));
    if (word == "STD_VERSION") {
      summary.standard = std::string(scanner.NextSkippingComments().text);
    } else if (word == "CREATION_DATE") {
      summary.date = std::string(scanner.NextSkippingComments().text);
    } else if (word == "CREATOR") {
      Token part = scanner.NextSkippingComments();
      std::string creator(part.text);
      while (part.kind == Token::kWord && (creator.size() < 2 || creator.back() != '"')) {
        part = scanner.Next();
        if (part.kind != Token::kWord) break;
        creator += ' ';
        creator += part.text;
      }
      if (!creator.empty() && creator.front() == '"') creator.erase(0, 1);
      if (!creator.empty() && creator.back() == '"') creator.pop_back();
      summary.creator = creator;
    } else if (word == "ENTITY") {
      for (Token name = scanner.NextSkippingComments();
           name.kind == Token::kWord || name.kind == Token::kComma;
           name = scanner.NextSkippingComments()) {
        if (name.kind == Token::kWord) summary.entities.emplace_back(name.text);
      }
      return;  // the entity list's ")" closes the header
    }
  }
}

// The value of each character as a hex digit, -1 for a character that is not one: a table, as
// the digits of random data would defeat the branches of range tests.
struct HexTable {
  signed char value[256];
  constexpr HexTable() : value() {
    for (int c = 0; c < 256; ++c) {
      value[c] = static_cast<signed char>(c >= '0' && c <= '9'   ? c - '0'
                                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                                 : -1);
    }
  }
};
constexpr HexTable kHex;

int HexValue(char c) {
  return kHex.value[static_cast<unsigned char>(c)];
}

// Row bytes from hex digits for a row of width bits: a width of 1 to 4 bits past a whole byte
// starts the row with one digit. False for digits of another count or a character that is not
// a hex digit.
bool StoreRow(std::string_view digits, unsigned long width, SVFDataField& field,
              std::vector<unsigned char>& bytes) {
  const std::size_t count = (width + 7) / 8;
  const bool short_lead = width % 8 >= 1 && width % 8 <= 4;
  if (digits.size() != count * 2 - (short_lead ? 1 : 0)) return false;
  bytes.assign(count, 0);
  std::size_t d = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const int high = short_lead && i == 0 ? 0 : HexValue(digits[d++]);
    const int low = HexValue(digits[d++]);
    if (high < 0 || low < 0) return false;
    bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
  KvByteBuffer* row = field.AddRow(static_cast<int>(width));
  if (row == nullptr) throw std::bad_alloc();
  if (count != 0 && row->AppendData(bytes.data(), static_cast<unsigned>(count)) == 0)
    throw std::bad_alloc();
  return true;
}

// After a part's "(": rows separated by ",", up to ")". A width of 0 is taken from the digits
// of the first row. A row is most often one word; one written over several lines is joined.
int ParseRows(Scanner& scanner, unsigned long& width, SVFDataField& field) {
  std::string joined;
  std::string_view digits;
  std::vector<unsigned char> bytes;
  bool any = false;
  for (Token token = scanner.NextSkippingComments();; token = scanner.NextSkippingComments()) {
    if (token.kind == Token::kEnd) return kEndedEarly;
    if (token.kind == Token::kWord) {
      if (!any || digits.empty()) {
        digits = token.text;
      } else {
        if (joined.empty() || digits.data() != joined.data()) joined.assign(digits);
        joined += token.text;
        digits = joined;
      }
      any = true;
      continue;
    }
    if (token.kind != Token::kComma && token.kind != Token::kClose) return kSyntax;
    if (token.kind == Token::kClose && !any && field.GetRowCount() == 0) return 0;
    if (width == 0) width = digits.size() * 4;
    if (!StoreRow(digits, width, field, bytes)) return kSyntax;
    if (token.kind == Token::kClose) return 0;
    digits = std::string_view();
    joined.clear();
  }
}

unsigned int DataCrc(SVFDataField& rows, SVFDataField& terminate) {
  rows.ResetRowPointer();
  terminate.ResetRowPointer();
  SVFDataField* fields[] = {&rows, &terminate};
  return crc::ComputeDataCrc(fields, 2);
}

// After "DATA" name "(": the block's parts up to its ")", its rows kept in kept.
int ParseBlock(Scanner& scanner, ISCBlockSummary& block, IscBlockRows& kept) {
  SVFDataField& rows = kept.rows;
  SVFDataField& terminate = kept.terminate;
  unsigned long width = 0;
  for (Token token = scanner.NextSkippingComments(&width);;
       token = scanner.NextSkippingComments(&width)) {
    if (token.kind == Token::kEnd) return kEndedEarly;
    if (token.kind == Token::kClose) break;
    if (token.kind != Token::kWord) return kSyntax;
    const std::string part = Lower(std::string(token.text));
    if (part != "repeat" && part != "initialize" && part != "terminate" && part != "data_crc")
      return kSyntax;
    const Token open = scanner.NextSkippingComments(&width);
    if (open.kind != Token::kOpen) return open.kind == Token::kEnd ? kEndedEarly : kSyntax;
    if (part == "data_crc") {
      const Token value = scanner.NextSkippingComments();
      if (value.kind != Token::kWord || scanner.NextSkippingComments().kind != Token::kClose)
        return kSyntax;
      unsigned int crc = 0;
      if (std::sscanf(std::string(value.text).c_str(), "%8x", &crc) != 1) return kSyntax;
      block.hasStoredCRC = true;
      block.storedCRC = crc;
      continue;
    }
    if (part == "terminate") {
      unsigned long terminate_width = width;
      if (const int status = ParseRows(scanner, terminate_width, terminate); status != 0)
        return status;
      block.terminateRows = static_cast<unsigned long>(terminate.GetRowCount());
      continue;
    }
    block.keyword = part;
    if (const int status = ParseRows(scanner, width, rows); status != 0) return status;
    block.rowWidth = width;
    block.rowCount = static_cast<unsigned long>(rows.GetRowCount());
    width = 0;  // a terminate part gives its own size
  }
  block.computedCRC = DataCrc(rows, terminate);
  return 0;
}

// The closing checksum: the four hex digits after the closing parenthesis, and the CRC of the
// file's text before them.
void ReadFileChecksum(Scanner& scanner, const char* file_name, ISCSummary& summary) {
  const Token token = scanner.Next();
  unsigned int stored = 0;
  if (token.kind != Token::kWord || token.text.size() != 4 ||
      std::sscanf(std::string(token.text).c_str(), "%4x", &stored) != 1)
    return;
  core::UniqueFile file = core::OpenFile(file_name, "rb");
  if (!file) return;
  const std::uint64_t extent = std::min<std::uint64_t>(crc::FileCrcExtent(file.get(), nullptr),
                                                       static_cast<std::uint64_t>(token.at));
  std::rewind(file.get());
  summary.hasFileChecksum = true;
  summary.storedFileChecksum = static_cast<unsigned short>(stored);
  summary.computedFileChecksum = crc::FileCrcOfLeadingBytes(file.get(), extent);
}

int Summarize(const char* file_name, std::string_view text, ISCSummary& summary,
              std::deque<IscBlockRows>* kept_rows) {
  Scanner scanner(text);
  Token token = scanner.Next();
  for (; token.kind == Token::kComment; token = scanner.Next()) {
    const std::size_t start = token.text.find_first_not_of('-');
    const std::string body(start == std::string::npos ? "" : token.text.substr(start));
    const std::string line = body.substr(std::min(body.find_first_not_of(' '), body.size()));
    summary.comments += line.empty() ? "--\n" : "-- " + line + "\n";
  }
  if (Upper(std::string(token.text)) != "IEEE_1532_DATA" || scanner.Next().kind != Token::kOpen)
    return kBadStructure;
  bool unprocessed = false;
  for (token = scanner.NextSkippingComments();; token = scanner.NextSkippingComments()) {
    if (token.kind == Token::kEnd) return kEndedEarly;
    if (token.kind == Token::kClose) break;
    if (token.kind == Token::kComma) continue;
    const std::string word = Upper(std::string(token.text));
    if (word == "HEADER") {
      if (scanner.NextSkippingComments().kind != Token::kOpen) return kBadStructure;
      ParseHeader(scanner, summary);
    } else if (word == "OVERRIDE") {
      bool security = false;
      for (Token part = scanner.NextSkippingComments(); part.kind == Token::kWord;
           part = scanner.NextSkippingComments()) {
        const std::string value = Upper(std::string(part.text));
        if (value == "PROC_PROGRAM_SECURITY") security = true;
        if (value == "ON" || value == "OFF") {
          summary.security = security && value == "ON";
          break;
        }
      }
    } else if (word == "UNPROCESSED") {
      unprocessed = true;
    } else if (word == "DATA") {
      ISCBlockSummary block;
      block.name = std::string(scanner.NextSkippingComments().text);
      block.unprocessed = unprocessed;
      unprocessed = false;
      if (scanner.NextSkippingComments().kind != Token::kOpen) return kBadStructure;
      IscBlockRows scratch;
      IscBlockRows& rows = kept_rows != nullptr ? kept_rows->emplace_back() : scratch;
      const int status = ParseBlock(scanner, block, rows);
      summary.blocks.push_back(block);
      if (status != 0) return status;
    } else {
      return kBadStructure;
    }
  }
  ReadFileChecksum(scanner, file_name, summary);
  return 0;
}

}  // namespace

int ReadIscFile(const char* fileName, ISCSummary& summary, std::deque<IscBlockRows>* rows) {
  summary = ISCSummary();
  if (rows != nullptr) rows->clear();
  if (fileName == nullptr) return kBadStructure;
  const core::MappedFile file(fileName);
  if (!file.Ready()) return kBadStructure;
  try {
    const std::string_view text = file.Text();
    return Summarize(fileName, text, summary, rows);
  } catch (const std::bad_alloc&) {
    return kSyntax;
  } catch (const std::length_error&) {
    return kSyntax;
  }
}

}  // namespace fusekit::isc

int GetISCSummary(const char* fileName, ISCSummary* summary) {
  if (summary == nullptr) return fusekit::isc::kNullSummary;
  return fusekit::isc::ReadIscFile(fileName, *summary, nullptr);
}
