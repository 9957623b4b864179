// Collection of a JEDEC file's header text.
#include "jedec/header_text.h"

#include <cctype>

#include "jedec/field_stream.h"
#include "jedec/jedec_format.h"

namespace fusekit::jedec {
namespace {

// The line being collected; a line feed hands it to the output unless it is empty.
class HeaderLines {
 public:
  HeaderLines(bool comment_prefix, std::string& out) : prefix_(comment_prefix), out_(out) {}

  void Add(int c) {
    if (c == '\n') {
      Finish();
    } else {
      AddToLine(c);
    }
  }

  // Appends c, a line feed too, to the line without ending it.
  void AddToLine(int c) {
    if (line_.size() + 1 < kHeaderLineBytes) line_ += static_cast<char>(c);  // overlong: cut
  }

 private:
  // A note that spans several lines is one line here; with the prefix, each of its lines gets
  // "-- " of its own, so that every line of the block reads as a comment.
  void Finish() {
    if (!prefix_) {
      if (!line_.empty()) out_.append(line_).append(1, '\n');
    } else {
      std::size_t start = 0;
      while (start < line_.size()) {
        std::size_t end = line_.find('\n', start);
        if (end == std::string::npos) end = line_.size();
        if (end > start) out_.append("-- ").append(line_, start, end - start).append(1, '\n');
        start = end + 1;
      }
    }
    line_.clear();
  }

  bool prefix_;
  std::string& out_;
  std::string line_;  // a line not yet ended is dropped at the end of the scan
};

}  // namespace

void CollectHeaderText(core::TextReader& in, bool comment_prefix, std::string& out) {
  HeaderLines lines(comment_prefix, out);
  // Before STX: every valid character; anything else ends this part.
  int c;
  while ((c = in.Get()) != EOF && c != kStx && IsValidChar(c)) lines.Add(c);
  if (c == EOF) return;
  // The design field, without its "*".
  while ((c = in.Get()) != EOF && c != kFieldEnd) {
    if (IsValidChar(c)) lines.Add(c);
  }
  if (c == EOF) return;
  // Fields up to the first fuse list: notes are copied, blanks between fields kept, line feeds
  // end lines, every other field is dropped.
  while ((c = in.Get()) != EOF) {
    const int letter = AsciiUpper(c);
    if (letter == kFuseList) return;
    if (c == '\n' || c == ' ') {
      lines.Add(c);
    } else if (letter == kNote) {
      // A note is one line, whatever line feeds it holds.
      lines.AddToLine(c);
      while ((c = in.Get()) != EOF && c != kFieldEnd) lines.AddToLine(c);
    } else if (c != kFieldEnd) {
      while ((c = in.Get()) != EOF && c != kFieldEnd) {
      }
    }
    if (c == EOF) return;
  }
}

bool CollectHeaderText(const char* path, bool comment_prefix, std::string& out) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return false;
  core::TextReader in(file.get());
  CollectHeaderText(in, comment_prefix, out);
  return true;
}

}  // namespace fusekit::jedec
