// Candidate lines of a marker, collected while a parse reads the file.
#include "jedec/note_lines.h"

#include <cctype>
#include <cstring>
#include <string>

#include "jedec/note_scanner.h"

namespace fusekit::jedec {

CandidateLines::CandidateLines(char letter)
    : upper_(static_cast<std::uint8_t>(std::toupper(static_cast<unsigned char>(letter)))),
      lower_(static_cast<std::uint8_t>(std::tolower(static_cast<unsigned char>(letter)))) {}

void CandidateLines::Observe(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) {
  const std::uint8_t* const end = bytes + count;
  const std::uint8_t* p = bytes;  // the start of a line, or the chunk's start
  while (p != end) {
    const std::uint8_t* hit = FindEitherByte(p, end, upper_, lower_);
    if (hit == nullptr) break;
    // The start of the hit's line: after the last line end before it, else where p stands.
    const std::uint8_t* start = hit;
    while (start != p && !IsLineEnd(*(start - 1))) --start;
    const std::uint64_t line_start =
        start != bytes ? offset + static_cast<std::uint64_t>(start - bytes) : line_start_;
    if (starts_.empty() || starts_.back() != line_start) starts_.push_back(line_start);
    // Go on after the end of that line.
    const std::uint8_t* line_end = hit;
    while (line_end != end && !IsLineEnd(*line_end)) ++line_end;
    if (line_end == end) break;
    p = line_end + 1;
  }
  // Where the line that the next chunk begins in started.
  const std::uint8_t* last = end;
  while (last != bytes && !IsLineEnd(*(last - 1))) --last;
  if (last != bytes) line_start_ = offset + static_cast<std::uint64_t>(last - bytes);
}

bool HasJedName(const char* path) {
  const std::size_t length = path != nullptr ? std::strlen(path) : 0;
  if (length < 4) return false;
  const char* extension = path + length - 4;
  for (int i = 0; i < 4; ++i) {
    if (std::tolower(static_cast<unsigned char>(extension[i])) != ".jed"[i]) return false;
  }
  return true;
}

int EndDataAddress(const char* path, const std::vector<std::uint64_t>& candidate_starts) {
  core::UniqueFile file = core::OpenFile(path, "rb");
  if (!file) return 0;
  NoteScanner scanner(file.get());
  std::string line;
  for (const std::uint64_t start : candidate_starts) {
    scanner.Seek(start);
    if (scanner.FindInLine("NOTE END CONFIG DATA*", line)) return AddressOnNextLine(scanner);
  }
  return 0;
}

}  // namespace fusekit::jedec
