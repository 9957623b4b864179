// Lines of a text file as the record converters read them: at most 1023 characters each (a
// longer line is read in pieces, each a line of its own), the line feed removed, a carriage
// return left in place.
#ifndef FUSEKIT_IMAGE_LINE_READER_H
#define FUSEKIT_IMAGE_LINE_READER_H

#include <cstdio>
#include <memory>
#include <string_view>

namespace fusekit::image {

constexpr std::size_t kLinePieceChars = 1023;

class LineReader {
 public:
  explicit LineReader(std::FILE* file);
  // The next line; false at the end of the file.
  bool Next(std::string_view& line);
  // Lines given so far.
  unsigned long LineNumber() const { return number_; }

 private:
  bool Refill();

  std::FILE* file_;
  std::unique_ptr<char[]> buffer_;
  std::size_t pos_ = 0;
  std::size_t end_ = 0;
  bool at_end_ = false;
  unsigned long number_ = 0;
};

}  // namespace fusekit::image

#endif  // FUSEKIT_IMAGE_LINE_READER_H
