// Bitstreams: reading and measuring configuration bitstream files.
#ifndef FUSEKIT_BITSTREAM_H
#define FUSEKIT_BITSTREAM_H

#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"
#include "fusekit/util.h"

// The length of a file in bits: its bytes times 8, one byte more for a ".bin" file (any case)
// whose last byte is 0x06. An empty file leaves bitLength untouched. 0; -2 the file cannot be
// opened.
FUSEKIT_API int BITCheck(char* fileName, unsigned long* bitLength);
// The plain length in bits, without the ".bin" rule. 0; -2 the file cannot be opened; -6 null
// device.
FUSEKIT_API int BITCheck(char* fileName, DeviceInfo* device, unsigned long* bitLength);

// Reads a binary bitstream whole into "FuseArray_TDI" (rows of the fuse number for a device of
// one address, else of the data length, pre-filled with 0xFF; read from its last byte backward
// with each byte bit-reversed, a row is the file, header bytes as 0xFF), then "Usercode_TDI" from
// the bitstream model and "ID". The CRC form also gives the data CRC of "FuseArray_TDI" in
// crcText; the reader form can add the 2000-bit split fields. 0; -2 the file cannot be opened;
// -3 a row cannot be added (or null data in the CRC form); -6 null device or data; a negative
// model result when the model cannot be built (the fuse data, a zero usercode and "ID" are
// stored all the same).
FUSEKIT_API int BIT2SVFPlus(char* fileName, DeviceInfo* device, int mode, SVFPlusData* data,
                            const char* unused1, const char* unused2, const char* unused3,
                            char* crcText);
FUSEKIT_API int BIT2SVFPlus(char* fileName, DeviceInfo* device, int mode, SVFPlusData* data,
                            const char* unused1, const char* unused2, const char* unused3,
                            bool split);
// The same for the ASCII form: header lines store one 0xFF a character, data lines their bits.
FUSEKIT_API int RBT2SVFPlus(char* fileName, DeviceInfo* device, int mode, SVFPlusData* data,
                            const char* unused1, const char* unused2, const char* unused3,
                            char* crcText);
FUSEKIT_API int RBT2SVFPlus(char* fileName, DeviceInfo* device, int mode, SVFPlusData* data,
                            const char* unused1, const char* unused2, const char* unused3,
                            bool split);
// The length in bits the ASCII reader would store. 0; -2 the file cannot be opened.
FUSEKIT_API int RBTCheck(const char* fileName, unsigned long* bitLength);
// The same for a device; Vorsk streams are measured in their regenerated binary form. -6 null
// device.
FUSEKIT_API int RBTCheck(const char* fileName, DeviceInfo* device, unsigned long* bitLength);

#endif  // FUSEKIT_BITSTREAM_H
