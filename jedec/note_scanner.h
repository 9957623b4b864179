// The line scan of the note queries: lines of at most 2999 characters, upper-cased and
// trimmed, searched for a marker.
#ifndef FUSEKIT_JEDEC_NOTE_SCANNER_H
#define FUSEKIT_JEDEC_NOTE_SCANNER_H

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/file_io.h"
#include "fusekit/util.h"
#include "jedec/field_stream.h"
#include "jedec/jedec_format.h"

namespace fusekit::jedec {

inline bool IsLineEnd(std::uint8_t c) {
  return c == '\n' || c == '\r';
}

// The first of a or b in [p, end), or null.
inline const std::uint8_t* FindEitherByte(const std::uint8_t* p, const std::uint8_t* end,
                                          std::uint8_t a, std::uint8_t b) {
  const auto* hit =
      static_cast<const std::uint8_t*>(std::memchr(p, a, static_cast<std::size_t>(end - p)));
  const std::uint8_t* limit = hit != nullptr ? hit : end;
  const auto* other =
      static_cast<const std::uint8_t*>(std::memchr(p, b, static_cast<std::size_t>(limit - p)));
  return other != nullptr ? other : hit;
}

// Lines of the note scan: at most kLineScanBytes - 1 characters, upper-cased and trimmed.
class NoteScanner {
 public:
  explicit NoteScanner(std::FILE* file) : reader_(file) {}

  void Seek(std::uint64_t position) { reader_.Seek(position); }

  // Reads the line from the current position, piece by piece, for marker; false at its end.
  bool FindInLine(const char* marker, std::string& line) {
    char buffer[kLineScanBytes];
    for (std::size_t length; (length = reader_.ReadLine(buffer, sizeof buffer)) > 0;) {
      KvCString text(buffer);
      text.MakeUpper();
      text.Trim();
      line.assign(text.GetString());
      if (line.find(marker) != std::string::npos) return true;
      if (buffer[length - 1] == '\n') return false;
    }
    return false;
  }

  bool Next(std::string& line) {
    char buffer[kLineScanBytes];
    if (reader_.ReadLine(buffer, sizeof buffer) == 0) return false;
    KvCString text(buffer);
    text.MakeUpper();
    text.Trim();
    line.assign(text.GetString());
    return true;
  }

  // The first line holding marker (and not avoid, when given); false at the end of the file.
  // Lines without the marker's first letter in either case (the fuse lists) are passed over
  // unread: the window is searched for that letter, and everything up to the last line end
  // before it is skipped whole. Lines are then read as always, so the result is the same.
  bool Find(const char* marker, std::string& line, const char* avoid = nullptr) {
    const int first = static_cast<unsigned char>(marker[0]);
    const auto upper = static_cast<std::uint8_t>(AsciiUpper(first));
    const auto lower = static_cast<std::uint8_t>(std::tolower(first));
    for (;;) {
      const std::uint8_t* p = reader_.WindowBegin();
      const std::uint8_t* const end = reader_.WindowEnd();
      if (p == end) return false;
      const std::uint8_t* candidate = FindEitherByte(p, end, upper, lower);
      const std::uint8_t* line_end = LastLineEnd(p, candidate != nullptr ? candidate : end);
      if (line_end != nullptr) {
        reader_.Consume(line_end + 1);
        if (candidate == nullptr) continue;
      }
      if (!Next(line)) return false;
      if (line.find(marker) != std::string::npos &&
          (avoid == nullptr || line.find(avoid) == std::string::npos))
        return true;
    }
  }

 private:
  static const std::uint8_t* LastLineEnd(const std::uint8_t* p, const std::uint8_t* limit) {
    while (limit != p) {
      --limit;
      if (IsLineEnd(*limit)) return limit;
    }
    return nullptr;
  }

  core::TextReader reader_;
};

// Leading hex digits of text after blanks and an optional "0x", as "%X" reads them.
inline std::uint64_t ScanHex(const char* text) {
  while (*text == ' ' || *text == '\t') ++text;
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
      std::isxdigit(static_cast<unsigned char>(text[2])))
    text += 2;
  std::uint64_t value = 0;
  for (; std::isxdigit(static_cast<unsigned char>(*text)); ++text) {
    value = (value << 4) | util_HexAnsi2Hex(*text);
  }
  return value;
}

// Leading decimal digits of text after blanks, as "%d" reads them (0 when there are none).
inline long ScanDecimal(const char* text) {
  while (*text == ' ' || *text == '\t') ++text;
  bool negative = false;
  if (*text == '-' || *text == '+') negative = *text++ == '-';
  long value = 0;
  for (; std::isdigit(static_cast<unsigned char>(*text)) && value < 0x7FFFFFFF; ++text) {
    value = value * 10 + (*text - '0');
  }
  return negative ? -value : value;
}

// The fuse address of a data-section note: the decimal number right of the first "L" of the
// line after the marker line; 0 without one.
inline int AddressOnNextLine(NoteScanner& scanner) {
  std::string line;
  if (!scanner.Next(line)) return 0;
  const std::size_t l = line.find('L');
  return l == std::string::npos ? 0 : static_cast<int>(ScanDecimal(line.c_str() + l + 1));
}

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_NOTE_SCANNER_H
