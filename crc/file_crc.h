// The CCITT file CRC of text files: the closing checksum of ISC data files.
#ifndef FUSEKIT_CRC_FILE_CRC_H
#define FUSEKIT_CRC_FILE_CRC_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "support/util/crc_engine.h"

namespace fusekit::crc {

// Result for a file that cannot be opened: -13 seen as a 16-bit value.
constexpr std::uint16_t kFileCrcOpenFailed = 0xFFF3;

// Count of leading bytes of the stream that the file CRC covers: everything before the first
// byte 0xFF and before the first occurrence of marker (four characters; null for none).
//
// The search is deliberately naive: a character matches when it equals the marker character at
// the current match index as given or lower-cased (so a lower-case marker does not match
// upper-case text), and a mismatch sets the index back to 0 without testing that character
// again. "AABCD" therefore does not contain the marker "ABCD".
std::uint64_t FileCrcExtent(std::FILE* file, const char* marker);

// CCITT CRC of the first count bytes of the stream, carriage returns left out.
std::uint16_t FileCrcOfLeadingBytes(std::FILE* file, std::uint64_t count);

// The file CRC of a text handed over in pieces, in order: the CCITT CRC of its bytes before the
// first byte 0xFF, carriage returns left out.
//
// A text can also be taken in parts apart, on several threads: each part after the first from
// a register of 0 (Part()), then joined in order to the CRC of the text before it.
class FileCrcOfPieces {
 public:
  FileCrcOfPieces() = default;
  // The CRC of a part of a text that does not start the text, to be joined to what stands before.
  static FileCrcOfPieces Part() { return FileCrcOfPieces(0); }

  void Add(const std::uint8_t* bytes, std::size_t count);
  // The text of later, a Part() that comes right after the text added so far.
  void Join(const FileCrcOfPieces& later);
  std::uint16_t Value() const { return crc_; }

 private:
  explicit FileCrcOfPieces(std::uint16_t initial) : crc_(initial) {}

  std::uint16_t crc_ = crc_engine::kCcittInitial;
  std::uint64_t counted_ = 0;  // bytes the CRC was carried over
  bool ended_ = false;         // a byte 0xFF was seen: nothing after it counts
};

}  // namespace fusekit::crc

#endif  // FUSEKIT_CRC_FILE_CRC_H
