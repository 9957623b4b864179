// The human-readable header of a JEDEC file: the lines before STX, the design text and the
// note fields up to the first fuse list.
#ifndef FUSEKIT_JEDEC_HEADER_TEXT_H
#define FUSEKIT_JEDEC_HEADER_TEXT_H

#include <string>

#include "core/file_io.h"

namespace fusekit::jedec {

// Appends the header of the text to out, each line ended by a line feed and, with
// comment_prefix, begun with "-- ". Lines that hold nothing are left out.
void CollectHeaderText(core::TextReader& in, bool comment_prefix, std::string& out);

// The same from a file; false when it cannot be opened.
bool CollectHeaderText(const char* path, bool comment_prefix, std::string& out);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_HEADER_TEXT_H
