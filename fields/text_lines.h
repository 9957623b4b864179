// Lines of a small text file, as the feature-row and settings readers take them: ended by a line
// feed, a carriage return or both, numbered from 1.
#ifndef FUSEKIT_FIELDS_TEXT_LINES_H
#define FUSEKIT_FIELDS_TEXT_LINES_H

#include <string>
#include <string_view>

#include "fusekit/progdata.h"

namespace fusekit::fields {

// Calls take(number, line) for each line of text, without its line end, until take returns false.
template <class Take>
void ForEachLine(std::string_view text, Take&& take) {
  unsigned long number = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find_first_of("\r\n", start);
    if (end == std::string_view::npos) end = text.size();
    if (!take(++number, text.substr(start, end - start))) return;
    start = end;
    const bool carriage_return = start < text.size() && text[start] == '\r';
    if (carriage_return) ++start;
    if (start < text.size() && text[start] == '\n') ++start;  // LF, or the LF of CR LF
  }
}

// The text without the blanks and tabs around it.
std::string_view Trimmed(std::string_view text);

// Whether a and b are the same without regard to case.
bool SameWithoutCase(std::string_view a, std::string_view b);

// A row of bits.size() bits (characters 0 and 1, the first the most significant) in the row
// layout of programming data: the padding of a width that is not a multiple of 8 leads and is 1.
std::string RowBytesOfBits(std::string_view bits);

// The bits of a row of width bits as characters 0 and 1, the most significant first.
std::string BitsOfRow(const KvByteBuffer& row, unsigned int width);

// Replaces the field name of data by one row of the bits; false when it cannot be stored.
bool StoreBitRow(SVFPlusData& data, const char* name, std::string_view bits);

}  // namespace fusekit::fields

#endif  // FUSEKIT_FIELDS_TEXT_LINES_H
