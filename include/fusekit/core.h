// Call frame: the log file name shared by the conversions, the output-format names and the
// library version.
#ifndef FUSEKIT_CORE_H
#define FUSEKIT_CORE_H

#include "fusekit/export.h"

// Keeps a copy of name as the log file for the next operation that builds a bitstream model.
// That operation consumes the name: it is cleared as soon as the model has been built, so the
// caller sets it again before each such call. A null name clears it.
FUSEKIT_API void SetLogFileName(const char* name);
// The name held, or "" when none is.
FUSEKIT_API const char* GetLogFileName();

// Names of the output formats, set up when the library is loaded: "Binary", "C-Code",
// "Intel Hex", "Text (Debug Only)". The library keeps two tables with the same contents; table
// is 0 or 1. Null outside the tables.
FUSEKIT_API const char* GetOutputFormatName(int table, int index);
constexpr int kOutputFormatCount = 4;

// The library's version, "MAJOR.MINOR.PATCH".
namespace fusekit {
FUSEKIT_API const char* LibraryVersion();
}  // namespace fusekit

#endif  // FUSEKIT_CORE_H
