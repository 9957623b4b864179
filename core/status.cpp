// Plain words for each status value.
#include "core/status.h"

namespace fusekit {

const char* StatusText(int status) {
  switch (status) {
    case kStatusOk:
      return "success";
    case kStatusOpenFailed:
      return "the input file name is empty or the file cannot be opened";
    case kStatusReadFailed:
      return "the input file cannot be opened, or its fuse count does not match the device";
    case kStatusNoMemory:
      return "out of memory, or a data field or row could not be created";
    case kStatusNoFuseData:
      return "no STX or ETX, or no fuse data";
    case kStatusNullArgument:
      return "a required argument is missing";
    case kStatusCannotOpenFile:
      return "the file cannot be opened";
    case kStatusChecksumMismatch:
      return "the fuse checksum does not match";
    case kStatusWriteFailed:
      return "writing the output failed (disk full or an input/output error): it is incomplete";
    case kStatusFieldMissing:
      return "a required data field is absent, or the architecture field is too long";
    case kStatusInvalidDatabase:
      return "the device database is not valid";
    case kStatusNullModel:
      return "no programming data or no device given";
    case kStatusNoFuseArray:
      return "the programming data has no fuse array";
    case kStatusRowWriteFailed:
      return "out of memory while filling a data row";
    case kStatusJedecSyntax:
      return "syntax error in a JEDEC field";
    default:
      return status < 0 ? "failure" : "success with a value";
  }
}

}  // namespace fusekit
