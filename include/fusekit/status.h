// Status vocabulary shared by the exported functions: success is 0 (or a count or checksum where
// a function says so), failure is negative, except the JEDEC syntax status, which is positive.
// One value can be used by several functions; each function's own documentation names the
// conditions under which it returns which value.
#ifndef FUSEKIT_STATUS_H
#define FUSEKIT_STATUS_H

#include "fusekit/export.h"

namespace fusekit {

// Success.
constexpr int kStatusOk = 0;
// Empty input file name or the input cannot be opened (JEDEC reader and conversion, which also
// passes on any reader failure as this value); a null argument in several extractors.
constexpr int kStatusOpenFailed = -1;
// The input file cannot be opened (most readers); in the JEDEC reader, the fuse count does not
// match the device.
constexpr int kStatusReadFailed = -2;
// Out of memory for a working buffer, or a data field or row could not be created.
constexpr int kStatusNoMemory = -3;
// JEDEC file without STX or ETX, or without fuse data.
constexpr int kStatusNoFuseData = -4;
// A required pointer argument (device, data or file name) is null.
constexpr int kStatusNullArgument = -6;
// A file that must be opened for reading and writing cannot be (data CRC lookup of ISC files).
constexpr int kStatusCannotOpenFile = -13;
// JEDEC fuse checksum (C field) mismatch.
constexpr int kStatusChecksumMismatch = -14;
// Writing an output file failed (the disk is full, an input/output error): the file on disk is
// incomplete and must not be used.
constexpr int kStatusWriteFailed = -19;
// JEDEC E field longer than the device's architecture length; elsewhere a required data field is
// absent.
constexpr int kStatusFieldMissing = -18;
// The device database text is not valid (see DeviceDatabase::GetLastError).
constexpr int kStatusInvalidDatabase = -30;
// Null programming-data or device pointer.
constexpr int kStatusNullModel = -100;
// The programming data has no "FuseArray_TDI" field.
constexpr int kStatusNoFuseArray = -1000;
// A byte could not be appended to a row.
constexpr int kStatusRowWriteFailed = -1010;
// Syntax error inside a JEDEC field.
constexpr int kStatusJedecSyntax = 8195;

// Plain words for a status value, for messages; never null.
FUSEKIT_API const char* StatusText(int status);

}  // namespace fusekit

#endif  // FUSEKIT_STATUS_H
