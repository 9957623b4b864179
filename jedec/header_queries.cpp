// Queries of a JEDEC file's header: note markers found by a line scan, the C and G values found
// by a walk of the field stream, the header size and the header text.
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/jedec.h"
#include "fusekit/util.h"
#include "jedec/field_stream.h"
#include "jedec/header_text.h"
#include "jedec/jedec_format.h"
#include "jedec/note_lines.h"
#include "jedec/note_scanner.h"

namespace fusekit::jedec {
namespace {

bool Contains(const std::string& line, const char* marker) {
  return line.find(marker) != std::string::npos;
}

// The file names the note queries take must end in ".jed", compared without regard to case;
// the extension is lower-cased in the caller's text, as the host expects.
bool HasJedExtension(char* path) {
  if (path == nullptr) return false;
  const std::size_t length = std::strlen(path);
  if (length < 4) return false;
  char* extension = path + length - 4;
  for (char* p = extension; *p != '\0'; ++p)
    *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
  return std::strcmp(extension, ".jed") == 0;
}

// The fuse address of a data-section note: the decimal number right of the first "L" of the
// line after the marker line.
int DataNoteAddress(char* path, const char* marker) {
  const std::string name(path != nullptr ? path : "");  // the file as named before the change
  if (!HasJedExtension(path)) return 0;
  core::UniqueFile file = core::OpenFile(name.c_str(), "rb");
  if (!file) return 0;
  NoteScanner scanner(file.get());
  std::string line;
  if (!scanner.Find(marker, line)) return 0;
  return AddressOnNextLine(scanner);
}

// The value after the first ":" of the first line that holds marker and not avoid.
int CrcNote(const char* path, const char* marker, const char* avoid) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return 0;
  NoteScanner scanner(file.get());
  std::string line;
  if (!scanner.Find(marker, line, avoid)) return 0;
  const std::size_t colon = line.find(':');
  return colon == std::string::npos ? 0 : static_cast<int>(ScanHex(line.c_str() + colon + 1));
}

int MarkerPresent(const char* path, const char* marker) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return 0;
  NoteScanner scanner(file.get());
  std::string line;
  return scanner.Find(marker, line) ? 1 : 0;
}

// The field walk of the C and G queries. It follows the stream loosely on purpose: only the
// letters D, N, P, R, S, T, V and X skip their fields; every other character, the contents of
// L, Q, F, E and U fields included, is passed over one at a time as if it were a letter, so a
// C or G inside a U field's text is taken as that field. The walk ends at the own letter, at
// ETX or at any character that is not valid.
constexpr const char kSkippedLetters[] = "DNPRSTVX";

enum class WalkEnd { kFound, kNotFound, kNoStx, kCannotOpen };

// The characters the walk takes one at a time and goes on from: valid, and neither its own
// letter nor a skipped one, in either case. A fuse list is nothing else, so the walk passes over
// runs of them in bulk.
std::array<bool, 256> InertCharacters(int own_letter) {
  std::array<bool, 256> inert{};
  for (int c = 1; c < 256; ++c) {
    const int upper = AsciiUpper(c);
    inert[static_cast<std::size_t>(c)] =
        IsValidChar(c) && upper != own_letter && std::strchr(kSkippedLetters, upper) == nullptr;
  }
  return inert;
}

