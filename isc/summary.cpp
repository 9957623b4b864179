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
#include "isc/run_split.h"
#include "isc/summary.h"
#include "isc/text_case.h"
#include "isc/text_window.h"
#include "support/util/crc_engine.h"
#include "support/util/side_task.h"

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

  // The text as the low bytes of one word, when it is no longer than one.
  bool OneWord() const { return mask_ != 0; }
  std::uint64_t Word() const { return word_; }
  std::size_t Bytes() const { return count_; }

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
  // A split, when not null, is offered the first run of even rows, whose rows from the split on
  // are then taken from its helper.
  explicit Scanner(TextWindow& window, RunSplit* split = nullptr)
      : window_(window), split_(split) {}

  // Bytes of the file after the position (the largest value when the size is not known).
  std::uint64_t Left() const { return window_.Size() - std::min(window_.Size(), Absolute()); }
  // Where the position stands in the file.
  std::uint64_t Absolute() const { return window_.Offset() + pos_; }
  // Whether the whole text is held, so that what the tokens point to stays where it is.
  bool Whole() const { return window_.Whole(); }

  // After blanks, a word of exactly the digits of a row of rows, decoded into a row appended
  // to rows and stepped over; null, past the blanks only, when the next word is anything else.
  const unsigned char* TakeHexRow(FlatRows& rows) {
    SkipBlanks();
    const std::size_t digits = DigitsOfRow(rows.width);
    if (digits == 0 || (!Hold(digits + 1) && Held() != digits)) return nullptr;
    if (Held() > digits && !EndsWord(Text()[pos_ + digits])) return nullptr;
    const char* at = Text().data() + pos_;
    unsigned char* row = rows.Append(at);
    if (!DecodeRow(at, digits, HasShortLead(rows.width), row)) {
      rows.DropLast();
      return nullptr;
    }
    pos_ += digits;
    return row;
  }

  // Just after a row's digits: the rows that follow laid out as the first of them is, each
  // after the same comma and blanks and followed by them again. Each is decoded, handed to
  // rows_done (its bytes and a count of 1, or a run of such rows and their count) and stepped
  // over, so the position stays just after a row's digits; it stops before the first row that
  // stands otherwise or is the last, which the caller reads on its own. Rows a split's helper
  // decoded are counted and handed to tail_joined instead.
  template <class RowsDone, class TailJoined>
  void TakeEvenRows(FlatRows& rows, RowsDone&& rows_done, TailJoined&& tail_joined) {
    char between[kLongestSeparator];
    const std::size_t between_bytes = SeparatorAhead(between);
    if (between_bytes == 0) return;
    const SeparatorMatch separator(between, between_bytes);
    const std::size_t digits = DigitsOfRow(rows.width);
    const bool short_lead = HasShortLead(rows.width);
    const std::size_t step = between_bytes + digits;
    for (;;) {
      if (Held() < step + between_bytes && !Hold(step + between_bytes)) return;
      // The runs may move the window on (to after a split's rows).
      if (rows.KeepsNone() && separator.OneWord() &&
          !TakeEvenRuns(rows, separator, step, rows_done, tail_joined))
        return;
      const char* const end = Text().data() + Text().size();
      const auto fits = [&](const char* at) {
        return static_cast<std::size_t>(end - at) >= step + between_bytes;
      };
      for (const char* at = Text().data() + pos_; fits(at); at += step) {
        // What stands before the row was checked after the row before, or by SeparatorAhead.
        if (!separator.At(at + step, end)) return;
        unsigned char* row = rows.Append(at + between_bytes);
        if (!DecodeRow(at + between_bytes, digits, short_lead, row)) {
          rows.DropLast();
          return;
        }
        rows_done(row, 1);
        pos_ += step;
      }
    }
  }

  // Rows counted and not kept, taken from the window a run at a time (TakeEvenRows without a
  // call a row) while each row's separator can be read as one word there. False when a row
  // stands otherwise; true when the window ends first. With a split, the rows from the split on
  // are the helper's: their count and CRC are taken from it and the reading goes on after them.
  template <class RowsDone, class TailJoined>
  bool TakeEvenRuns(FlatRows& rows, const SeparatorMatch& separator, std::size_t step,
                    RowsDone&& rows_done, TailJoined&& tail_joined) {
    constexpr std::size_t kRunBytes = 16 * 1024;
    unsigned char run[kRunBytes];
    const std::size_t row_bytes = rows.RowBytes();
    if (row_bytes > kRunBytes || row_bytes == 0) return true;
    const EvenRunLayout layout{step, DigitsOfRow(rows.width), rows.width, separator.Word(),
                               separator.Bytes()};
    if (split_ != nullptr) split_->Offer(layout, Absolute());
    for (;;) {
      const std::optional<std::uint64_t> split_at =
          split_ != nullptr ? split_->SplitAt(layout) : std::nullopt;
      if (split_at && *split_at == Absolute()) {
        JoinTail(rows, layout, tail_joined);
        continue;
      }
      const std::size_t held = Held();
      // The rows whose separator after them has a whole word of the window from it on.
      const std::size_t fit =
          held >= step + sizeof(std::uint64_t) ? (held - sizeof(std::uint64_t)) / step : 0;
      std::size_t want = std::min(fit, kRunBytes / row_bytes);
      // Rows up to the split and not past it.
      if (split_at && *split_at > Absolute() && (*split_at - Absolute()) % step == 0)
        want = static_cast<std::size_t>(
            std::min<std::uint64_t>(want, (*split_at - Absolute()) / step));
      if (want == 0) return true;
      const char* const at = Text().data() + pos_ + separator.Bytes();
      const std::size_t done =
          DecodeEvenRows(at, step, DigitsOfRow(rows.width), HasShortLead(rows.width),
                         separator.Word(), separator.Bytes(), want, run);
      rows.count += done;
      pos_ += done * step;
      if (done != 0) rows_done(run, done);
      if (done < want) return false;
    }
  }

  Token Next() {
    SkipBlanks();
    Token token;
    token.at = Absolute();
    if (!Hold(1)) return token;
    const char c = Text()[pos_];
    if (c == '(' || c == ')' || c == ',') {
      ++pos_;
      token.kind = c == '(' ? Token::kOpen : c == ')' ? Token::kClose : Token::kComma;
      return token;
    }
    if (c == '-' && Hold(2) && Text()[pos_ + 1] == '-') {
      const std::size_t end = Find([](char ch) { return ch == '\n'; });
      token.kind = Token::kComment;
      token.text = Text().substr(pos_, end - pos_);
      if (!token.text.empty() && token.text.back() == '\r') token.text.remove_suffix(1);
      pos_ = end;
      return token;
    }
    const std::size_t end = Find(EndsWord);
    token.kind = Token::kWord;
    token.text = Text().substr(pos_, end - pos_);
    pos_ = end;
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
  static constexpr std::size_t kLongestSeparator = 32;

  // At the split: the helper's rows counted and joined, and the window on after their text.
  template <class TailJoined>
  void JoinTail(FlatRows& rows, const EvenRunLayout& layout, TailJoined&& tail_joined) {
    const RunTail tail = split_->TakeTail();
    if (tail.rows == 0) return;
    rows.count += tail.rows;
    tail_joined(tail);
    window_.Jump(pos_, Absolute() + tail.rows * layout.step, tail.file_crc);
    pos_ = 0;
  }

  std::string_view Text() const { return window_.Text(); }
  std::size_t Held() const { return Text().size() - pos_; }

  // Reads more, keeping the text from the position on; false when there is no more.
  bool Refill() {
    const std::uint64_t before = window_.Offset();
    const bool more = window_.More(pos_);
    pos_ -= static_cast<std::size_t>(window_.Offset() - before);
    if (split_ != nullptr) split_->Reached(window_.Offset());
    return more;
  }

  // Whether count bytes are held from the position on, reading more when they are not.
  bool Hold(std::size_t count) {
    while (Held() < count) {
      if (!Refill()) return false;
    }
    return true;
  }

  // The index of the first character from the position on for which stop is true, reading more
  // as needed; the end of the text held when there is none up to the end of the file.
  template <class Stop>
  std::size_t Find(Stop&& stop) {
    std::size_t at = pos_;
    for (;;) {
      const std::string_view text = Text();
      while (at < text.size() && !stop(text[at])) ++at;
      if (at < text.size()) return at;
      const std::size_t scanned = at - pos_;
      if (!Refill()) return pos_ + scanned;
      at = pos_ + scanned;
    }
  }

  void SkipBlanks() {
    for (;;) {
      while (pos_ < Text().size() && IsBlank(Text()[pos_])) ++pos_;
      if (pos_ < Text().size() || !Refill()) return;
    }
  }

  // The comma and blanks after the position up to the first digit of a row, copied into out,
  // and their count; 0 when something else stands there.
  std::size_t SeparatorAhead(char (&out)[kLongestSeparator]) {
    Hold(kLongestSeparator + 1);
    const std::string_view text = Text().substr(pos_);
    std::size_t count = 0;
    while (count < text.size() && count < kLongestSeparator &&
           (IsBlank(text[count]) || text[count] == ',')) {
      ++count;
    }
    if (count == text.size() || count == kLongestSeparator || !IsRowSeparator(text.data(), count) ||
        !std::isxdigit(static_cast<unsigned char>(text[count])))
      return 0;
    std::memcpy(out, text.data(), count);
    return count;
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

  TextWindow& window_;
  RunSplit* split_;
  std::size_t pos_ = 0;  // an index into Text()
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

// One row from its digits, appended to rows and handed to rows_done; in_text is where the
// digits stand in a whole text as one word, null when they do not. False for digits of another
// count than the row width asks or a character that is not a hex digit.
template <class RowsDone>
bool StoreRow(std::string_view digits, const char* in_text, FlatRows& rows, RowsDone&& rows_done) {
  if (digits.size() != DigitsOfRow(rows.width)) return false;
  unsigned char* row = rows.Append(in_text);
  if (!DecodeRow(digits.data(), digits.size(), HasShortLead(rows.width), row)) {
    rows.DropLast();
    return false;
  }
  rows_done(row, 1);
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
              crc_engine::DataCrc32Batch& crc, RowSink* sink) {
  // A second part of rows in one block goes on with the rows of the first, of their width.
  if (rows.count != 0 && sizes.width != 0 && sizes.width != rows.width) return kSyntax;
  if (rows.count == 0) rows.width = sizes.width;
  const auto rows_done = [&](const unsigned char* run, std::size_t count) {
    const std::size_t row_bytes = rows.RowBytes();
    crc.AddRows(run, count, row_bytes, rows.width);
    if (sink != nullptr) sink->Rows(run, count * row_bytes);
  };
  const auto tail_joined = [&](const RunTail& tail) {
    crc.Join(tail.data_crc, std::uint64_t{tail.rows} * rows.width);
  };
  // The digits of a row as the words of its text come, copied, since the text moves on.
  std::string digits;
  const char* first_word = nullptr;  // where the digits stand in a whole text, as one word
  bool any = false;
  if (rows.width != 0) ReserveRows(rows, sizes.rows, scanner.Left());
  for (;;) {
    if (!any && rows.width != 0 && scanner.Left() >= DigitsOfRow(rows.width)) {
      if (const unsigned char* row = scanner.TakeHexRow(rows)) {
        rows_done(row, 1);
        scanner.TakeEvenRows(rows, rows_done, tail_joined);
        const Token after = scanner.NextSkippingComments();
        if (after.kind == Token::kClose) return 0;
        if (after.kind != Token::kComma) return after.kind == Token::kEnd ? kEndedEarly : kSyntax;
        continue;
      }
    }
    const Token token = scanner.NextSkippingComments();
    if (token.kind == Token::kEnd) return kEndedEarly;
    if (token.kind == Token::kWord) {
      first_word = any ? nullptr : token.text.data();
      digits += token.text;
      any = true;
      continue;
    }
    if (token.kind != Token::kComma && token.kind != Token::kClose) return kSyntax;
    if (token.kind == Token::kClose && !any && rows.count == 0) return 0;
    if (rows.width == 0 && rows.count == 0) rows.width = digits.size() * 4;
    if (!StoreRow(digits, scanner.Whole() ? first_word : nullptr, rows, rows_done)) return kSyntax;
    if (token.kind == Token::kClose) return 0;
    digits.clear();
    first_word = nullptr;
    any = false;
  }
}

// After "DATA" name "(": the block's parts up to its ")", its rows kept in kept.
int ParseBlock(Scanner& scanner, ISCBlockSummary& block, IscBlockRows& kept, RowSink* sink) {
  FlatRows& rows = kept.rows;
  FlatRows& terminate = kept.terminate;
  SizeComments sizes;
  // The data CRC covers the rows, then the terminate rows, whatever their order in the file: the
  // two are taken apart as they are read and joined at the end.
  crc_engine::DataCrc32Batch crc;
  crc_engine::DataCrc32Batch terminate_crc;
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
      const std::string digits(value.text);  // before the next token moves the text on
      if (value.kind != Token::kWord || scanner.NextSkippingComments().kind != Token::kClose)
        return kSyntax;
      unsigned int stored = 0;
      if (std::sscanf(digits.c_str(), "%8x", &stored) != 1) return kSyntax;
      block.hasStoredCRC = true;
      block.storedCRC = stored;
      continue;
    }
    if (part == "terminate") {
      if (const int status = ParseRows(scanner, sizes, terminate, terminate_crc, sink); status != 0)
        return status;
      if (sink != nullptr) sink->PartEnd(true, terminate.width, terminate.count);
      block.terminateRows = static_cast<unsigned long>(terminate.count);
      continue;
    }
    block.keyword = part;
    if (const int status = ParseRows(scanner, sizes, rows, crc, sink); status != 0) return status;
    if (sink != nullptr) sink->PartEnd(false, rows.width, rows.count);
    block.rowWidth = rows.width;
    block.rowCount = static_cast<unsigned long>(rows.count);
    sizes = SizeComments();  // a terminate part gives its own size
  }
  crc.Join(terminate_crc.Value(), std::uint64_t{terminate.count} * terminate.width);
  block.computedCRC = crc.Value();
  return 0;
}

