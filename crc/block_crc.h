// The process-wide block CRC register shared by the data CRC and the ISC writer.
#ifndef FUSEKIT_CRC_BLOCK_CRC_H
#define FUSEKIT_CRC_BLOCK_CRC_H

#include <cstdint>

#include "fusekit/progdata.h"

namespace fusekit::crc {

// The register: overwritten by every data CRC computation.
std::uint32_t& BlockCrcRegister();

// Data CRC of up to three fields from their row cursors (null fields skipped), left in the
// block register and returned.
std::uint32_t ComputeDataCrc(SVFDataField* const* fields, int count);

}  // namespace fusekit::crc

#endif  // FUSEKIT_CRC_BLOCK_CRC_H
