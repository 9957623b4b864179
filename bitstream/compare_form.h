// Which form a bitstream file is in, from its first bytes.
#ifndef FUSEKIT_BITSTREAM_COMPARE_FORM_H
#define FUSEKIT_BITSTREAM_COMPARE_FORM_H

#include <cstdio>

namespace fusekit::bitstream {

// The binary form holds a NUL or a byte of 0x80 or more in its first 64 bytes (the header's
// FF 00, the lead-in block); the ASCII form is text. False when the file cannot be read.
bool LooksLikeBinaryBitstream(const char* path);
// The same of an open file, read from where it stands.
bool LooksLikeBinaryBitstream(std::FILE* file);

}  // namespace fusekit::bitstream

#endif  // FUSEKIT_BITSTREAM_COMPARE_FORM_H
