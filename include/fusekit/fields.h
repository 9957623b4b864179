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

#endif  // FUSEKIT_FIELDS_H
