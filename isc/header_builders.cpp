// The comment blocks placed in front of ISC data files.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "core/file_io.h"
#include "fusekit/isc.h"
#include "fusekit/jedec.h"

namespace {

// Appends a formatted line to the caller's buffer, which the caller has sized for the block.
void Append(char* out, const char* format, const char* text) {
  const std::size_t used = std::strlen(out);
  std::sprintf(out + used, format, text);
}

void AppendNumber(char* out, const char* format, long long value) {
  const std::size_t used = std::strlen(out);
  std::sprintf(out + used, format, value);
}

// The lines every builder starts with, each only for an argument given.
void AppendCommonLines(char* out, const char* creatorVersion, int totalFuses,
                       const char* deviceName, const char* dataCRC) {
  if (creatorVersion != nullptr)
    Append(out, "-- CREATED BY: Corvane Semiconductor %s\n", creatorVersion);
  if (deviceName != nullptr) Append(out, "-- DEVICE NAME: %s\n", deviceName);
  if (totalFuses != 0) AppendNumber(out, "-- TOTAL_FUSES = %lld\n", totalFuses);
  if (dataCRC != nullptr) Append(out, "-- DATA_CRC = %s\n", dataCRC);
}

// True when the name's extension, from its last '.', is ".jed" in any case.
bool HasJedecExtension(const char* name) {
  const char* dot = std::strrchr(name, '.');
  if (dot == nullptr || std::strlen(dot) != 4) return false;
  for (int i = 0; i < 4; ++i) {
    if (std::toupper(static_cast<unsigned char>(dot[i])) != ".JED"[i]) return false;
  }
  return true;
}

}  // namespace

void BuildISCHeader(char* const out, const char* creatorVersion, int totalFuses,
                    const char* deviceName, const char* sourceFileName, unsigned int jedecChecksum,
                    const char* dataCRC) {
  if (out == nullptr) return;
  out[0] = '\0';
  AppendCommonLines(out, creatorVersion, totalFuses, deviceName, dataCRC);
  if (sourceFileName != nullptr && HasJedecExtension(sourceFileName)) {
    Append(out, "-- JEDEC_FILENAME = %s\n", sourceFileName);
    if (jedecChecksum != 0) AppendNumber(out, "-- JEDEC_CHECKSUM = 0x%.4llX\n", jedecChecksum);
    Append(out, "%s", "--\n");
    ParseJEDECHeader(out, sourceFileName, true);
  } else if (sourceFileName != nullptr) {
    Append(out, "-- DATA_FILENAME = %s\n", sourceFileName);
  }
  Append(out, "%s", "\n");
}

void BuildISCHeaderFromBitstream(char* const out, unsigned int totalFuses, const char* dataCRC,
                                 const char* commentFileName) {
  if (out == nullptr) return;
  out[0] = '\0';
  if (fusekit::core::UniqueFile file = fusekit::core::OpenFile(commentFileName, "rb")) {
    try {
      fusekit::core::TextReader reader(file.get());
      char piece[1024];  // lines of at most 1023 characters; a longer one counts as several
      for (std::size_t length; (length = reader.ReadLine(piece, sizeof piece)) > 0;) {
        Append(out, "-- %s", piece);
        if (piece[length - 1] != '\n') Append(out, "%s", "\n");
      }
    } catch (const std::bad_alloc&) {
      // The lines read so far stay; the block goes on without the rest.
    }
  }
  if (totalFuses != 0) AppendNumber(out, "-- TOTAL_FUSES = %lld\n", totalFuses);
  if (dataCRC != nullptr) Append(out, "-- DATA_CRC = %s\n", dataCRC);
  Append(out, "%s", "\n");
}

void BuildISCHeaderFromBitstream(char* const out, const char* creatorVersion, int totalFuses,
                                 const char* deviceName, std::vector<const char*>& sourceFileNames,
                                 unsigned int /*ignoredChecksum*/, const char* dataCRC) {
  if (out == nullptr) return;
  out[0] = '\0';
  AppendCommonLines(out, creatorVersion, totalFuses, deviceName, dataCRC);
  for (const char* name : sourceFileNames) {
    if (name != nullptr) Append(out, "-- DATA_FILENAME = %s\n", name);
  }
  Append(out, "%s", "\n");
}