// The closing checksum: the four hex digits after the closing parenthesis, and the CRC of the
// file's text before them.
void ReadFileChecksum(Scanner& scanner, const TextWindow& window, ISCSummary& summary) {
  const Token token = scanner.Next();
  unsigned int stored = 0;
  if (token.kind != Token::kWord || token.text.size() != 4 ||
      std::sscanf(std::string(token.text).c_str(), "%4x", &stored) != 1)
    return;
  summary.hasFileChecksum = true;
  summary.storedFileChecksum = static_cast<unsigned short>(stored);
  summary.computedFileChecksum = window.FileCrcBefore(token.at);
}

int Summarize(TextWindow& window, ISCSummary& summary, std::deque<IscBlockRows>* kept_rows,
              RowSink* sink, std::optional<std::uint32_t>& last_crc, RunSplit* split = nullptr) {
  Scanner scanner(window, split);
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
      IscBlockRows counted;  // rows counted and not kept
      counted.rows.KeepNone();
      counted.terminate.KeepNone();
      IscBlockRows& rows = kept_rows != nullptr ? kept_rows->emplace_back() : counted;
      const int status = ParseBlock(scanner, block, rows, sink);
      summary.blocks.push_back(block);
      if (status != 0) return status;
      last_crc = block.computedCRC;
    } else {
      return kBadStructure;
    }
  }
  ReadFileChecksum(scanner, window, summary);
  return window.Failed() ? kBadStructure : 0;
}

}  // namespace

