// The JEDEC field stream: the scanners shared by the readers and the parse of a whole stream
// into a linear fuse buffer.
#ifndef FUSEKIT_JEDEC_FIELD_STREAM_H
#define FUSEKIT_JEDEC_FIELD_STREAM_H

#include <cstdint>
#include <limits>
#include <vector>

#include "core/file_io.h"

namespace fusekit::jedec {

// Characters that may stand inside the field stream: printable ASCII and white space. Anything
// else ends the stream: control characters, ETX, and bytes of 0x80 and above, which are not
// printable in the C locale (a note in UTF-8 ends the stream where its first such byte stands).
constexpr bool IsValidChar(int c) {
  return (c >= 0x20 && c < 0x7F) || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
// ASCII upper case (the letters of the format); every other value unchanged, EOF included.
constexpr int AsciiUpper(int c) {
  return (c >= 'a' && c <= 'z') ? c - ('a' - 'A') : c;
}
constexpr bool IsDecimalDigit(int c) {
  return c >= '0' && c <= '9';
}
constexpr bool IsHexDigit(int c) {
  return IsDecimalDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
constexpr int HexValue(int c) {
  return IsDecimalDigit(c) ? c - '0' : AsciiUpper(c) - 'A' + 10;
}

constexpr bool IsBlank(int c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// Reads up to and including STX; false at end of input first.
bool SkipToStx(core::TextReader& in);
// Reads up to and including the next "*"; false when the input ends or a character that is not
// valid comes first (it is left unread).
bool SkipField(core::TextReader& in);
// Skips blanks and returns the next character upper-cased (EOF at the end); it is taken.
int ReadLetter(core::TextReader& in);

// A window of the fuse map: bytes[0] holds fuses first to first + 7 (fuse n at bit 0x80 >> n % 8
// of its byte), and the fuses below end fit in it.
struct FuseWindow {
  std::uint8_t* bytes = nullptr;
  std::uint64_t first = 0;  // a multiple of 8
  std::uint64_t end = 0;
};

// Where the fuses of L fields go when the map is not held whole: windows of it, handed on in
// rising order as the list moves past them. A list that goes back to fuses already handed on
// cannot be read this way, and ends the stream with kListWentBack.
class FuseWindows {
 public:
  virtual ~FuseWindows() = default;
  // The first L field: the map has fuse_count fuses, and those no L field lists hold fill.
  virtual bool Start(std::uint64_t fuse_count, std::uint8_t fill, FuseWindow& window) = 0;
  // Moves the window on to the one that holds fuse n (n at or past window.end), the windows
  // between handed on; false when the windows' user has stopped.
  virtual bool MoveTo(std::uint64_t n, FuseWindow& window) = 0;
};

// The stream's L fields went back before the window (or QF came after one): it must be read
// into a whole map. Never a result of an exported function.
constexpr int kListWentBack = -9001;
// The windows' user stopped them before the stream ended.
constexpr int kWindowsStopped = -9002;

// What a device allows of a fuse list.
struct FuseListLimits {
  std::uint64_t device_fuses = 0;   // the fuse number of the device record
  bool accept_plus_64 = false;      // QF may be the fuse number plus 64 (22V10 code names)
  bool accept_any_count = false;    // any QF will do (Orlan D6, Grend MH)
  std::uint64_t arch_length = 0;    // an E field may not be longer
  std::uint64_t capacity_bits = 0;  // of the linear buffer the fuses are written into
  std::uint8_t clear_value = 0xFF;  // what the linear buffer is cleared to before any fuse
  // Instead of a linear buffer: the windows the fuses go to. QF must then come once, before any
  // L field.
  FuseWindows* windows = nullptr;
};

// The limits of a stream read without a device record: any QF, an E field of any length, and no
// buffer the fuses must fit.
inline FuseListLimits LimitsWithoutDevice() {
  FuseListLimits limits;
  limits.accept_any_count = true;
  limits.device_fuses = std::numeric_limits<std::uint32_t>::max();
  limits.capacity_bits = std::numeric_limits<std::uint64_t>::max();
  limits.arch_length = std::numeric_limits<std::uint32_t>::max();
  return limits;
}

// What a field stream declared; the fuses themselves go to the linear buffer.
struct FieldStream {
  std::uint64_t fuse_count = 0;  // QF, or the device's fuse number without one
  bool has_qf = false;
  long pin_count = 0;  // QP
  bool has_qp = false;
  int default_fuse = 0;  // F
  bool has_default_fuse = false;
  int security = 0;  // G
  bool has_security = false;
  std::uint32_t checksum = 0;  // C
  bool has_checksum = false;
  bool has_fuse_list = false;        // at least one L field
  std::vector<std::uint8_t> e_bits;  // E field, one 0/1 per fuse
  bool has_e = false;
  std::vector<std::uint8_t> u_bits;  // U field, one 0/1 per bit, first bit first
  bool has_u = false;
  // Leading bytes of the linear buffer given their first value so far. The buffer is cleared
  // lazily, just ahead of the fuses written, so that a file whose F field sets every fuse does
  // not cost two passes over it; ClearRest finishes the job.
  std::uint64_t cleared_bytes = 0;
};

// The value of the fuses the stream's L fields do not give: its F default, else clear_value.
constexpr std::uint8_t FillOf(const FieldStream& stream, std::uint8_t clear_value) {
  if (!stream.has_default_fuse) return clear_value;
  return stream.default_fuse == 0 ? std::uint8_t{0x00} : std::uint8_t{0xFF};
}

// Clears the linear buffer from out.cleared_bytes up to bytes with value.
void ClearUpTo(std::uint8_t* linear, FieldStream& out, std::uint64_t bytes, std::uint8_t value);

// Parses the stream after STX (the design field included) up to ETX. Fuses of L fields are
// written into linear (unless it is null: the list is then only checked), which is cleared to
// limits.clear_value ahead of them; the caller clears the rest with ClearUpTo (fuse n at bit 0x80
// >> n % 8 of byte n / 8); F fills the bytes of the fuse count before any L field. With
// limits.windows the fuses go to the windows instead, which the caller finishes after ETX (the
// stream's fill is then started only by its first L field). Result 0, -2 for
// a QF that the device does not accept, -4 for a stream that ends without ETX or has neither an L
// nor an F field, -18 for an E field longer than the architecture length, 8195 for a syntax error
// inside a field.
int ReadFieldStream(core::TextReader& in, const FuseListLimits& limits, std::uint8_t* linear,
                    FieldStream& out);

// The JEDEC C value of count fuses of a linear map: the 16-bit sum of its bytes with fuse n in
// bit n % 8 of byte n / 8, counting in the last byte only the fuses below count. The sums of two
// runs of whole bytes add up to the sum of both.
std::uint16_t FuseChecksum(const std::uint8_t* linear, std::uint64_t count);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_FIELD_STREAM_H