#if defined(__SSE2__)
// True when the sixteen bytes are all digits, blanks, line ends or "*": what a fuse list holds
// between its "L" letters, and inert whatever the walk's own letter.
bool SixteenFuseListCharacters(const std::uint8_t* p) {
  const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i from_zero = _mm_sub_epi8(c, _mm_set1_epi8('0'));
  const __m128i digit = _mm_cmpeq_epi8(_mm_min_epu8(from_zero, _mm_set1_epi8(9)), from_zero);
  const __m128i other = _mm_or_si128(
      _mm_or_si128(_mm_cmpeq_epi8(c, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(c, _mm_set1_epi8('\n'))),
      _mm_or_si128(_mm_cmpeq_epi8(c, _mm_set1_epi8('\r')), _mm_cmpeq_epi8(c, _mm_set1_epi8('*'))));
  return _mm_movemask_epi8(_mm_or_si128(digit, other)) == 0xFFFF;
}
#endif

void PassInert(core::TextReader& in, const std::array<bool, 256>& inert) {
  for (;;) {
    const std::uint8_t* p = in.WindowBegin();
    const std::uint8_t* end = in.WindowEnd();
    if (p == end) return;
    for (;;) {
#if defined(__SSE2__)
      while (end - p >= 16 && SixteenFuseListCharacters(p)) p += 16;
#endif
      const std::uint8_t* const stop = end - p > 16 ? p + 16 : end;
      while (p != stop && inert[*p]) ++p;
      if (p != stop || p == end) break;
    }
    in.Consume(p);
    if (p != end) return;
  }
}

template <class ReadValue>
WalkEnd WalkFields(const char* path, int own_letter, ReadValue read_value) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return WalkEnd::kCannotOpen;
  core::TextReader in(file.get());
  for (;;) {  // a byte 0xFF before STX reads as the end of the file
    const int c = in.Get();
    if (c == EOF || c == 0xFF) return WalkEnd::kNoStx;
    if (c == kStx) break;
  }
  if (!SkipField(in)) return WalkEnd::kNotFound;
  const std::array<bool, 256> inert = InertCharacters(own_letter);
  for (;;) {
    PassInert(in, inert);
    const int letter = ReadLetter(in);
    if (letter == EOF || !IsValidChar(letter)) return WalkEnd::kNotFound;
    if (letter == own_letter) {
      read_value(in);
      return WalkEnd::kFound;
    }
    if (std::strchr(kSkippedLetters, letter) != nullptr && !SkipField(in)) {
      return WalkEnd::kNotFound;
    }
  }
}

// Reads characters while accept(c) holds into a short text.
template <class Accept>
std::string ReadWhile(core::TextReader& in, Accept accept) {
  while (IsBlank(in.Peek())) in.Get();
  std::string text;
  while (text.size() < 32 && in.Peek() != EOF && accept(in.Peek()))
    text += static_cast<char>(in.Get());
  return text;
}

}  // namespace
}  // namespace fusekit::jedec

using fusekit::jedec::CrcNote;
using fusekit::jedec::DataNoteAddress;
using fusekit::jedec::MarkerPresent;

int GetJEDEC_ENDDATA_NOTE(char* path) {
  return DataNoteAddress(path, "NOTE END CONFIG DATA*");
}
int GetJEDEC_EBRDATA_NOTE(char* path) {
  return DataNoteAddress(path, "NOTE EBR_INIT DATA*");
}
int GetJEDEC_TAGDATA_NOTE(char* path) {
  return DataNoteAddress(path, "NOTE TAG DATA*");
}

int GetJEDEC_UFM(char* path) {
  // A file that cannot be opened gives 0, the same as UFM0; hosts rely on it.
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(path, "rb");
  if (!file) return 0;
  static const char* const kMarkers[] = {"NOTE USER MEMORY DATA UFM0", "NOTE USER MEMORY DATA UFM1",
                                         "NOTE USER MEMORY DATA UFM2"};
  fusekit::jedec::NoteScanner scanner(file.get());
  std::string line;
  while (scanner.Next(line)) {
    for (int i = 0; i < 3; ++i) {
      if (fusekit::jedec::Contains(line, kMarkers[i])) return i;
    }
  }
  return -1;
}

int GetJEDEC_Encrypted(char* path) {
  return MarkerPresent(path, "ENCRYPTED JEDEC");
}
int GetJEDEC_Selvex(char* path) {
  return MarkerPresent(path, "SELVEX ENABLED");
}

unsigned long GetJEDEC_USERCODE(char* path) {
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(path, "rb");
  if (!file) return 0;
  fusekit::jedec::NoteScanner scanner(file.get());
  std::string line;
  if (!scanner.Find("SELVEX ENABLED", line) || !scanner.Find("SELVEX", line)) return 0;
  KvCString rest(line.c_str() + line.find("SELVEX") + 6);
  rest.Trim();
  return static_cast<unsigned long>(fusekit::jedec::ScanHex(rest.GetString()) & 0xFFFFFFFFu);
}

