// Lines of the three record formats of memory images, built from bytes: Intel hex, Motorola
// S-records and extended Tektronix. The writers of images share them.
#ifndef FUSEKIT_CORE_RECORD_TEXT_H
#define FUSEKIT_CORE_RECORD_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace fusekit::core {

// ":LLAAAATT<data>CC": an Intel hex record of type with its 16-bit address field.
std::string IntelRecord(unsigned type, std::uint16_t address, const std::uint8_t* bytes,
                        std::size_t count);

// "S<type><count><address><data><checksum>": an S-record whose address has 2 (S0, S1, S5, S9),
// 3 (S2, S8) or 4 (S3, S7) bytes.
std::string MotorolaRecord(unsigned type, std::uint32_t address, const std::uint8_t* bytes,
                           std::size_t count);

// "%<length><type><checksum>8<address><data>": an extended Tektronix record with an 8-digit
// address; the checksum is the sum of the values of every hex digit after '%' but its own.
std::string TektronixRecord(unsigned type, std::uint32_t address, const std::uint8_t* bytes,
                            std::size_t count);

// Writes Intel hex data records as bytes come, count bytes a record and never across a 64 KiB
// boundary, an extended linear address record (type 04) before the first record of each 64 KiB
// segment, each line ended by eol.
class IntelHexLines {
 public:
  IntelHexLines(std::size_t record_bytes, const char* eol)
      : record_bytes_(record_bytes), eol_(eol) {}
  // Bytes from address on; a gap before address starts a new record.
  void Put(std::uint32_t address, const std::uint8_t* bytes, std::size_t count, std::string& out);
  // The pending record, then the end-of-file record.
  void Finish(std::string& out);

 private:
  void Flush(std::string& out);

  std::size_t record_bytes_;
  const char* eol_;
  std::uint32_t address_ = 0;  // of the first pending byte
  std::uint8_t pending_[255] = {};
  std::size_t count_ = 0;
  std::uint32_t segment_ = 0;
  bool segment_written_ = false;
};

}  // namespace fusekit::core

#endif  // FUSEKIT_CORE_RECORD_TEXT_H
