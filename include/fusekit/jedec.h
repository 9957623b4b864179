// JEDEC (JESD3) fuse maps: the reader, the header queries, the conversion to programming data,
// the compare and verify, the usercode read and edit, the writer and the chain files.
#ifndef FUSEKIT_JEDEC_H
#define FUSEKIT_JEDEC_H

#include <list>
#include <string>

#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"

// Reads a JEDEC file into a linear fuse buffer and word maps (16 fuses to a word, most
// significant bit first, each row padded to whole words) for one device.
//   fuseMap      main array, rows and width by the device's family (at most bufferBytes bytes)
//   usercodeMap  usercodeBits bits following the fuse data, a partial last word filled with 1s
//   sedMap       the soft-error-detection bits (SEDLength bits after the physical usercode)
//   checksumOut  the C value as two halves, high half first
//   archMap      the architecture (E field) bits, ARCHLength of them
//   fuseBuffer   linear buffer, fuse n at bit 0x80 >> n % 8 of byte n / 8; it must hold the
//                working size (bufferBytes + 100 + ceil(ARCHLength/8) + ceil(PhysicalUES/8);
//                11664 bytes for the 22V10 code names), over which it is cleared first
//   eMap         the E section of the fuse list; lastMap the Fendra2 Padring section
// Map pointers other than fuseBuffer may be null. Result 0; -1 the file cannot be opened; -2
// the QF does not fit the device; -3 out of memory; -4 no STX, no ETX, or neither an L nor an
// F field; -6 null device or fuse buffer; -14 fuse checksum mismatch (pinCountOut then holds the
// fuse count checked); -18 E field longer than the architecture length; 8195 syntax error.
FUSEKIT_API int fnJEDFileReader(char* path, unsigned short* fuseMap, unsigned short* usercodeMap,
                                unsigned short* sedMap, unsigned short* checksumOut,
                                unsigned short* archMap, DeviceInfo* device,
                                unsigned long bufferBytes, int usercodeBits, int* securityOut,
                                unsigned char* fuseBuffer, unsigned long* eLengthOut,
                                int* pinCountOut, unsigned short* eMap, unsigned short* lastMap);

// Header queries. The note queries scan the file line by line (lines upper-cased and trimmed)
// for a marker; a file that cannot be opened gives the result for an absent marker.

// Length of the text before the first fuse list, its "L" included; 0 when the file cannot be
// opened.
FUSEKIT_API int GetJEDECHeaderSize(const char* path);
// Fuse address (the decimal number after "L" on the line after the marker) of the END
// configuration data, the EBR initial data and the TAG data; 0 when absent. The name must end in
// ".jed" (its extension is lower-cased in place), else the result is 0.
FUSEKIT_API int GetJEDEC_ENDDATA_NOTE(char* path);
FUSEKIT_API int GetJEDEC_EBRDATA_NOTE(char* path);
FUSEKIT_API int GetJEDEC_TAGDATA_NOTE(char* path);
// 0, 1 or 2 for the user-flash image the file holds; -1 for none; 0 when it cannot be opened.
FUSEKIT_API int GetJEDEC_UFM(char* path);
// 1 when the file says it is encrypted / has Selvex enabled, else 0.
FUSEKIT_API int GetJEDEC_Encrypted(char* path);
FUSEKIT_API int GetJEDEC_Selvex(char* path);
// The hex value after "SELVEX" on a line after the "SELVEX ENABLED" line; 0 when absent.
FUSEKIT_API unsigned long GetJEDEC_USERCODE(char* path);
// The hex values after the first ":" of the frame-CRC note lines; 0 when absent.
FUSEKIT_API int GetJEDEC_FirstFrameCRC(char* path);
FUSEKIT_API int GetJEDEC_FramesCRC(char* path);
FUSEKIT_API int GetJEDEC_FirstChainFrameCRC(char* path);
FUSEKIT_API int GetJEDEC_ChainFramesCRC(char* path);
// 1 when a "CHAIN FRAME CRC" line is followed right away by a "CHAIN DATA CRC" line, else 0.
FUSEKIT_API int IsEncryptedJEDEC_CRCUpdated(const char* path);
// The C value of the field stream into *checksum (0 when there is none). Result 0, -1 when the
// file cannot be opened, -4 without STX.
FUSEKIT_API int Jedec_read_Checksum(const char* path, unsigned long* checksum);
// The G value; 0 without one, -1 when the file cannot be opened, -4 without STX.
FUSEKIT_API int Jedec_read_Secure(const char* path);
// Appends the header text (lines before STX, the design text, the note fields before the first
// fuse list), each line ended by a line feed and begun with "-- " when commentPrefix is true.
// out must be large enough; nothing is written when the file cannot be opened.
FUSEKIT_API void ParseJEDECHeader(char* out, const char* path, bool commentPrefix);