int GetJEDEC_FirstFrameCRC(char* path) {
  return CrcNote(path, "FRAME CRC", "CHAIN");
}
int GetJEDEC_FramesCRC(char* path) {
  return CrcNote(path, "DATA CRC", "CHAIN");
}
int GetJEDEC_FirstChainFrameCRC(char* path) {
  return CrcNote(path, "CHAIN FRAME CRC", nullptr);
}
int GetJEDEC_ChainFramesCRC(char* path) {
  return CrcNote(path, "CHAIN DATA CRC", nullptr);
}

int IsEncryptedJEDEC_CRCUpdated(const char* path) {
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(path, "rb");
  if (!file) return 0;
  fusekit::jedec::NoteScanner scanner(file.get());
  std::string line;
  while (scanner.Find("CHAIN FRAME CRC", line)) {
    if (!scanner.Next(line)) return 0;
    if (fusekit::jedec::Contains(line, "CHAIN DATA CRC")) return 1;
  }
  return 0;
}

int Jedec_read_Checksum(const char* path, unsigned long* checksum) {
  if (checksum != nullptr) *checksum = 0;
  using fusekit::jedec::WalkEnd;
  const WalkEnd end = fusekit::jedec::WalkFields(path, 'C', [&](fusekit::core::TextReader& in) {
    const std::string digits =
        fusekit::jedec::ReadWhile(in, [](int c) { return std::isxdigit(c) != 0; });
    if (checksum != nullptr)
      *checksum = static_cast<unsigned long>(fusekit::jedec::ScanHex(digits.c_str()));
    fusekit::jedec::SkipField(in);
  });
  if (end == WalkEnd::kCannotOpen) return fusekit::kStatusOpenFailed;
  if (end == WalkEnd::kNoStx) return fusekit::kStatusNoFuseData;
  return fusekit::kStatusOk;
}

int Jedec_read_Secure(const char* path) {
  int value = 0;
  using fusekit::jedec::WalkEnd;
  const WalkEnd end = fusekit::jedec::WalkFields(path, 'G', [&](fusekit::core::TextReader& in) {
    const std::string digits = fusekit::jedec::ReadWhile(
        in, [](int c) { return std::isdigit(c) != 0 || c == '-' || c == '+'; });
    value = static_cast<int>(fusekit::jedec::ScanDecimal(digits.c_str()));
  });
  if (end == WalkEnd::kCannotOpen) return fusekit::kStatusOpenFailed;
  if (end == WalkEnd::kNoStx) return fusekit::kStatusNoFuseData;
  return value;
}

int GetJEDECHeaderSize(const char* path) {
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(path, "rb");
  if (!file) return 0;
  fusekit::core::TextReader in(file.get());
  // Each field up to and with its "*", the blanks after it and the next field's letter; the
  // count stops after a letter "L" (the fuse list starts) or at the end of the file.
  int count = 0;
  for (;;) {
    int c;
    while ((c = in.Get()) != EOF) {
      ++count;
      if (c == fusekit::jedec::kFieldEnd) break;
    }
    if (c == EOF) return count;
    while (fusekit::jedec::IsBlank(in.Peek())) {
      in.Get();
      ++count;
    }
    c = in.Get();
    if (c == EOF) return count;
    ++count;
    if (fusekit::jedec::AsciiUpper(c) == fusekit::jedec::kFuseList) return count;
  }
}

void ParseJEDECHeader(char* out, const char* path, bool commentPrefix) {
  if (out == nullptr) return;
  std::string text;
  try {
    if (!fusekit::jedec::CollectHeaderText(path, commentPrefix, text)) return;
  } catch (const std::bad_alloc&) {
    return;
  }
  std::strcat(out, text.c_str());  // the caller's buffer is sized for the header
}
