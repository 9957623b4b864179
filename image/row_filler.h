// The byte placement of the image readers: rows of a field, each pre-filled, receive bytes
// bit-reversed from their last index downward; a new row starts when the index has passed 0.
#ifndef FUSEKIT_IMAGE_ROW_FILLER_H
#define FUSEKIT_IMAGE_ROW_FILLER_H

#include <cstdint>
#include <cstdio>
#include <new>
#include <vector>

#include "fusekit/devicedb.h"
#include "fusekit/progdata.h"

namespace fusekit::image {

constexpr int kRowFailed = -3;

class RowFiller {
 public:
  // Rows of bits bits, (bits + 7) / 8 bytes of fill each.
  RowFiller(SVFDataField& field, unsigned int bits, std::uint8_t fill);

  // Adds a row and sets the index to its last byte; false when the row cannot be added.
  bool StartRow();
  // Starts a row when none is open or the index has passed 0, then stores the byte
  // bit-reversed at the index and moves down. False when a row cannot be added.
  bool Put(std::uint8_t byte);
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
  int index_ = -1;
  int rows_ = 0;
};

// Bytes of an open file, read one at a time through the C runtime's buffer.
class ByteSource {
 public:
  explicit ByteSource(std::FILE* file) : file_(file) {}
  // The next byte, or false at the end of the file.
  bool Next(std::uint8_t& byte) {
    const int c = std::getc(file_);
    if (c == EOF) return false;
    byte = static_cast<std::uint8_t>(c);
    return true;
  }
  // Passes over count bytes; false when the file ends first.
  bool Skip(int count) {
    std::uint8_t ignored;
    for (int i = 0; i < count; ++i) {
      if (!Next(ignored)) return false;
    }
    return true;
  }
  bool AtEnd() {
    const int c = std::getc(file_);
    if (c == EOF) return true;
    std::ungetc(c, file_);
    return false;
  }

 private:
  std::FILE* file_;
};

// Adds a field of that name; null when memory runs out.
SVFDataField* NewField(SVFPlusData& data, const char* name);

// The "ID" field: one row of the device's identifier length, (length + 7) / 8 bytes, the ISP
// identifier least significant byte first. 0 or -3.
int AddIspIdField(SVFPlusData& data, const DeviceInfo& device);

// Runs body, turning a failed allocation into -3.
template <class Body>
int Guarded(Body&& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return kRowFailed;
  }
}

}  // namespace fusekit::image

#endif  // FUSEKIT_IMAGE_ROW_FILLER_H