// Converts a JEDEC file into programming data for the device: the main array ("FuseArray_TDI",
// or "EFuseArray_TDI" for three Pelmo3D sizes), "PadringArray_TDI", "SEDArray_TDI",
// "Usercode_TDI", "ArchArray_TDI", "EFuseArray_TDI", "ID", the security flag, the end-data
// location and the header as the comment. jtag selects the JTAG forms of the usercode length,
// mask and identifier. Devices of vendor "Helvar" go through the legacy fuse-map library, whose
// work files are made in workDir (or installPath when workDir is empty, or the current folder)
// and removed; they get "FuseArray_TDI"/"_TDO"/"_MASK" and the usercode fields. jedecOption and
// packageName are accepted for the host's sake and not used. Result 0; -100 null data or device;
// -1 empty or unreadable file name or any reader failure; -3 out of memory; -1010 a row could not
// be filled. Fields added before a failure stay in data.
FUSEKIT_API int JEDEC2SVFPlus(char* fileName, DeviceInfo* device, int jtag, SVFPlusData* data,
                              const char* jedecOption, const char* workDir, const char* packageName,
                              const char* installPath);

// Compares readFile (a fuse map read back from a device) with referenceFile (the one meant to be
// programmed), field by field and fuse by fuse, and writes the report to reportFile: a header,
// readFile's fuse list with "+" (read 1, reference 0) and "-" (read 0, reference 1) marks, and
// the error count. Result: the number of differing fuses; -1 a file cannot be opened; -4 a file
// has no STX; -2 the comparison was abandoned (QF or first L address differ, an E field in one
// file only, no fuse list, no ETX, a syntax error); -19 the report could not be written whole.
FUSEKIT_API int fnJEDFileCompare(const char* readFile, const char* referenceFile,
                                 const char* reportFile);

// What fnJEDFileCompareByAddress found.
struct JEDECAddressCompare {
  unsigned long long differences;  // fuses that differ
  int listed;                      // how many of them are listed below: the first, at most 20
  unsigned long long address[20];  // their addresses, rising
  unsigned char readValue[20];  // each one's value in the read file; the reference's is the other
  int faultyFile;               // after a failure: 1 the read file, 2 the reference, 0 either
};

// Compares the fuses of two JEDEC files by fuse address, whatever their L layout, line breaks,
// notes and F default: each is read as fnJEDFileReader reads it for device, fuse n at bit
// 0x80 >> n % 8 of byte n / 8, and the device's fuses are compared one by one. Without a device
// (null), each file is read for a record of its own QF, any fuse it does not list taking its F
// default (1 without one). Result 0 and *result filled; -1 a file cannot be opened; -4 a file has
// no STX or ETX or no fuse data; 8195 a syntax error; -14 a file's C checksum does not hold; -2 a
// QF the device does not take, or without a device: a file without QF, a QF above eight fuses a
// byte of its file (at least 1048576), or two different QF; -3 out of memory; -6 a null file name
// or result. On failure result->faultyFile tells which file the status belongs to.
FUSEKIT_API int fnJEDFileCompareByAddress(const char* readFile, const char* referenceFile,
                                          DeviceInfo* device, JEDECAddressCompare* result);

// What a JEDEC file declares, read without a device record (so that any file can be looked at
// and checked against a record made from it).
struct JEDECSummary {
  int hasFuseCount;  // QF given
  unsigned long fuseCount;
  int hasPinCount;  // QP given
  long pinCount;
  int hasDefaultFuse;  // F given
  int defaultFuse;     // 0 or 1
  int hasSecurity;     // G given
  int security;
  int hasChecksum;  // C given
  unsigned long checksum;
  unsigned long eLength;       // bits of the E field
  unsigned long usercodeBits;  // bits of the U field
  char usercode[1025];         // the U field's bits as hex digits, a partial last digit padded
};

// Fills summary from the file's field stream; the fuse list is checked but not kept. Result 0,
// -1 the file cannot be opened, -4 no STX or ETX or no fuse data, 8195 syntax error, -6 null
// summary.
FUSEKIT_API int GetJEDECSummary(const char* path, JEDECSummary* summary);

// Checks a JEDEC file against a device by reading it with buffers sized from the record.
// Returns the reader's status: 0 the file fits the device, -1 empty path or unreadable file,
// -2 fuse count mismatch, -3 out of memory, -14 checksum mismatch, 8195 syntax error, ...
FUSEKIT_API int VerifyJEDECfile(char* path, DeviceInfo* device, int jtag);

// The usercode of a JEDEC file as hex digits (L/4 of them, L the JTAG logical usercode length
// when jtag is non-zero, else the ISP one). out holds at least 4 * ceil(L/16) + 1 characters.
// Result 0; -1 empty path or unreadable file; -3 out of memory; else the reader's status, with
// out untouched.
FUSEKIT_API int ReadUESInfo(char* path, DeviceInfo* device, int jtag, char* out);

// Writes programming data as a JEDEC file for the device, the inverse of JEDEC2SVFPlus
// (docs/jedec-writer.md): headerText (the block BuildJEDHeader makes; may be null) as the design
// line and notes, QP from the device's first package, QF, G, F0, one L field a row of the main
// array and the E section, C, the architecture row as E, the usercode (and SED bits) as U, ETX
// and the transmission checksum. Result: the transmission checksum (0 to 0xFFFF); -100 null
// data or device; -6 no file name; -1000 no main array field; -18 a field of another shape than
// the device gives it; -16 a device whose fuse order is rearranged (22V10) or whose files
// the legacy library writes ("Helvar"); -3 out of memory; -13 the file cannot be opened; -19 it
// could not be written whole.
FUSEKIT_API int SVFPlus2JEDEC(SVFPlusData* data, DeviceInfo* device, int jtag, const char* fileName,
                              const char* headerText);

