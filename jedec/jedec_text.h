// The pieces of JEDEC text that the writers share: fuse fields, the usercode field, notes and the
// two checksums.
#ifndef FUSEKIT_JEDEC_JEDEC_TEXT_H
#define FUSEKIT_JEDEC_JEDEC_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace fusekit::jedec {

// The line end of the files the library writes.
constexpr char kEol[] = "\r\n";

// The JEDEC C value of a fuse list given one byte a fuse (0 or 1): the 16-bit sum of the bytes
// holding fuse n in bit n % 8.
unsigned FuseChecksum(const std::vector<std::uint8_t>& fuses);

// The transmission checksum of a text that runs from STX to ETX: the 16-bit sum of its bytes.
unsigned TransmissionChecksum(const std::string& stx_to_etx);

// "L<first, eight digits> <digits>*" and a line end, for the fuses from first up to end.
void AppendFuseField(std::string& text, const std::vector<std::uint8_t>& fuses, std::uint64_t first,
                     std::uint64_t end);

// The U field's text after its letter for bits given as '0'/'1': "H" and hex digits when the bits
// make whole digits (the form most tools write), else the binary digits as they are.
std::string UsercodeFieldText(const std::string& bits);

// A line as the text of a note: "*" would end the note and a byte that is not printable ASCII
// would end the field stream, so they become "+" and "?".
std::string AsNoteText(const std::string& line);

// The lines of a text without their line ends ("\n" or "\r\n"); empty lines are kept.
std::vector<std::string> LinesOf(const std::string& text);

// A header block (BuildJEDHeader's): its first line the design text, its further non-empty
// lines the notes.
struct HeaderFields {
  std::string design;
  std::vector<std::string> notes;
};
HeaderFields SplitHeaderBlock(const char* block, const std::string& default_design);

// Writes a JEDEC text that runs from STX to ETX to path, with the transmission checksum after
// ETX. The checksum (0 to 0xFFFF); -13 the file cannot be opened; -19 it could not be written.
int WriteJedecText(const char* path, const std::string& stx_to_etx);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_JEDEC_TEXT_H
