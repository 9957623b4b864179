// CRCs and checksums: the data CRC of data fields, the file CRC of ISC data files, the device
// CRC-16s, the JEDEC transmission checksum and the binary-file checksum.
#ifndef FUSEKIT_CRC_H
#define FUSEKIT_CRC_H

#include <vector>

#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"

// Finds the data CRC stored in an ISC data file: the text from the last blank of the first
// "-- DATA_CRC" line (line end included), or the whole line that follows the first line holding
// "data_CRC". crcText (at least 256 characters) is "" when neither occurs. Result 0, or -13
// when the file cannot be opened for reading and writing.
FUSEKIT_API int GetCRCData(const char* fileName, char* crcText);

// CRC-16/CCITT of the text of fileName up to the first occurrence of the four-character marker
// (carriage returns are not fed; a byte 0xFF ends the text). 0 for a null or empty marker,
// 0xFFF3 when the file cannot be opened.
FUSEKIT_API unsigned short GetCRCTramission(char* fileName, char* marker);

// The same CRC over the whole text of the file: the closing checksum of an ISC data file.
// 0xFFF3 when the file cannot be opened.
FUSEKIT_API unsigned short GetFileCRC16(const char* fileName);

// 32-bit data CRC over up to three fields (null ones skipped), read from each field's row cursor
// onward. The first argument is ignored. With format true the value is written to crcText as
// eight upper-case hex digits. The value is also left in the process-wide block CRC register.
FUSEKIT_API void GetDataCRC(char* unused, SVFDataField* first, SVFDataField* second,
                            SVFDataField* third, bool format, char* crcText);
// The block CRC register: the value of the last GetDataCRC.
FUSEKIT_API unsigned int GetBlockCRCRegister();

// CRC-16 with polynomial 0x8005, initial value 0xFFFF and final XOR 0xFFFF; 0 for no bytes.
FUSEKIT_API unsigned short GetVandi_CRC16(const std::vector<unsigned char>& bytes);

// CRC-16/CCITT-FALSE of length bytes, written to crcText (at least 17 characters) as sixteen
// '0'/'1' characters, most significant bit first. The result is always 0.
FUSEKIT_API unsigned short GetNix_CRC16(unsigned char* bytes, unsigned int length, char* crcText);

// 1 when a and b differ, else 0.
FUSEKIT_API char Exor(char a, char b);

// JEDEC transmission checksum: the 16-bit sum of the bytes from STX to ETX (both included)
// against the four hex digits after ETX. 1 when they agree or the stored value is 0 ("0000"
// means not given), 0 when they differ, STX or ETX is missing, or the file cannot be opened.
// computed and stored receive the two values (0 when not reached).
FUSEKIT_API int ValidTransmissionChecksum(char* fileName, unsigned short* computed,
                                          unsigned short* stored);

// Two's complement of the 16-bit sum of the file's bytes (each mirrored first when reverseBits
// is true). 0 for an empty file, 0xFFFF when the file cannot be opened.
FUSEKIT_API unsigned short GetBinaryFileChecksum16(const char* fileName, bool reverseBits);

// Validators of programming data (docs/compare.md).

// The 16-bit checksum a host shows for programming data: for a device the JEDEC writer lays out,
// the C checksum of the file SVFPlus2JEDEC writes; for data of another shape (a bitstream's or
// an image's rows), the 16-bit sum of the bytes of "FuseArray_TDI". 0 to 0xFFFF; -100 null
// data or device; -1000 no main array.
FUSEKIT_API int SVFPlus2CheckSum(SVFPlusData* data, DeviceInfo* device, int jtag);
// 1 when SVFPlus2CheckSum gives the low 16 bits of checksum, 0 when not, or its negative status.
FUSEKIT_API int ValidDataChecksum(SVFPlusData* data, DeviceInfo* device, int jtag,
                                  unsigned int checksum);
// Whether every bit of every row of the field holds pattern, a byte (0x00 blank, 0xFF all ones)
// repeated along each row in the row layout, over each row's width only. 1 it does; 0 it does
// not, the first differing bit (rows in order, columns from 0) in *firstDifference when given;
// -1000 no such field; -6 null data or name; -8 a pattern outside 0 to 255.
FUSEKIT_API int ValidDataPattern(SVFPlusData* data, const char* fieldName, int pattern,
                                 unsigned long* firstDifference);
// Converts an image (Intel hex, S-records or extended Tektronix, found from its first
// character; any other file is taken as binary bytes) with alignment 0x10000 into
// "tmpBitstream.bit" in workDir, computes GetVandi_CRC16 over that file's bytes and removes it.
// 1 when the CRC is the low 16 bits of expected, 0 when not (the CRC in *computed when given);
// -2 the image cannot be read or converted; -6 a null image name.
FUSEKIT_API int ValidVandiDataCRC(const char* imageFile, const char* workDir, unsigned int expected,
                                  unsigned short* computed);

#endif  // FUSEKIT_CRC_H
