// Memory images: Intel hex, Motorola S-record and extended Tektronix files to flat binaries, and
// binary, hex-text, MCS, firmware and NVCM images to programming data.
#ifndef FUSEKIT_IMAGE_H
#define FUSEKIT_IMAGE_H

#include <cstdio>
#include <string>
#include <vector>

#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"

// 0 when the first line of the file begins with ':', else -1 (also for a null name or a file
// that cannot be opened). Reads at most the first 1023 characters.
FUSEKIT_API int CheckValidIntelHexFile(char* fileName);

// Intel hex to a flat binary file: the bytes from the lowest to the highest written address,
// gaps as 0xFF, every byte stored with its bit order mirrored. startAddress (may be null)
// receives the lowest address, rounded down to a multiple of alignment when it is not 0, and the
// file then begins there; alignment must not be 0 when startAddress is given. A file that does
// not begin with ':' is read as raw hex digit pairs instead (no mirroring, startAddress left
// alone). Result 0; -1 on failure or on any checksum mismatch (the file is still written then);
// -19 the output could not be written whole.
FUSEKIT_API int HEX2BIN(char* hexFile, unsigned int* startAddress, char* binFile, int alignment);
// Motorola S-records (S1, S2, S3 data) to a flat binary file, as HEX2BIN.
FUSEKIT_API int MOT2BIN(char* motFile, unsigned int* startAddress, char* binFile, int alignment);
// Extended Tektronix hex (type 6 data) to a flat binary file, as HEX2BIN. An address length
// other than 8 ends the conversion with -1.
FUSEKIT_API int TEKHEX2BIN(char* tekFile, unsigned int* startAddress, char* binFile, int alignment);

// Classifies a file name by its ending: 0 Intel hex (".mcs", ".MCS", ".hex", ".HEX"),
// 1 Motorola S-records (".exo", ".EXO"), 2 extended Tektronix (".xtek", ".XTEK"), 3 raw binary
// (".BIN", ".bin"), -1 anything else (".bit" included).
FUSEKIT_API int IsITELAndMOTFile(const char* fileName);

// Reads count raw hex numbers (separated by white space) from stream into *buffer, the low byte
// of each. *readCount becomes count, and the result 1; when the stream begins with ':' (Intel
// hex) the result is -1 and *readCount 0. Numbers missing at the end of the stream leave their
// bytes untouched.
FUSEKIT_API int hex_parse_raw_hex(FILE* stream, unsigned char** buffer, unsigned int count,
                                  unsigned int* readCount);

// A binary image into "FuseArray_TDI" rows (and the configuration copy in "CFGArray_TDI") and
// "ID". 0; -2 the file cannot be opened; -3 a row cannot be added; -6 a null argument.
FUSEKIT_API int BIN2SVFPlus(char* fileName, DeviceInfo* device, int unused, SVFPlusData* data,
                            char* unused1, char* unused2, char* unused3);
// The NVCM-style image layout of the ISC files (after the synchronisation sequence 7E AA 99 7E).
// -1 the file ends before the sequence or right after the first row; else as BIN2SVFPlus.
FUSEKIT_API int BIN2ISCSVFPlus(char* fileName, DeviceInfo* device, int unused, SVFPlusData* data,
                               char* unused1, char* unused2, char* unused3);
// A text of hex digit pairs, converted to workDir/"tmpBitstream.bit" and read as BIN2SVFPlus
// reads a binary image.
FUSEKIT_API int HEX2SVFPlus(char* fileName, DeviceInfo* device, int unused, SVFPlusData* data,
                            char* unused1, char* unused2, char* workDir);
// The same text read with the layout of BIN2ISCSVFPlus.
FUSEKIT_API int HEX2ISCSVFPlus(char* fileName, DeviceInfo* device, int unused, SVFPlusData* data,
                               char* unused1, char* unused2, char* workDir);
// The length in bits of a text of hex digit pairs: pairs x 8 + 8. 0; -1 the file cannot be
// opened; -6 null device.
FUSEKIT_API int HEXCheck(const char* fileName, DeviceInfo* device, unsigned long* bitLength);
// The bytes of a file, as they are, into "EFuseArray_TDI" rows of 2048 bits.
FUSEKIT_API int MCS2SVFPlus(char* fileName, DeviceInfo* device, unsigned long unused,
                            SVFPlusData* data, char* unused1, char* unused2, char* unused3);
