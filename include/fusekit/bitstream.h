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

// True when the bitstream model of the file says the stream is compressed.
FUSEKIT_API bool IsBitstreamCompressed(const char* fileName, DeviceInfo* device);
// 0 not encrypted; when encrypted: 2 for a "Config Mode:" of "SPI" or "SPIM", 1 for another mode
// (or for no mode in the Torvik4, Glimra, Pelmo3D, Orlan and Vorsk families); -1 when the mode is
// empty or missing in other families, or the model cannot be built.
FUSEKIT_API int IsBitstreamEncrypted(const char* fileName, DeviceInfo* device);
// 0 neither, 1 authenticated, 2 encrypted, 3 both, or the model's negative result; names other
// than ".bit" and ".rbt" (any case) give 0. The model's messages go to logFile.
FUSEKIT_API int GetAuthenticatedInfo(char* fileName, DeviceInfo* device, const char* logFile);
// The value of a comment entry of a ".bit" or ".rbt" file; names are compared without white
// space and case. Empty when the entry or the file is not there.
FUSEKIT_API void GetBitstreamComment(KvCString& value, const char* key, const char* fileName);
// 1 when a ".jed" or ".isc" file has a line holding "AN ENCRYPTED JEDEC", else 0.
FUSEKIT_API int GetEncrytedFromFile(const char* fileName);
// The number after "TOTAL_FUSES" and "=" in a ".jed" or ".isc" file, or 0.
FUSEKIT_API unsigned long GetISCFuseCountByFilename(const char* fileName);
// The device name a programming file declares (docs/bitstream-format.md), or "".
FUSEKIT_API void GetDeviceNameFromFile(KvCString& value, const char* fileName);

// A hex dump of any file: offset, sixteen bytes and their characters a line. 0; -1 a file cannot
// be opened; -19 the listing could not be written whole.
FUSEKIT_API int fnBITFileDisplay(const char* fileName, const char* outFile);
// A listing of a binary bitstream (".bit"), read-back (".rbk") or mask (".msk"): the header
// comment, then every frame with its components in hex. 0 (also for a null device, with an
// empty listing); -1 a file cannot be opened; -2 another extension or an unreadable stream
// (with a line saying so in the listing); -19 the listing could not be written whole.
FUSEKIT_API int fnBITFileDisplay(char* fileName, DeviceInfo* device, const char* outFile,
                                 const char* unused);
// The same for the ASCII forms (".rbt", ".rbka", ".mska").
FUSEKIT_API int fnRBTFileDisplay(char* fileName, DeviceInfo* device, const char* outFile,
                                 const char* unused);
// The user flash data of a ".bit" stream: a head, then the "Data" of every "Data Frame", 18
// bytes a line; with a mask stream, only the bits its frames mark with 1. 0; -1 the output cannot
// be opened; -2 not ".bit" or unreadable; -19 the listing could not be written whole.
FUSEKIT_API int fnEBRFileDisplay(char* fileName, DeviceInfo* device, const char* outFile,
                                 const char* maskFile, const char* unused);

// Compares a bitstream read back from a device (readFile) with the one meant to be programmed,
// each in the binary or the ASCII form (found from its first bytes), through the bitstream
// model of device: frame by frame, each component bit by bit in stream order, and writes the
// report to reportFile (docs/compare.md): both files' forms, sizes and frame counts, comment
// entries that differ (not counted), and each differing component with its bits marked "+"
// (read 1) or "-" (read 0). The two names are one compare, called after the read file's form.
// Result: the number of differing bits; -1 a file cannot be opened; -2 the files cannot be
// compared (not bitstreams of the device, other devices, frames of another name or size; the
// cause is in the report); -6 a null argument; -19 the report could not be written whole.
FUSEKIT_API int fnBITFileCompare(const char* readFile, const char* referenceFile,
                                 DeviceInfo* device, const char* reportFile);
FUSEKIT_API int fnRBTFileCompare(const char* readFile, const char* referenceFile,
                                 DeviceInfo* device, const char* reportFile);

// Rewrites an encrypted bitstream for programming over JTAG: the stream (binary or ASCII, found
// from its first bytes) parsed for device, its "Config Mode:" entry set to "JTAG" (added when
// missing), and written to outFile in the same form with every frame unchanged (the encrypted
// data cannot be changed). 0; -2 the stream is not encrypted; -6 a null argument; the model's
// results (-40 to -52) when it cannot be read or written.
FUSEKIT_API int ConvertEncryptedFiletoJTAGMode(const char* inFile, DeviceInfo* device,
                                               const char* outFile);

#endif  // FUSEKIT_BITSTREAM_H
