// The JEDEC (JESD3) fuse-map format: framing characters, field letters and the limits the
// readers keep to. Layout only, no logic.
#ifndef FUSEKIT_JEDEC_JEDEC_FORMAT_H
#define FUSEKIT_JEDEC_JEDEC_FORMAT_H

#include <cstdint>

namespace fusekit::jedec {

constexpr int kStx = 0x02;  // start of the field stream
constexpr int kEtx = 0x03;  // regular end of the field stream; the transmission checksum follows
constexpr int kFieldEnd = '*';

// Field letters (upper case; a file may write them in lower case).
constexpr int kNote = 'N';
constexpr int kQuantity = 'Q';  // QF fuse count, QP pin count, QV test vectors
constexpr int kFuseDefault = 'F';
constexpr int kSecurity = 'G';
constexpr int kFuseList = 'L';
constexpr int kChecksum = 'C';
constexpr int kArchitecture = 'E';
constexpr int kUsercode = 'U';

// Forms of the U field: ASCII characters of eight bits, hex digits of four bits, or fuse digits.
constexpr int kUsercodeAscii = 'A';
constexpr int kUsercodeHex = 'H';

// The status for a byte inside a field that the field cannot hold.
constexpr int kSyntaxError = 8195;

// Code names with their own rules: the 22V10 family of simple PLDs keeps its usercode inside the
// fuse list (QF may be the fuse number plus 64) and is laid out in the device's own order, and
// the legacy switch devices rearrange their rows.
constexpr const char* kCode22V10 = "22V10";
constexpr const char* kCode22LV10 = "22LV10";
constexpr const char* kSarnCodeNames[] = {"Sarn14", "Sarn18", "Sarn22"};
constexpr std::uint32_t k22V10ExtraUsercodeFuses = 64;
constexpr std::uint32_t k22V10ArrayFuses = 5808;  // 132 product terms of 44 fuses
constexpr std::uint32_t k22V10ProductTerms = 132;
constexpr std::uint32_t k22V10TermFuses = 44;
constexpr std::uint32_t k22V10WorkingBytes = 11664;

// A QF value that one device accepts beside its own fuse number, deliberately.
constexpr std::uint32_t kAliasedQf = 0x4C1CA0;
constexpr std::uint32_t kAliasedQfDeviceFuses = 0x4C07B8;

// Bit-map transformation flags of the device record.
constexpr unsigned kBitMapReversedRows = 1;  // the file lists the device's rows last first
constexpr unsigned kBitMapDoubledRows = 4;   // the array has twice the address count

// Limits on what a file may declare, so that no text decides how much is allocated.
constexpr std::uint32_t kMaxUsercodeBits = 4096;
constexpr int kLineScanBytes = 3000;    // line length of the note queries
constexpr int kHeaderLineBytes = 5000;  // line length of the header collector

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_JEDEC_FORMAT_H
