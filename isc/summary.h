// The ISC summary reader, for the compare as well: the blocks of an ISC data file with their
// rows, read without a device record.
#ifndef FUSEKIT_ISC_SUMMARY_H
#define FUSEKIT_ISC_SUMMARY_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "fusekit/isc.h"
#include "support/util/populated_buffer.h"

namespace fusekit::isc {

// Rows of one width, stored one after the other in whole bytes (a row of 1 to 4 bits past a
// whole byte holds them in the low half of its first byte, as the file's digits say).
class FlatRows {
 public:
  unsigned long width = 0;  // bits of each row
  std::size_t count = 0;

  std::size_t RowBytes() const { return (width + 7) / 8; }
  const unsigned char* Row(std::size_t index) const { return bytes_.Data() + index * RowBytes(); }
  // The bytes of all rows, one after the other (null when there are none).
  const unsigned char* Bytes() const { return bytes_.Data(); }

  // Room for one more row after the last, whose bytes the caller then writes. The room grows
  // by doubling and is not cleared first, so appending a row is most often a pointer step.
  unsigned char* Append();
  void DropLast() { --count; }
  // Room for rows more rows, so that appending them moves nothing.
  void Reserve(std::size_t rows);

 private:
  void Grow(std::size_t bytes);

  util::PopulatedBuffer bytes_;  // the room, bytes_.Size() bytes
};

// The rows of one data block as the file holds them.
struct IscBlockRows {
  FlatRows rows;
  FlatRows terminate;
};

// GetISCSummary, keeping each block's rows in rows (one entry a block of summary.blocks) when
// rows is not null. The same results. The block CRC register is left alone, so two files can
// be read at once; lastBlockCrc is the data CRC of the last block read whole, which
// GetISCSummary leaves in the register.
int ReadIscFile(const char* fileName, ISCSummary& summary, std::deque<IscBlockRows>* rows,
                std::optional<std::uint32_t>& lastBlockCrc);

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_SUMMARY_H
