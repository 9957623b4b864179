// The records of Intel hex, Motorola S-record and extended Tektronix files, parsed line by line
// the same way for the converters and the summary.
#ifndef FUSEKIT_IMAGE_RECORDS_H
#define FUSEKIT_IMAGE_RECORDS_H

#include <cstdint>
#include <string_view>

namespace fusekit::image {

enum class RecordFormat { kIntel, kMotorola, kTektronix };

// The character every record of the format begins with (Motorola also takes 's').
bool IsRecordMark(RecordFormat format, char c);

enum class RecordKind {
  kData,              // data bytes at an address
  kSegmentAddress,    // Intel type 02
  kLinearAddress,     // Intel type 04
  kIgnored,           // a record the converters pass over unchecked
  kChecked,           // a Tektronix record that has only its checksum checked
  kMalformed,         // the fixed fields are not hex digits, or the line is too short for them
  kBadAddressLength,  // a Tektronix address length other than 8
};

struct Record {
  RecordKind kind = RecordKind::kMalformed;
  int type = 0;               // Intel record type, Motorola digit, Tektronix type
  std::uint64_t address = 0;  // the record's own address field (Intel: 16 bits, before the base)
  std::uint32_t value = 0;    // Intel extended address records: their 16-bit value
  int count = 0;              // the count (Intel, Motorola) or record length (Tektronix) field
  int checksum = 0;           // Tektronix: the checksum field
  long data_bytes = 0;        // data records: bytes declared by the count (may be negative)
  std::string_view rest;      // the text after the fixed fields, up to the first blank
};

// Parses the fixed fields of a line that begins with the format's record mark. The data and
// checksum are left in rest for CheckRecord.
Record ParseRecord(RecordFormat format, std::string_view line);

// Checks a record's checksum and, for a data record, decodes its data_bytes bytes into data
// (room for at least 255 bytes). False when the checksum does not match or rest does not hold
// the digits the record needs (then data is not to be used).
bool CheckRecord(RecordFormat format, const Record& record, std::uint8_t* data);

// The value of a hex digit, or -1.
int HexValue(char c);

}  // namespace fusekit::image

#endif  // FUSEKIT_IMAGE_RECORDS_H
