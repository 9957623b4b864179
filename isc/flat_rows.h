// The rows of an ISC data block as the summary reader and the compare keep them: one width,
// either decoded into one buffer or left in the file's text where the writer laid them out
// evenly, and decoded when asked.
#ifndef FUSEKIT_ISC_FLAT_ROWS_H
#define FUSEKIT_ISC_FLAT_ROWS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/util/populated_buffer.h"

namespace fusekit::isc {

// The hex digits of a row of width bits: one short when the row starts with a single digit.
std::size_t DigitsOfRow(unsigned long width);

// Whether a row of width bits starts with a single digit (1 to 4 bits past a whole byte).
bool HasShortLead(unsigned long width);

// Hex digits as row bytes: a lead of one digit (short_lead) fills the first byte alone, then
// two digits a byte. False when a character is not a hex digit.
bool DecodeRow(const char* digits, std::size_t count, bool short_lead, unsigned char* out);

// Rows laid out evenly in a text, decoded into out one after another (row_bytes each): at most
// rows rows of digits hex digits, the first at text and each one step after the one before,
// and each followed by the separator whose bytes are the low separator_bytes bytes of separator
// (1 to 8; the text must hold 8 bytes from each separator on). Returns how many were decoded
// before the first that is not followed by the separator or holds a character that is not a hex
// digit, which is left for the caller to read on its own.
std::size_t DecodeEvenRows(const char* text, std::size_t step, std::size_t digits, bool short_lead,
                           std::uint64_t separator, std::size_t separator_bytes, std::size_t rows,
                           unsigned char* out);

// Rows of one width, each in whole bytes (a row of 1 to 4 bits past a whole byte holds them in
// the low half of its first byte, as the file's digits say).
//
// While each row added is one word of digits standing at the same distance after the one
// before, the rows stay in the text they were read from, which must outlive them: a file of
// millions of rows is then kept in no memory of its own. The first row that breaks that
// layout has every row before it decoded into one buffer, and the rows go on from there.
class FlatRows {
 public:
  unsigned long width = 0;  // bits of each row
  std::size_t count = 0;

  std::size_t RowBytes() const { return (width + 7) / 8; }

  // From now on rows are counted and not kept: each is decoded into a scratch row that holds it
  // until the next, for a reader that only needs to see them once.
  void KeepNone() { keep_none_ = true; }
  bool KeepsNone() const { return keep_none_; }

  // The bytes of a row: where they are kept, or decoded into scratch (RowBytes() bytes).
  const unsigned char* Row(std::size_t index, unsigned char* scratch) const;

  // Whether rows [first, first + rows) of both hold the same bytes, told by one memory compare
  // of their bytes or of their texts; false when that cannot tell (texts laid out otherwise, or
  // alike only once decoded), so the caller then looks at the rows one by one.
  bool SameBytes(const FlatRows& other, std::size_t first, std::size_t rows) const;

  // Room for one more row, whose bytes the caller then writes. digits is where its digits
  // stand in the text (null when they were gathered from several words): the rows stay in the
  // text while that is one stride after the row before, and the room returned is then a
  // scratch row that holds the decoded bytes only until the next call.
  unsigned char* Append(const char* digits) {
    if (keep_none_ && scratch_.size() == RowBytes()) {  // most rows of a file read only once
      ++count;
      return scratch_.data();
    }
    return AppendKept(digits);
  }
  void DropLast();
  // One more row kept in the text, one stride after the last: for a caller that has checked
  // its digits stand there, and handles their bytes itself.
  void AddNextInText() { ++count; }
  // Room for rows more decoded rows, so that appending them moves nothing.
  void Reserve(std::size_t rows);

  // The text of the rows while they are kept in it: the first row's digits and the distance
  // from one row's digits to the next (0 before a second row); null text otherwise.
  const char* Text() const { return text_; }
  std::size_t Stride() const { return stride_; }

 private:
  unsigned char* AppendKept(const char* digits);
  void Grow(std::size_t bytes);
  // Decodes the rows kept in the text into the buffer, which holds them from then on.
  void Materialize();

  util::PopulatedBuffer bytes_;  // decoded rows, bytes_.Size() bytes of room
  const char* text_ = nullptr;
  std::size_t stride_ = 0;
  std::size_t announced_ = 0;           // rows the size comments said there would be
  std::vector<unsigned char> scratch_;  // the last row appended while in the text
  bool keep_none_ = false;
};

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_FLAT_ROWS_H
