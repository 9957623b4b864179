// Pieces of the JEDEC-to-programming-data conversion that stand on their own.
#ifndef FUSEKIT_JEDEC_TO_PROGDATA_H
#define FUSEKIT_JEDEC_TO_PROGDATA_H

#include <cstdint>
#include <string>
#include <vector>

#include "fusekit/devicedb.h"
#include "fusekit/progdata.h"

namespace fusekit::jedec {

// The positions of a usercode row (of physical_bits bits, padded to whole bytes, position 0 the
// most significant bit of byte 0) that the mask (hex text) forces to 1: bit p of the number its
// last ceil(P/4) digits make, an odd digit count completed with a low nibble of ones.
std::vector<bool> UsercodeMaskPositions(const std::string& mask, std::uint64_t physical_bits);

// The "Usercode_TDI" row of physical_bits bits from logical_bits usercode bits (bit i of the
// usercode is bit 15 - i % 16 of word i / 16 of the map), placed in order for physical lengths
// of 16 and 32 and by the reversal rule otherwise, then spread over the positions that the
// mask (hex text; positions whose mask bit is 1 are set to 1) leaves free.
std::vector<std::uint8_t> UsercodeRow(const std::uint16_t* usercode_map,
                                      std::uint64_t physical_bits, std::uint64_t logical_bits,
                                      const std::string& mask);

// "CFGArray_TDI" rows of 64 bits from the source row's bytes, from its third-to-last down to
// byte 6, and "Usercode_TDO": bytes 3, 2, 1, 0 of the source row and four 0xFF bytes. Nothing is
// added when the source row holds eight bytes or fewer. 0, -3 or -1010.
int AddConfigurationFields(SVFPlusData& data, const KvByteBuffer& source);

// The row layout of a row given as "0"/"1" characters, column 0 first.
std::vector<std::uint8_t> LayOutBitString(const std::string& bits, std::uint64_t width);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_TO_PROGDATA_H
