// GetISCSummary: the header, comments, blocks and checksums of an ISC data file, without a
// device record.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/file_io.h"
#include "crc/block_crc.h"
#include "crc/file_crc.h"
#include "fusekit/isc.h"
#include "fusekit/util.h"
#include "isc/flat_rows.h"
#include "isc/summary.h"
#include "isc/text_case.h"
#include "support/util/crc_engine.h"

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

// What the size comments before a part of rows say: the bits of a row and the count of rows
// (0 where not said).
struct SizeComments {
  unsigned long width = 0;
  unsigned long rows = 0;
};

bool EndsWord(char c) {
  return IsBlank(c) || c == '(' || c == ')' || c == ',';
}

// Whether the text between two rows is one comma among blanks.
bool IsRowSeparator(const char* text, std::size_t count) {
  std::size_t commas = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (text[i] == ',') {
      ++commas;
    } else if (!IsBlank(text[i])) {
      return false;
    }
  }
  return commas == 1;
}

// Tells whether a text stands at a place: most separators between rows are a comma, a line
// end and a few blanks, which one masked 8-byte compare tells, instead of a call to memcmp a row.
class SeparatorMatch {
 public:
  SeparatorMatch(const char* text, std::size_t count) : text_(text), count_(count) {
    if (count_ > sizeof word_) return;
    std::memcpy(&word_, text, count_);
    mask_ = count_ == sizeof word_ ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * count_)) - 1;
  }

  // Whether the text stands at at, in a text that ends at end.
  bool At(const char* at, const char* end) const {
    if (static_cast<std::size_t>(end - at) < count_) return false;
    if (mask_ == 0 || static_cast<std::size_t>(end - at) < sizeof word_)
      return std::memcmp(at, text_, count_) == 0;
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return ((word ^ word_) & mask_) == 0;
  }

 private:
  const char* text_;
  std::size_t count_;
  std::uint64_t word_ = 0;
  std::uint64_t mask_ = 0;  // 0 when the text is longer than one word
};