// A firmware image: a ".bin" file as one "Firmware_FuseArray_TDI" row of its length in bits;
// another file as a bitstream whose firmware patch data ("Data" of the "Write Patch Program
// Increment Frame") becomes that row, each byte bit-reversed. -2 a ".bin" file cannot be
// opened; a negative model result for a bitstream that cannot be read.
FUSEKIT_API int Firmware2SVFPlus(char* fileName, DeviceInfo* device, int unused, SVFPlusData* data,
                                 char* unused1, char* unused2, char* unused3);
// An NVCM image: a text of hex digit pairs in the layout of BIN2ISCSVFPlus, with the expected
// read-back "FuseArray_TDO" equal to "FuseArray_TDI". workDir holds the temporary file.
FUSEKIT_API int NVCM2SVFPlus(char* fileName, DeviceInfo* device, int unused, SVFPlusData* data,
                             char* unused1, char* unused2, char* workDir);
// Writes "FuseArray_TDI" as an Intel hex (MCS) file: the rows one after the other from
// startAddress, each row's bytes from its last index down to index 0, sixteen data bytes a
// record, an extended linear address record at the start and at every 64 KiB boundary, and
// the end-of-file record. 0; -2 the file cannot be opened for writing; -19 it could not be
// written whole; -1000 no "FuseArray_TDI"; -6 null argument.
FUSEKIT_API int SVFPlus2MCS(const char* fileName, DeviceInfo* device, SVFPlusData* data,
                            const char* unused1, const char* unused2, const char* unused3,
                            unsigned int startAddress);

// One record kind of an image file as GetImageSummary counts it.
struct ImageRecordCount {
  std::string kind;               // e.g. "data (00)", "extended linear address (04)", "S1 data"
  unsigned long count = 0;        // records of this kind
  unsigned long badChecksum = 0;  // of which failed their checksum
};

// What an image file holds, read as the converters read it (one pass, nothing stored).
struct ImageSummary {
  std::string format;  // "Intel hex", "Motorola S-record", "extended Tektronix", "raw hex text",
                       // "binary"
  std::vector<ImageRecordCount> records;
  bool hasData = false;
  unsigned long long lowestAddress = 0;   // of the data bytes
  unsigned long long highestAddress = 0;  // of the data bytes
  unsigned long long dataBytes = 0;
  std::vector<unsigned long> badLines;  // lines (from 1) of records that are malformed or fail
                                        // their checksum, at most the first 100
  unsigned long badRecords = 0;         // all of them
  unsigned long lines = 0;              // lines read up to where the converters stop
};

// Reads an image file into summary: the format by its first character (':' Intel, 'S' or 's'
// Motorola, '%' Tektronix; hex digits or blanks raw hex text; anything else binary). Result 0;
// -1 the file cannot be opened or names an address length other than 8 in a Tektronix record;
// -6 null summary.
FUSEKIT_API int GetImageSummary(const char* fileName, ImageSummary* summary);

// A run of bytes at consecutive addresses of an image.
struct ImageRun {
  unsigned long long address = 0;
  std::vector<unsigned char> bytes;
};

// The data of an image file as its records place it, each byte as the record holds it (not
// mirrored), later records over earlier ones, as runs of consecutive addresses in address
// order: Intel hex, S-records or extended Tektronix by the file's first character, any other
// file as its bytes from address 0. 0; -1 the file cannot be opened, a Tektronix address length
// other than 8, or records that are malformed or fail their checksum (runs then hold what could
// be placed); -3 out of memory; -6 null runs.
FUSEKIT_API int ReadImageRuns(const char* fileName, std::vector<ImageRun>* runs);

// Writes runs as a record file, the inverse of ReadImageRuns: format 'i' Intel hex (an extended
// linear address record before each 64 KiB segment), 'm' S-records (an S0 header, S1, S2 or S3
// data records by the highest address, the S5 count, the S9, S8 or S7 end), 't' extended
// Tektronix (type 6 data records, 8-digit addresses); recordBytes data bytes a record (1 to
// 255 for S-records, 1 to 255 for Intel hex and 1 to 120 for Tektronix; 0 for the default of
// 16, 32 and 32). Lines end in LF. 0; -6 null name or an unknown format or record length;
// -13 the file cannot be opened; -19 it could not be written whole.
FUSEKIT_API int WriteImageRuns(const char* fileName, char format, const std::vector<ImageRun>& runs,
                               int recordBytes);

#endif  // FUSEKIT_IMAGE_H