int ReadIscFile(const char* fileName, ISCSummary& summary, IscFileRows* rows,
                std::optional<std::uint32_t>& lastBlockCrc) {
  lastBlockCrc.reset();
  summary = ISCSummary();
  if (rows == nullptr) return StreamIscFile(fileName, summary, nullptr, lastBlockCrc);
  *rows = IscFileRows();
  if (fileName == nullptr) return kBadStructure;
  try {
    // The rows may stay in the text, which then lives as long as they do.
    rows->text = std::make_unique<core::MappedFile>(fileName);
    if (!rows->text->Ready()) return kBadStructure;
    TextWindow window(rows->text->Text());
    return Summarize(window, summary, &rows->blocks, nullptr, lastBlockCrc);
  } catch (const std::bad_alloc&) {
    return kSyntax;
  } catch (const std::length_error&) {
    return kSyntax;
  }
}

namespace {

int StreamThroughWindow(const char* fileName, ISCSummary& summary, RowSink* sink,
                        std::optional<std::uint32_t>& lastBlockCrc, std::size_t windowBytes,
                        const std::atomic<bool>* stop) {
  lastBlockCrc.reset();
  summary = ISCSummary();
  if (fileName == nullptr) return kBadStructure;
  try {
    TextWindow window(fileName, windowBytes);
    if (!window.Ready()) return kBadStructure;
    window.StopWhen(stop);
    return Summarize(window, summary, nullptr, sink, lastBlockCrc);
  } catch (const std::bad_alloc&) {
    return kSyntax;
  } catch (const std::length_error&) {
    return kSyntax;
  }
}

}  // namespace

