// Field extractors: single values of programming data as hex text, and the fuse array as digits.
#ifndef FUSEKIT_FIELDS_H
#define FUSEKIT_FIELDS_H

#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"

// The first row of a field as hex digits, two a byte, byte 0 first, into out (at least twice the
// row's bytes plus one characters). 1 on success; -1 for null data, a missing field or no row.
FUSEKIT_API int SVFPlus2ID(SVFPlusData* data, char* out);         // "ID"
FUSEKIT_API int SVFPlus2CONFIGBit(SVFPlusData* data, char* out);  // "CONFIG_BIT"
FUSEKIT_API int SVFPlus2DONEBit(SVFPlusData* data, char* out);    // "DONE_BIT"
FUSEKIT_API int SVFPlus2STATUSBit(SVFPlusData* data, char* out);  // "STATUS_BIT"
// which 0: "Control_Register_0_TDI"; 3: "UserMode_Register_TDI"; else "Control_Register_1_TDI".
FUSEKIT_API int SVFPlus2CONTROL(SVFPlusData* data, char* out, int which);

// The usercode of "Usercode_TDI" as "0x" and hex digits, by the device's usercode lengths and
// mask (JTAG forms when jtag is non-zero). 1 on success; -1 for null data or no usercode row.
FUSEKIT_API int SVFPlus2USERCODE(DeviceInfo* device, int jtag, SVFPlusData* data, char* out);
// The same, shortened for display: eight digits for "ispSarn", sixteen for the "22V10" code name.
FUSEKIT_API int SVFPlus2DISPLAYUSERCODE(DeviceInfo* device, int jtag, SVFPlusData* data, char* out);

// Writes "FuseArray_TDI" to path as "0"/"1" characters, column 0 first, a line feed after every
// DataLength characters, FuseNumber characters a row. 0 (also without the field: the file is then
// empty); -100 null data or device; -13 the file cannot be created; -19 it could not be written
// whole.
FUSEKIT_API int SVFPlus2XXX(const char* path, DeviceInfo* device, SVFPlusData* data);

// Feature-row files (docs/feature-row.md): note lines ("--"), then "FEATURE_ROW" and its bits,
// and optionally "FEATURE_BITS" and its bits, the first bit the most significant.
//
// Reads the file into "FeatureRow_TDI" and "FeatureBits_TDI" (replacing fields of those names)
// and its notes into the container's comment. device may be null. 0; -2 the file cannot be
// opened; -3 null data; -12 the notes name another device than device; -13 a syntax error;
// -1010 a row cannot be stored.
FUSEKIT_API int FEA2SVFPlus(char* fileName, DeviceInfo* device, SVFPlusData* data);
// Writes the comment's note lines (or "-- DEVICE NAME:" of device when there are none), the
// feature row and the feature bits. 0; -3 null data; -18 no "FeatureRow_TDI"; -13 the file
// cannot be opened; -19 a write failed.
FUSEKIT_API int SVFPlus2FEA(SVFPlusData* data, DeviceInfo* device, const char* fileName);
// The notes of a feature-row file into out, one a line, with their "--" when commentPrefix is
// non-zero; cut to outSize - 1 characters. The number of note lines; -2 the file cannot be
// opened; -6 null out or outSize below 1.
FUSEKIT_API int ParseFEAHeader(char* out, const char* fileName, int commentPrefix, int outSize);

// Applies a device settings file ([Device] Name, [Usercode] Value, [Security] Enabled,
// [Feature] Row and Bits) to data, all or nothing. Every unknown section or key, malformed line,
// repeated key and unfit value is a line "line N: ..." of messagesOut (may be null; cut to
// messagesSize - 1 characters). The number of settings applied; -2 the file cannot be opened;
// -3 null device or data; -13 problems were found and nothing was applied; -1010 a row cannot be
// stored.
FUSEKIT_API int Ini2SVFPlus(char* fileName, DeviceInfo* device, SVFPlusData* data,
                            char* messagesOut, int messagesSize);

#endif  // FUSEKIT_FIELDS_H
