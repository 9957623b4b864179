// WriteUESInfo: a copy of a JEDEC file with its usercode (U field) replaced.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <string>

#include "core/status.h"
#include "fusekit/jedec.h"
#include "fusekit/util.h"
#include "jedec/jedec_format.h"

namespace fusekit::jedec {
namespace {

constexpr int kBadUsercodeText = -7;

// The hex digits of text with blanks left out; empty with ok false when another character is in.
std::string HexDigitsOf(const char* text, bool& ok) {
  std::string digits;
  ok = true;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') continue;
    if (!std::isxdigit(static_cast<unsigned char>(*p))) ok = false;
    digits += static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
  }
  return digits;
}

// Position of the letter of the first field named letter after STX, or npos. Fields are found at
// the starts of fields only: after STX's design field and after every "*".
std::size_t FindField(const std::string& text, std::size_t stx, std::size_t etx, char letter) {
  std::size_t p = text.find(static_cast<char>(kFieldEnd), stx);
  while (p != std::string::npos && p < etx) {
    std::size_t q = p + 1;
    while (q < etx && std::isspace(static_cast<unsigned char>(text[q]))) ++q;
    if (q < etx && std::toupper(static_cast<unsigned char>(text[q])) == letter) return q;
    p = text.find(static_cast<char>(kFieldEnd), q);
  }
  return std::string::npos;
}

int Rewrite(const char* source, const char* out_file, const char* usercode, char* old_out) {
  std::ifstream in(source, std::ios::binary);
  if (!in) return kStatusOpenFailed;
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t stx = text.find(static_cast<char>(kStx));
  const std::size_t etx = stx == std::string::npos ? stx : text.find(static_cast<char>(kEtx), stx);
  if (stx == std::string::npos || etx == std::string::npos) return kStatusNoFuseData;
  bool ok = true;
  const std::string digits = HexDigitsOf(usercode, ok);
  if (!ok) return kBadUsercodeText;
  const std::string eol = text.find("\r\n") != std::string::npos ? "\r\n" : "\n";

  const std::size_t u = FindField(text, stx, etx, static_cast<char>(kUsercode));
  std::size_t new_etx;
  if (u != std::string::npos) {
    const std::size_t end = text.find(static_cast<char>(kFieldEnd), u);
    if (end == std::string::npos || end > etx) return kStatusJedecSyntax;
    if (old_out != nullptr) util_strncpy(old_out, text.substr(u + 1, end - u - 1).c_str(), 256);
    text.replace(u, end - u, "UH" + digits);
    new_etx = text.find(static_cast<char>(kEtx), stx);
  } else {
    if (old_out != nullptr) old_out[0] = '\0';
    // A new U field before C, or before ETX when the file has no C field.
    const std::size_t c = FindField(text, stx, etx, static_cast<char>(kChecksum));
    const std::size_t at = c != std::string::npos ? c : etx;
    text.insert(at, "UH" + digits + "*" + eol);
    new_etx = etx + digits.size() + 3 + eol.size();
  }
  // The transmission checksum: recomputed unless the file said "0000" (none given).
  const std::size_t stored_at = new_etx + 1;
  if (stored_at + 4 <= text.size() && text.compare(stored_at, 4, "0000") != 0) {
    unsigned sum = 0;
    for (std::size_t i = stx; i <= new_etx; ++i) sum += static_cast<unsigned char>(text[i]);
    char stored[8];
    std::snprintf(stored, sizeof stored, "%.4X", sum & 0xFFFFu);
    text.replace(stored_at, 4, stored);
  }
  std::ofstream out(out_file, std::ios::binary | std::ios::trunc);
  if (!out) return kStatusCannotOpenFile;
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.close();  // flushes: a full disk shows here
  return out ? kStatusOk : kStatusWriteFailed;
}

}  // namespace
}  // namespace fusekit::jedec

int WriteUESInfo(const char* sourceFile, const char* outFile, DeviceInfo* device, int jedecMode,
                 const char* usercode, char* oldUsercodeOut) {
  (void)jedecMode;
  if (device == nullptr || usercode == nullptr || outFile == nullptr)
    return fusekit::kStatusNullArgument;
  try {
    return fusekit::jedec::Rewrite(sourceFile, outFile, usercode, oldUsercodeOut);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
