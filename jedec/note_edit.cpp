// WriteJEDEC_UniqueID and WriteJEDEC_Selvex: notes added to a JEDEC file's header. The file is
// copied to "<name>_tmp.jed" beside it with the notes in place, and the copy, complete, is
// renamed over the original: no failure leaves the user without a valid file.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "core/status.h"
#include "fusekit/jedec.h"
#include "jedec/jedec_format.h"

namespace fusekit::jedec {
namespace {

bool StartsWithNoCase(const std::string& text, std::size_t at, const char* prefix) {
  for (std::size_t i = 0; prefix[i] != '\0'; ++i) {
    if (at + i >= text.size() ||
        std::toupper(static_cast<unsigned char>(text[at + i])) != prefix[i]) {
      return false;
    }
  }
  return true;
}

// The text with the notes of one kind (those beginning with kind, in upper case) dropped from
// its header and notes put right before the first field that is not a note.
int EditNotes(std::string& text, const char* kind, const std::vector<std::string>& notes) {
  const std::size_t stx = text.find(static_cast<char>(kStx));
  std::size_t etx = stx == std::string::npos ? stx : text.find(static_cast<char>(kEtx), stx);
  if (etx == std::string::npos) return kStatusNoFuseData;
  const std::string eol = text.find("\r\n") != std::string::npos ? "\r\n" : "\n";
  std::size_t at = text.find(static_cast<char>(kFieldEnd), stx);  // the design field's end
  if (at == std::string::npos || at > etx) return kStatusNoFuseData;
  ++at;
  for (;;) {
    std::size_t field = at;
    while (field < etx && std::isspace(static_cast<unsigned char>(text[field]))) ++field;
    if (field >= etx || std::toupper(static_cast<unsigned char>(text[field])) != 'N') break;
    const std::size_t end = text.find(static_cast<char>(kFieldEnd), field);
    if (end == std::string::npos || end > etx) return kStatusJedecSyntax;
    if (StartsWithNoCase(text, field, kind)) {
      std::size_t stop = end + 1;
      if (text.compare(stop, eol.size(), eol) == 0) stop += eol.size();
      text.erase(field, stop - field);  // an earlier note of the same kind
      etx -= stop - field;
      continue;
    }
    at = end + 1;
  }
  std::string added = eol;
  for (const std::string& note : notes) added += note + "*" + (&note == &notes.back() ? "" : eol);
  text.insert(at, added);
  return kStatusOk;
}

// The transmission checksum after ETX, recomputed unless the file gave none ("0000" or nothing).
void UpdateTransmissionChecksum(std::string& text) {
  const std::size_t stx = text.find(static_cast<char>(kStx));
  const std::size_t etx = text.find(static_cast<char>(kEtx), stx);
  const std::size_t stored = etx + 1;
  if (stored + 4 > text.size() || text.compare(stored, 4, "0000") == 0) return;
  unsigned sum = 0;
  for (std::size_t i = stx; i <= etx; ++i) sum += static_cast<unsigned char>(text[i]);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", sum & 0xFFFF);
  text.replace(stored, 4, digits);
}

// "<name>_tmp.jed" beside the file: its name without the extension.
std::string TemporaryName(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  const std::size_t slash = path.find_last_of('/');
  const bool extension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (extension ? path.substr(0, dot) : path) + "_tmp.jed";
}

int RewriteWithNotes(const char* path, const char* kind, const std::vector<std::string>& notes) {
  if (path == nullptr || path[0] == '\0') return kStatusOpenFailed;
  std::ifstream in(path, std::ios::binary);
  if (!in) return kStatusOpenFailed;
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  in.close();
  if (const int status = EditNotes(text, kind, notes); status != kStatusOk) return status;
  UpdateTransmissionChecksum(text);
  const std::string copy = TemporaryName(path);
  std::ofstream out(copy, std::ios::binary | std::ios::trunc);
  if (!out) return kStatusCannotOpenFile;
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.close();
  if (!out || std::rename(copy.c_str(), path) != 0) {
    std::remove(copy.c_str());
    return kStatusWriteFailed;
  }
  return kStatusOk;
}

template <class Edit>
int Guarded(Edit edit) {
  try {
    return edit();
  } catch (const std::bad_alloc&) {
    return kStatusNoMemory;
  }
}

}  // namespace
}  // namespace fusekit::jedec

int WriteJEDEC_UniqueID(const char* path, unsigned char value) {
  char note[40];
  std::snprintf(note, sizeof note, "NOTE SerialTag 0x%X", value);
  return fusekit::jedec::Guarded(
      [&] { return fusekit::jedec::RewriteWithNotes(path, "NOTE SERIALTAG", {note}); });
}

int WriteJEDEC_Selvex(const char* path, unsigned long value) {
  char note[40];
  std::snprintf(note, sizeof note, "NOTE Selvex 0x%.8lX", value & 0xFFFFFFFFUL);
  return fusekit::jedec::Guarded([&] {
    return fusekit::jedec::RewriteWithNotes(path, "NOTE SELVEX", {"NOTE Selvex Enabled.", note});
  });
}