// Writes read-back data as a JEDEC file: each "_TDI" field that has a "_TDO" field is replaced
// by it, every bit its "_MASK" field leaves out (0) taking the "_TDI" value, then as
// SVFPlus2JEDEC, with its results. fnJEDFileCompare of the file with the original counts the
// fuses that read back wrong.
FUSEKIT_API int TDO2JEDEC(SVFPlusData* data, DeviceInfo* device, int jtag, const char* fileName,
                          const char* headerText);

// The usercode a user types, as the hex digits WriteUESInfo takes: ceil(bits / 4) upper-case
// digits into hexOut. Hex with "0x" or a trailing "h", or digits that include A-F; binary with
// "0b" or a trailing "b"; decimal (digits 0-9 only); ASCII in quotes ('AB' or "AB"), eight bits a
// character; "_" may separate digit groups. 0; -6 null text or output, or bits 0; -7 the text is
// none of these; -9 the value does not fit in bits.
FUSEKIT_API int ues_edit_read_num(const char* text, unsigned int bits, char* hexOut);

// Add the note "NOTE SerialTag 0x<value>" (WriteJEDEC_UniqueID) or the notes "NOTE Selvex
// Enabled." and "NOTE Selvex 0x<8 digits>" (WriteJEDEC_Selvex) to the file's header, before its
// first field that is not a note, dropping earlier notes of the same kind. The file is copied to
// "<name>_tmp.jed" beside it and the complete copy renamed over it; the transmission checksum is
// recomputed unless the file gave "0000". 0; -1 the file cannot be read; -4 no STX or ETX; 8195
// an unterminated note; -13 the copy cannot be made; -19 it could not be written whole (the
// original is untouched).
FUSEKIT_API int WriteJEDEC_UniqueID(const char* path, unsigned char value);
FUSEKIT_API int WriteJEDEC_Selvex(const char* path, unsigned long value);

// The JEDEC files of the devices of one chain (Tavrel devices programmed together) as one file:
// a note "NOTE DEVICE <n> QF<fuses> [QP<pins>] [G<value>] [E<bits>] [U<bits>]" and notes
// "NOTE DEVICE <n> TEXT <line>" with each file's header lines, then the fuse lists one after the
// other, addresses continuing, with one C for them all. 0; -6 no input or no output name; the
// status of the first input that cannot be read (-1, -4, 8195; -2 without QF or with a QF beyond
// what the file's size can describe); -13 the output cannot be opened; -19 it could not be
// written whole.
FUSEKIT_API int MergeTavrelJedecFiles(std::list<std::string>& inputs, const char* output);
FUSEKIT_API int MergeTavrelJedecFiles(KvObjList* inputs, const char* output);

// Cuts a file made by MergeTavrelJedecFiles into the files of its devices, each with its header
// lines, QP, QF, G, fuses, C, E and U, and its transmission checksum: split of merge gives every
// file back fuse for fuse. outputs names the files, one a device; when it is empty the names
// "<input without .jed>_<n>.jed" are used and added to it. 0; -2 the file describes no device,
// its devices' fuses do not add up to its QF, or outputs names another count of files; else as
// MergeTavrelJedecFiles.
FUSEKIT_API int SplitTavrelJedecFiles(const char* input, std::list<std::string>& outputs);

// Builds the header block of a JEDEC file into out (which the caller sizes: the comment's length
// and 512 bytes): the design line (the comment's first line, or deviceName), the notes "NOTE
// CREATED BY: Corvane Semiconductor <creatorVersion>", "NOTE DEVICE NAME: <deviceName>" and
// "NOTE DATE: <date>", then each further comment line as a note (notes of an earlier write are
// replaced). A "*" is written as "+", a byte that is not printable ASCII as "?".
FUSEKIT_API void BuildJEDHeader(char* const out, const char* creatorVersion, const char* deviceName,
                                const char* comment);

// Writes a copy of the JEDEC file sourceFile to outFile with its usercode replaced: the U field
// becomes "UH" and the hex digits of usercode (blanks left out), or such a field is added before
// C (or ETX). The fuses and the C checksum are unchanged; the transmission checksum is
// recomputed unless the file gave "0000". oldUsercodeOut (may be null, 256 characters) receives
// the old U field's text after its letter. Result 0; -1 the source cannot be read; -4 no STX or
// ETX; -6 a null device, usercode or output name; -7 usercode holds a character that is not a
// hex digit; -13 the output cannot be opened; -19 it could not be written whole; 8195 an
// unterminated U field.
FUSEKIT_API int WriteUESInfo(const char* sourceFile, const char* outFile, DeviceInfo* device,
                             int jedecMode, const char* usercode, char* oldUsercodeOut);

#endif  // FUSEKIT_JEDEC_H