int StreamIscFile(const char* fileName, ISCSummary& summary, RowSink* sink,
                  std::optional<std::uint32_t>& lastBlockCrc, std::size_t windowBytes) {
  return StreamThroughWindow(fileName, summary, sink, lastBlockCrc, windowBytes, nullptr);
}

int StreamIscFile(const char* fileName, ISCSummary& summary, RowSink* sink,
                  std::optional<std::uint32_t>& lastBlockCrc, const std::atomic<bool>& stop) {
  return StreamThroughWindow(fileName, summary, sink, lastBlockCrc, TextWindow::kWindowBytes,
                             &stop);
}

namespace {

// The size both files have, the largest value when it is not known for either; nothing when
// they differ.
std::optional<std::uint64_t> CommonSize(const char* fileName, const char* otherFile) {
  const core::UniqueFile one = core::OpenFile(fileName, "rb");
  const core::UniqueFile other = core::OpenFile(otherFile, "rb");
  const std::uint64_t unknown = ~std::uint64_t{0};
  const std::uint64_t size = one ? core::FileSize(one.get()) : unknown;
  const std::uint64_t other_size = other ? core::FileSize(other.get()) : unknown;
  if (size != unknown && other_size != unknown && size != other_size) return std::nullopt;
  return size == unknown ? other_size : size;
}

}  // namespace

