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
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/file_io.h"
#include "crc/block_crc.h"
#include "crc/file_crc.h"
#include "fusekit/isc.h"
#include "fusekit/util.h"
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

// The value of each character as a hex digit, kNotHex for a character that is not one: a
// table, as the digits of random data would defeat the branches of range tests.
struct HexTable {
  static constexpr unsigned char kNotHex = 0x80;
  unsigned char value[256];
  constexpr HexTable() : value() {
    for (int c = 0; c < 256; ++c) {
      value[c] = static_cast<unsigned char>(c >= '0' && c <= '9'   ? c - '0'
                                            : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                            : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                                   : kNotHex);
    }
  }
  unsigned Of(char c) const { return value[static_cast<unsigned char>(c)]; }
};
constexpr HexTable kHex;

#if defined(__SSE2__)
// 32 hex digits as 16 bytes, two digits a byte; false when one of them is not a hex digit.
bool Decode32Digits(const char* digits, unsigned char* out) {
  const __m128i zero_char = _mm_set1_epi8('0');
  const __m128i nine = _mm_set1_epi8(9);
  const __m128i lower_a = _mm_set1_epi8('a');
  const __m128i five = _mm_set1_epi8(5);
  const __m128i ten = _mm_set1_epi8(10);
  const __m128i case_bit = _mm_set1_epi8(0x20);
  __m128i halves[2];
  int valid = 0xFFFF;
  for (int h = 0; h < 2; ++h) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(digits + 16 * h));
    const __m128i digit = _mm_sub_epi8(text, zero_char);
    const __m128i is_digit = _mm_cmpeq_epi8(_mm_min_epu8(digit, nine), digit);
    const __m128i letter = _mm_sub_epi8(_mm_or_si128(text, case_bit), lower_a);
    const __m128i is_letter = _mm_cmpeq_epi8(_mm_min_epu8(letter, five), letter);
    valid &= _mm_movemask_epi8(_mm_or_si128(is_digit, is_letter));
    const __m128i value = _mm_or_si128(_mm_and_si128(is_digit, digit),
                                       _mm_and_si128(is_letter, _mm_add_epi8(letter, ten)));
    // Each 16-bit lane holds a high digit in its low byte and a low digit in its high byte.
    const __m128i high = _mm_slli_epi16(_mm_and_si128(value, _mm_set1_epi16(0x00FF)), 4);
    halves[h] = _mm_or_si128(high, _mm_srli_epi16(value, 8));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(halves[0], halves[1]));
  return valid == 0xFFFF;
}
#endif

// Hex digits as row bytes: a lead of one digit (a width of 1 to 4 bits past a whole byte)
// fills the first byte alone, then two digits a byte. False when a character is not a hex
// digit.
bool DecodeRow(const char* digits, std::size_t count, bool short_lead, unsigned char* out) {
  unsigned bad = 0;
  if (short_lead && count != 0) {
    const unsigned low = kHex.Of(*digits++);
    bad |= low;
    *out++ = static_cast<unsigned char>(low);
    --count;
  }
#if defined(__SSE2__)
  for (; count >= 32; count -= 32, digits += 32, out += 16) {
    if (!Decode32Digits(digits, out)) return false;
  }
#endif
  for (std::size_t i = 0; i + 1 < count; i += 2) {
    const unsigned high = kHex.Of(digits[i]);
    const unsigned low = kHex.Of(digits[i + 1]);
    bad |= high | low;
    *out++ = static_cast<unsigned char>(high << 4 | low);
  }
  return (bad & HexTable::kNotHex) == 0;
}

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

