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
class FileCrcOfPieces {
 public:
  void Add(const std::uint8_t* bytes, std::size_t count);
  std::uint16_t Value() const { return crc_; }

 private:
  std::uint16_t crc_ = crc_engine::kCcittInitial;
  bool ended_ = false;  // a byte 0xFF was seen: nothing after it counts
};

}  // namespace fusekit::crc

#endif  // FUSEKIT_CRC_FILE_CRC_H
