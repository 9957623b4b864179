// The pieces of JEDEC text that the writers share: fuse fields, the usercode field, notes and the
// two checksums.
#ifndef FUSEKIT_JEDEC_JEDEC_TEXT_H
#define FUSEKIT_JEDEC_JEDEC_TEXT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "fusekit/progdata.h"

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

// The JEDEC C value built up fuse by fuse: fuse n set adds bit n % 8 of byte n / 8 to the sum of
// bytes, that is 1 << n % 8.
class FuseChecksummer {
 public:
  void AddFuse(std::uint64_t n) { sum_ += 1u << (n % 8); }
  // Bytes of eight fuses each from a multiple of eight on (fuse n + j in bit j), summed.
  void AddBytes(std::uint32_t sum_of_bytes) { sum_ += sum_of_bytes; }
  unsigned Value() const { return sum_ & 0xFFFF; }

 private:
  std::uint32_t sum_ = 0;
};

// A JEDEC file written as it is made, from STX on, with the transmission checksum of everything
// put and, at the end, after ETX.
class JedecTextWriter {
 public:
  JedecTextWriter();
  ~JedecTextWriter();
  JedecTextWriter(const JedecTextWriter&) = delete;
  JedecTextWriter& operator=(const JedecTextWriter&) = delete;

  bool Open(const char* path);
  void Put(const std::string& text);
  // The L field of columns from up to to of a row of width fuses laid out by the row layout
  // (column c is bit pad + width - 1 - c; a null row gives zeros), whose column 0 is fuse
  // start; the fuses set are added to checksum. A mirrored row is listed from its last column
  // to its first (the file's column c is the row's column width - 1 - c).
  void PutFuses(const KvByteBuffer* row, std::uint64_t width, std::uint64_t start,
                std::uint64_t from, std::uint64_t to, bool mirrored, FuseChecksummer& checksum);
  // Writes the transmission checksum and closes the file: the checksum (0 to 0xFFFF), or -19
  // when any write failed.
  int Finish();

 private:
  void Flush();
  // Room for count characters at the end of the buffer, written out first when it is short.
  char* Room(std::size_t count);

  std::FILE* file_ = nullptr;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  std::uint32_t sum_ = 0;
};

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
