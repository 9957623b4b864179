// The tokenizer of the ISC readers: lines of at most 255 characters in which "(", ")" and ","
// stand as tokens of their own, comment lines collected before the file's opening keyword. A
// comment, whole-line or after tokens, ends with its physical line, however long.
#ifndef FUSEKIT_ISC_TOKENIZER_H
#define FUSEKIT_ISC_TOKENIZER_H

#include <string>

#include "core/file_io.h"

namespace fusekit::isc {

// Delimiter sets: keywords and parentheses; block names and values; inside rows.
constexpr const char* kKeywordDelimiters = " \t\n";
constexpr const char* kValueDelimiters = "\t ";
constexpr const char* kRowDelimiters = " \t";

// The longest line the tokenizer reads as one; longer lines are read in pieces of this length.
constexpr std::size_t kLineChars = 255;

class Tokenizer {
 public:
  explicit Tokenizer(core::TextReader& in) : in_(in) {}

  // The next token (strtok rules over the line in hand, then the following lines); false at the
  // end of the file. A token starting with "--", or a line feed, ends the line; a line feed at
  // the end of a token is not part of it.
  bool Next(const char* delimiters, std::string& token);

  // Reads the next line, as read, cut at kLineChars characters (for the comment lines of the
  // geometry pass); false at the end of the file. Drops the rest of the line in hand, and the
  // rest of an overlong line.
  bool NextRawLine(std::string& line);

  // The reader, at the start of a line (or of a piece of a long line), when the line in hand has
  // no token left; null when it has. A bulk scanner may take whole lines from it that the
  // tokenizer would have read as lines of their own (at most kLineChars characters each).
  core::TextReader* ReaderAtLineStart();

  // Once the opening keyword is seen, comment lines are no longer collected.
  void SetOpened() { opened_ = true; }
  // While sink is not null, the comment lines read after the opening are appended to it (the
  // first kLineChars characters of each), for a block's size comments.
  void CaptureComments(std::string* sink) { captured_ = sink; }
  const std::string& LeadingComments() const { return comments_; }

 private:
  bool ReadLine();
  // Reads on to the end of the physical line whose piece was read last.
  void SkipRestOfLine();

  core::TextReader& in_;
  std::string line_;           // the line in hand, prepared
  std::size_t pos_ = 0;        // where its next token is looked for
  bool in_hand_ = false;       // line_ still has tokens to give
  bool opened_ = false;        // IEEE_1532_DATA has been seen
  bool line_complete_ = true;  // the last piece read ended its physical line
  std::string comments_;       // comment lines before the opening, each "-- text\n"
  std::string* captured_ = nullptr;
};

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_TOKENIZER_H