int SummarizeComparing(const char* fileName, const char* otherFile, ISCSummary& summary,
                       std::optional<std::uint32_t>& lastBlockCrc, bool& same,
                       std::uint64_t minSplitBytes, std::size_t windowBytes) {
  same = false;
  lastBlockCrc.reset();
  summary = ISCSummary();
  if (fileName == nullptr || otherFile == nullptr) return kBadStructure;
  const std::optional<std::uint64_t> size = CommonSize(fileName, otherFile);
  if (!size) return StreamIscFile(fileName, summary, nullptr, lastBlockCrc, windowBytes);
  std::atomic<bool> differ{false};
  RunSplit split(*size, minSplitBytes);
  int status = kBadStructure;
  bool helper_same = false;
  bool reader_covered = false;
  const bool ran = util::RunSideBySide([&](int i) {
    if (i == 0) {
      try {
        helper_same = CompareHelperPart(fileName, otherFile, split, differ, windowBytes);
      } catch (const std::exception&) {  // no memory: not known to be the same
        helper_same = false;
      }
      if (!helper_same) differ = true;
      return;
    }
    try {
      ReaderPartMatch match(otherFile, split, differ);
      {
        TextWindow window(fileName, windowBytes, &match);
        if (window.Ready()) {
          window.StopWhen(&differ);
          status = Summarize(window, summary, nullptr, nullptr, lastBlockCrc, &split);
        }
      }
      split.Decline();
      reader_covered = match.Finish(fileName);
    } catch (const std::exception&) {
      status = kSyntax;
      split.Decline();
    }
    if (status != 0) differ = true;  // no use in the helper going on
  });
  if (!ran) return StreamIscFile(fileName, summary, nullptr, lastBlockCrc, windowBytes);
  same = helper_same && reader_covered;
  return status;
}

}  // namespace fusekit::isc

int GetISCSummary(const char* fileName, ISCSummary* summary) {
  if (summary == nullptr) return fusekit::isc::kNullSummary;
  std::optional<std::uint32_t> last_crc;
  const int status = fusekit::isc::ReadIscFile(fileName, *summary, nullptr, last_crc);
  if (last_crc) fusekit::crc::BlockCrcRegister() = *last_crc;
  return status;
}