// Tokens of the whole text: "(", ")" and "," on their own, comment lines ("--" to the line's
// end) as one token, everything else split at blanks.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::size_t Left() const { return text_.size() - pos_; }

  // After blanks, a word of exactly the digits of a row of rows, decoded into a row appended
  // to rows and stepped over; null, past the blanks only, when the next word is anything else.
  const unsigned char* TakeHexRow(FlatRows& rows) {
    SkipBlanks();
    const std::size_t digits = DigitsOfRow(rows.width);
    if (Left() < digits || digits == 0) return nullptr;
    if (Left() > digits && !EndsWord(text_[pos_ + digits])) return nullptr;
    const char* at = text_.data() + pos_;
    unsigned char* row = rows.Append(at);
    if (!DecodeRow(at, digits, HasShortLead(rows.width), row)) {
      rows.DropLast();
      return nullptr;
    }
    pos_ += digits;
    return row;
  }

  // Just after the comma that follows a row: the rows laid out as the first two of rows were,
  // each one stride after the one before with the same comma and blanks between, each with
  // what follows it. Each row is decoded and handed to row_done. Stops before the first row
  // that stands otherwise or is followed by anything else, which the caller reads on its own.
  template <class RowDone>
  void TakeEvenRows(FlatRows& rows, RowDone&& row_done) {
    if (rows.Text() == nullptr || rows.count < 2) return;
    const std::size_t digits = DigitsOfRow(rows.width);
    const std::size_t stride = rows.Stride();
    const char* between = rows.Text() + digits;
    const std::size_t between_bytes = stride - digits;
    const char* row = rows.Text() + rows.count * stride;
    const char* const end = text_.data() + text_.size();
    if (!IsRowSeparator(between, between_bytes) || row > end ||
        std::memcmp(row - between_bytes, between, between_bytes) != 0 ||
        text_.data() + pos_ <= row - between_bytes)
      return;
    const bool short_lead = HasShortLead(rows.width);
    const SeparatorMatch separator(between, between_bytes);
    std::vector<unsigned char> decoded(rows.RowBytes());
    for (; static_cast<std::size_t>(end - row) >= stride; row += stride) {
      if (!separator.At(row + digits, end) || !DecodeRow(row, digits, short_lead, decoded.data()))
        break;
      rows.AddNextInText();
      row_done(decoded.data());
    }
    pos_ = static_cast<std::size_t>(row - text_.data());
  }

  Token Next() {
    SkipBlanks();
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
    while (pos_ < text_.size() && !EndsWord(text_[pos_])) ++pos_;
    token.kind = Token::kWord;
    token.text = text_.substr(start, pos_ - start);
    return token;
  }

  // The next token that is not a comment line; comments go to the sizes seen.
  Token NextSkippingComments(SizeComments* sizes = nullptr) {
    Token token = Next();
    for (; token.kind == Token::kComment; token = Next()) {
      if (sizes != nullptr) ReadSizes(std::string(token.text), *sizes);
    }
    return token;
  }

 private:
  void SkipBlanks() {
    while (pos_ < text_.size() && IsBlank(text_[pos_])) ++pos_;
  }

  static void ReadSizes(const std::string& comment, SizeComments& sizes) {
    const std::string upper = Upper(comment);
    for (const auto& [key, value] :
         {std::pair{"ROW_WIDTH", &sizes.width}, std::pair{"DATA_WIDTH", &sizes.width},
          std::pair{"COLUMN_WIDTH", &sizes.rows}}) {
      const std::size_t at = upper.find(key);
      if (at == std::string::npos) continue;
      unsigned long number = 0;
      if (std::sscanf(upper.c_str() + at + std::strlen(key), " = %lu", &number) == 1)
        *value = number;
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

// One row from its digits, appended to rows and handed to row_done; in_text when the digits
// are one word where they stand in the text. False for digits of another count than the row
// width asks or a character that is not a hex digit.
template <class RowDone>
bool StoreRow(std::string_view digits, bool in_text, FlatRows& rows, RowDone&& row_done) {
  if (digits.size() != DigitsOfRow(rows.width)) return false;
  unsigned char* row = rows.Append(in_text ? digits.data() : nullptr);
  if (!DecodeRow(digits.data(), digits.size(), HasShortLead(rows.width), row)) {
    rows.DropLast();
    return false;
  }
  row_done(row);
  return true;
}

// Reserves the rows a size comment announces, as many as the text left could hold at most.
void ReserveRows(FlatRows& rows, unsigned long announced, std::size_t text_left) {
  const std::size_t most = text_left / (DigitsOfRow(rows.width) + 1);
  const std::size_t count = std::min<std::size_t>(announced, most);
  rows.Reserve(count);
}

// After a part's "(": rows separated by ",", up to ")". A width of 0 is taken from the digits
// of the first row. A row is most often one word of the row's digits, decoded where it stands;
// one written over several lines is joined first.
int ParseRows(Scanner& scanner, const SizeComments& sizes, FlatRows& rows,
              crc_engine::DataCrc32Batch& crc) {
  // A second part of rows in one block goes on with the rows of the first, of their width.
  if (rows.count != 0 && sizes.width != 0 && sizes.width != rows.width) return kSyntax;
  if (rows.count == 0) rows.width = sizes.width;
  const auto row_done = [&](const unsigned char* row) {
    crc.AddRow(row, rows.RowBytes(), rows.width);
  };
  std::string joined;
  std::string_view digits;
  bool any = false;
  if (rows.width != 0) ReserveRows(rows, sizes.rows, scanner.Left());
  for (;;) {
    if (!any && rows.width != 0 && scanner.Left() >= DigitsOfRow(rows.width)) {
      if (const unsigned char* row = scanner.TakeHexRow(rows)) {
        row_done(row);
        const Token after = scanner.NextSkippingComments();
        if (after.kind == Token::kClose) return 0;
        if (after.kind != Token::kComma) return after.kind == Token::kEnd ? kEndedEarly : kSyntax;
        scanner.TakeEvenRows(rows, row_done);
        continue;
      }
    }
    const Token token = scanner.NextSkippingComments();
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
    if (token.kind == Token::kClose && !any && rows.count == 0) return 0;
    if (rows.width == 0 && rows.count == 0) rows.width = digits.size() * 4;
    const bool in_text = joined.empty() || digits.data() != joined.data();
    if (!StoreRow(digits, in_text, rows, row_done)) return kSyntax;
    if (token.kind == Token::kClose) return 0;
    digits = std::string_view();
    joined.clear();
    any = false;
  }
}

unsigned int DataCrc(const FlatRows& rows, const FlatRows& terminate) {
  crc_engine::DataCrc32Batch crc;
  for (const FlatRows* part : {&rows, &terminate}) {
    std::vector<unsigned char> scratch(part->RowBytes());
    for (std::size_t r = 0; r < part->count; ++r)
      crc.AddRow(part->Row(r, scratch.data()), part->RowBytes(), part->width);
  }
  return crc.Value();
}

// After "DATA" name "(": the block's parts up to its ")", its rows kept in kept.
int ParseBlock(Scanner& scanner, ISCBlockSummary& block, IscBlockRows& kept) {
  FlatRows& rows = kept.rows;
  FlatRows& terminate = kept.terminate;
  SizeComments sizes;
  // The data CRC is taken as the rows are read, which gives the CRC of the rows and then the
  // terminate rows unless a part of rows comes after terminate rows; it is then taken again.
  crc_engine::DataCrc32Batch crc;
  bool crc_in_order = true;
  for (Token token = scanner.NextSkippingComments(&sizes);;
       token = scanner.NextSkippingComments(&sizes)) {
    if (token.kind == Token::kEnd) return kEndedEarly;
    if (token.kind == Token::kClose) break;
    if (token.kind != Token::kWord) return kSyntax;
    const std::string part = Lower(std::string(token.text));
    if (part != "repeat" && part != "initialize" && part != "terminate" && part != "data_crc")
      return kSyntax;
    const Token open = scanner.NextSkippingComments(&sizes);
    if (open.kind != Token::kOpen) return open.kind == Token::kEnd ? kEndedEarly : kSyntax;
    if (part == "data_crc") {
      const Token value = scanner.NextSkippingComments();
      if (value.kind != Token::kWord || scanner.NextSkippingComments().kind != Token::kClose)
        return kSyntax;
      unsigned int stored = 0;
      if (std::sscanf(std::string(value.text).c_str(), "%8x", &stored) != 1) return kSyntax;
      block.hasStoredCRC = true;
      block.storedCRC = stored;
      continue;
    }
    if (part == "terminate") {
      if (const int status = ParseRows(scanner, sizes, terminate, crc); status != 0) return status;
      block.terminateRows = static_cast<unsigned long>(terminate.count);
      continue;
    }
    block.keyword = part;
    if (terminate.count != 0) crc_in_order = false;
    if (const int status = ParseRows(scanner, sizes, rows, crc); status != 0) return status;
    block.rowWidth = rows.width;
    block.rowCount = static_cast<unsigned long>(rows.count);
    sizes = SizeComments();  // a terminate part gives its own size
  }
  block.computedCRC = crc_in_order ? crc.Value() : DataCrc(rows, terminate);
  return 0;
}

// The closing checksum: the four hex digits after the closing parenthesis, and the CRC of the
// file's text before them.
void ReadFileChecksum(Scanner& scanner, std::string_view text, ISCSummary& summary) {
  const Token token = scanner.Next();
  unsigned int stored = 0;
  if (token.kind != Token::kWord || token.text.size() != 4 ||
      std::sscanf(std::string(token.text).c_str(), "%4x", &stored) != 1)
    return;
  summary.hasFileChecksum = true;
  summary.storedFileChecksum = static_cast<unsigned short>(stored);
  summary.computedFileChecksum =
      crc::FileCrcOfText(reinterpret_cast<const std::uint8_t*>(text.data()), token.at);
}

int Summarize(std::string_view text, ISCSummary& summary, std::deque<IscBlockRows>* kept_rows,
              std::optional<std::uint32_t>& last_crc) {
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
      last_crc = block.computedCRC;
    } else {
      return kBadStructure;
    }
  }
  ReadFileChecksum(scanner, text, summary);
  return 0;
}

}  // namespace

