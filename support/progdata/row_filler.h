// Rows of a field filled the way the readers of bitstreams and images store bytes: each row is
// pre-filled, bytes go bit-reversed from its last index downward, and a new row starts when the
// index has passed 0. Read from its last byte backward with each byte bit-reversed, the row is
// the input in order.
#ifndef FUSEKIT_SUPPORT_PROGDATA_ROW_FILLER_H
#define FUSEKIT_SUPPORT_PROGDATA_ROW_FILLER_H

#include <cstdint>
#include <vector>

#include "fusekit/progdata.h"

namespace fusekit::progdata {

class RowFiller {
 public:
  // Rows of bits bits, (bits + 7) / 8 bytes of fill each.
  RowFiller(SVFDataField& field, unsigned int bits, std::uint8_t fill);

  // Adds a row and sets the index to its last byte; false when the row cannot be added.
  bool StartRow();
  // Starts a row when none is open or the index has passed 0, then stores the byte
  // bit-reversed at the index and moves down. False when a row cannot be added.
  bool Put(std::uint8_t byte);
  // Put of count bytes in turn.
  bool PutRun(const std::uint8_t* bytes, std::size_t count);
  // Stores byte bit-reversed at the index without moving (nothing when the index has passed 0).
  void Poke(std::uint8_t byte);

  int Index() const { return index_; }
  bool RowFull() const { return row_ == nullptr || index_ < 0; }
  int Rows() const { return rows_; }
  KvByteBuffer* Row() const { return row_; }

 private:
  SVFDataField& field_;
  unsigned int bits_;
  std::vector<std::uint8_t> fill_;
  KvByteBuffer* row_ = nullptr;
  std::uint8_t* bytes_ = nullptr;  // the row's bytes, written in place
  int index_ = -1;
  int rows_ = 0;
};

}  // namespace fusekit::progdata

#endif  // FUSEKIT_SUPPORT_PROGDATA_ROW_FILLER_H
