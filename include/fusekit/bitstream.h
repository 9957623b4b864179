// Bitstreams: reading and measuring configuration bitstream files.
#ifndef FUSEKIT_BITSTREAM_H
#define FUSEKIT_BITSTREAM_H

#include "fusekit/devicedb.h"
#include "fusekit/export.h"

// The length of a file in bits: its bytes times 8, one byte more for a ".bin" file (any case)
// whose last byte is 0x06. An empty file leaves bitLength untouched. 0; -2 the file cannot be
// opened.
FUSEKIT_API int BITCheck(char* fileName, unsigned long* bitLength);
// The plain length in bits, without the ".bin" rule. 0; -2 the file cannot be opened; -6 null
// device.
FUSEKIT_API int BITCheck(char* fileName, DeviceInfo* device, unsigned long* bitLength);

#endif  // FUSEKIT_BITSTREAM_H