int ReadIscFile(const char* fileName, ISCSummary& summary, IscFileRows* rows,
                std::optional<std::uint32_t>& lastBlockCrc) {
  lastBlockCrc.reset();
  summary = ISCSummary();
  if (rows != nullptr) *rows = IscFileRows();
  if (fileName == nullptr) return kBadStructure;
  try {
    // The rows may stay in the text, which then lives as long as they do.
    auto file = std::make_unique<core::MappedFile>(fileName);
    if (!file->Ready()) return kBadStructure;
    const std::string_view text = file->Text();
    if (rows == nullptr) return Summarize(text, summary, nullptr, lastBlockCrc);
    rows->text = std::move(file);
    return Summarize(text, summary, &rows->blocks, lastBlockCrc);
  } catch (const std::bad_alloc&) {
    return kSyntax;
  } catch (const std::length_error&) {
    return kSyntax;
  }
}

}  // namespace fusekit::isc

int GetISCSummary(const char* fileName, ISCSummary* summary) {
  if (summary == nullptr) return fusekit::isc::kNullSummary;
  std::optional<std::uint32_t> last_crc;
  const int status = fusekit::isc::ReadIscFile(fileName, *summary, nullptr, last_crc);
  if (last_crc) fusekit::crc::BlockCrcRegister() = *last_crc;
  return status;
}
