// Which form a bitstream file is in, from its first bytes.
#ifndef FUSEKIT_BITSTREAM_COMPARE_FORM_H
#define FUSEKIT_BITSTREAM_COMPARE_FORM_H

namespace fusekit::bitstream {

// The binary form holds a NUL or a byte of 0x80 or more in its first 64 bytes (the header's
// FF 00, the lead-in block); the ASCII form is text. False when the file cannot be read.
bool LooksLikeBinaryBitstream(const char* path);

}  // namespace fusekit::bitstream

#endif  // FUSEKIT_BITSTREAM_COMPARE_FORM_H