// Tokens of the whole text: "(", ")" and "," on their own, comment lines ("--" to the line's
// end) as one token, everything else split at blanks.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::size_t Left() const { return text_.size() - pos_; }

  // After blanks, a word of exactly digits hex digits decoded into out (see DecodeRow) and
  // stepped over; false, past the blanks only, when the next word is anything else.
  bool TakeHexRow(std::size_t digits, bool short_lead, unsigned char* out) {
    SkipBlanks();
    if (Left() < digits || digits == 0) return false;
    if (Left() > digits && !EndsWord(text_[pos_ + digits])) return false;
    if (!DecodeRow(text_.data() + pos_, digits, short_lead, out)) return false;
    pos_ += digits;
    return true;
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

// The digits of a row of width bits: one short when the row starts with a single digit.
std::size_t DigitsOfRow(unsigned long width) {
  const std::size_t count = (width + 7) / 8;
  return count * 2 - (width % 8 >= 1 && width % 8 <= 4 ? 1 : 0);
}

// One row from its digits, appended to rows. False for digits of another count than the
// row width asks or a character that is not a hex digit.
bool StoreRow(std::string_view digits, FlatRows& rows) {
  if (digits.size() != DigitsOfRow(rows.width)) return false;
  const bool short_lead = rows.width % 8 >= 1 && rows.width % 8 <= 4;
  if (DecodeRow(digits.data(), digits.size(), short_lead, rows.Append())) return true;
  rows.DropLast();
  return false;
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
int ParseRows(Scanner& scanner, const SizeComments& sizes, FlatRows& rows) {
  // A second part of rows in one block goes on with the rows of the first, of their width.
  if (rows.count != 0 && sizes.width != 0 && sizes.width != rows.width) return kSyntax;
  if (rows.count == 0) rows.width = sizes.width;
  std::string joined;
  std::string_view digits;
  bool any = false;
  if (rows.width != 0) ReserveRows(rows, sizes.rows, scanner.Left());
  for (;;) {
    if (!any && rows.width != 0 && scanner.Left() >= DigitsOfRow(rows.width)) {
      const bool short_lead = rows.width % 8 >= 1 && rows.width % 8 <= 4;
      if (scanner.TakeHexRow(DigitsOfRow(rows.width), short_lead, rows.Append())) {
        const Token after = scanner.NextSkippingComments();
        if (after.kind == Token::kClose) return 0;
        if (after.kind == Token::kComma) continue;
        return after.kind == Token::kEnd ? kEndedEarly : kSyntax;
      }
      rows.DropLast();
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
    if (!StoreRow(digits, rows)) return kSyntax;
    if (token.kind == Token::kClose) return 0;
    digits = std::string_view();
    joined.clear();
    any = false;
  }
}

unsigned int DataCrc(const FlatRows& rows, const FlatRows& terminate) {
  crc_engine::DataCrc32Batch crc;
  for (const FlatRows* part : {&rows, &terminate}) {
    for (std::size_t r = 0; r < part->count; ++r)
      crc.AddRow(part->Row(r), part->RowBytes(), part->width);
  }
  return crc.Value();
}

// After "DATA" name "(": the block's parts up to its ")", its rows kept in kept.
int ParseBlock(Scanner& scanner, ISCBlockSummary& block, IscBlockRows& kept) {
  FlatRows& rows = kept.rows;
  FlatRows& terminate = kept.terminate;
  SizeComments sizes;
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
      unsigned int crc = 0;
      if (std::sscanf(std::string(value.text).c_str(), "%8x", &crc) != 1) return kSyntax;
      block.hasStoredCRC = true;
      block.storedCRC = crc;
      continue;
    }
    if (part == "terminate") {
      if (const int status = ParseRows(scanner, sizes, terminate); status != 0) return status;
      block.terminateRows = static_cast<unsigned long>(terminate.count);
      continue;
    }
    block.keyword = part;
    if (const int status = ParseRows(scanner, sizes, rows); status != 0) return status;
    block.rowWidth = rows.width;
    block.rowCount = static_cast<unsigned long>(rows.count);
    sizes = SizeComments();  // a terminate part gives its own size
  }
  block.computedCRC = DataCrc(rows, terminate);
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

unsigned char* FlatRows::Append() {
  const std::size_t row_bytes = RowBytes();
  const std::size_t used = count * row_bytes;
  if (bytes_.Size() - used < row_bytes) Grow(std::max(used + row_bytes, 2 * bytes_.Size()));
  ++count;
  return bytes_.Data() + used;
}

void FlatRows::Reserve(std::size_t rows) {
  const std::size_t wanted = (count + rows) * RowBytes();
  if (wanted > bytes_.Size()) Grow(wanted);
}

void FlatRows::Grow(std::size_t bytes) {
  util::PopulatedBuffer larger(bytes);
  if (count != 0) std::memcpy(larger.Data(), bytes_.Data(), count * RowBytes());
  bytes_ = std::move(larger);
}

int ReadIscFile(const char* fileName, ISCSummary& summary, std::deque<IscBlockRows>* rows,
                std::optional<std::uint32_t>& lastBlockCrc) {
  lastBlockCrc.reset();
  summary = ISCSummary();
  if (rows != nullptr) rows->clear();
  if (fileName == nullptr) return kBadStructure;
  const core::MappedFile file(fileName);
  if (!file.Ready()) return kBadStructure;
  try {
    const std::string_view text = file.Text();
    return Summarize(text, summary, rows, lastBlockCrc);
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
