// The ISC tokenizer.
#include "isc/tokenizer.h"

#include <cstring>
#include <string_view>

namespace fusekit::isc {
namespace {

constexpr std::size_t kLineBytes = kLineChars + 1;

bool IsComment(std::string_view line) {
  return line.substr(0, 2) == "--";
}

// Whether a piece read with the reader's ReadLine holds the end of its line.
bool EndsItsLine(const char* piece, std::size_t length) {
  return length < kLineChars || piece[length - 1] == '\n';
}

}  // namespace

void Tokenizer::SkipRestOfLine() {
  char buffer[kLineBytes];
  while (!line_complete_) {
    const std::size_t length = in_.ReadLine(buffer, sizeof buffer);
    line_complete_ = length == 0 || EndsItsLine(buffer, length);
  }
}

bool Tokenizer::ReadLine() {
  char buffer[kLineBytes];
  for (;;) {
    const std::size_t length = in_.ReadLine(buffer, sizeof buffer);
    if (length == 0) return false;
    line_complete_ = EndsItsLine(buffer, length);
    const std::string_view line(buffer, length);
    if (IsComment(line)) {
      SkipRestOfLine();  // a comment ends with its physical line, however long
      if (opened_ && captured_ != nullptr) captured_->append(line);
      if (!opened_) {
        std::size_t text = 2;
        while (text < line.size() && (line[text] == ' ' || line[text] == '\t')) ++text;
        std::size_t end = line.size();
        while (end > text && (line[end - 1] == '\n' || line[end - 1] == '\r')) --end;
        comments_ += "-- ";
        comments_ += line.substr(text, end - text);
        comments_ += "\n";
      }
      continue;
    }
    if (line.find_first_not_of(" \t\r\n") == std::string_view::npos) continue;  // blank line
    // "(", ")" and "," become tokens of their own; tabs and carriage returns blanks.
    line_.clear();
    for (char c : line) {
      if (c == '(' || c == ')' || c == ',') {
        line_ += ' ';
        line_ += c;
        line_ += ' ';
      } else {
        line_ += (c == '\t' || c == '\r') ? ' ' : c;
      }
    }
    pos_ = 0;
    in_hand_ = true;
    return true;
  }
}

bool Tokenizer::Next(const char* delimiters, std::string& token) {
  for (;;) {
    if (!in_hand_ && !ReadLine()) return false;
    const std::size_t start = line_.find_first_not_of(delimiters, pos_);
    if (start == std::string::npos) {
      in_hand_ = false;
      continue;
    }
    std::size_t end = line_.find_first_of(delimiters, start);
    if (end == std::string::npos) end = line_.size();
    token.assign(line_, start, end - start);
    pos_ = end;
    // With delimiter sets that leave the line feed in, it ends the line's last token.
    while (!token.empty() && token.back() == '\n') token.pop_back();
    if (token.empty() || token.compare(0, 2, "--") == 0) {
      in_hand_ = false;  // a comment or the line's end: the rest of the line goes
      if (!token.empty()) SkipRestOfLine();
      continue;
    }
    return true;
  }
}

core::TextReader* Tokenizer::ReaderAtLineStart() {
  if (in_hand_ && line_.find_first_not_of(" \t\n", pos_) != std::string::npos) return nullptr;
  in_hand_ = false;
  return &in_;
}

bool Tokenizer::NextRawLine(std::string& line) {
  in_hand_ = false;
  char buffer[kLineBytes];
  const std::size_t length = in_.ReadLine(buffer, sizeof buffer);
  if (length == 0) return false;
  line.assign(buffer, length);
  line_complete_ = EndsItsLine(buffer, length);
  SkipRestOfLine();  // the rest of an overlong line is no line of its own
  return true;
}

}  // namespace fusekit::isc
