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
  void Finish() {
    if (!line_.empty()) {
      if (prefix_) out_ += "-- ";
      out_ += line_;
      out_ += '\n';
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
