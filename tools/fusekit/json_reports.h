// The --json forms of the commands that describe a file.
#ifndef FUSEKIT_TOOLS_JSON_REPORTS_H
#define FUSEKIT_TOOLS_JSON_REPORTS_H

#include <string>

#include "tools/fusekit/file_format.h"

namespace fusekit::cli {

// A number as upper-case hex digits, at least digits of them.
std::string Hex(unsigned long value, int digits);

// info --json: the file's summary by its format.
int InfoJson(const std::string& path, const std::string& label, FileFormat format);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_JSON_REPORTS_H
