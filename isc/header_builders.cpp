// The comment blocks placed in front of ISC data files.
#include "isc/header_builders.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "core/file_io.h"
#include "fusekit/isc.h"
#include "jedec/header_text.h"

namespace fusekit::isc {
namespace {

void AppendLine(std::string& out, const char* key, const char* value) {
  out += key;
  out += value;
  out += '\n';
}

// The lines every builder starts with, each only for an argument given.
std::string CommonLines(const char* creator_version, int total_fuses, const char* device_name,
                        const char* data_crc) {
  std::string out;
  if (creator_version != nullptr)
    AppendLine(out, "-- CREATED BY: Corvane Semiconductor ", creator_version);
  if (device_name != nullptr) AppendLine(out, "-- DEVICE NAME: ", device_name);
  if (total_fuses != 0) AppendLine(out, "-- TOTAL_FUSES = ", std::to_string(total_fuses).c_str());
  if (data_crc != nullptr) AppendLine(out, "-- DATA_CRC = ", data_crc);
  return out;
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

// Copies a block into a caller's buffer, which the caller has sized for it.
void CopyOut(char* out, const std::string& block) {
  std::memcpy(out, block.c_str(), block.size() + 1);
}

}  // namespace

std::string CommentBlock(const char* creator_version, int total_fuses, const char* device_name,
                         const char* source_file, unsigned int jedec_checksum,
                         const char* data_crc) {
  std::string out = CommonLines(creator_version, total_fuses, device_name, data_crc);
  if (source_file != nullptr && HasJedecExtension(source_file)) {
    AppendLine(out, "-- JEDEC_FILENAME = ", source_file);
    if (jedec_checksum != 0) {
      char line[48];
      std::snprintf(line, sizeof line, "-- JEDEC_CHECKSUM = 0x%.4X\n", jedec_checksum);
      out += line;
    }
    out += "--\n";
    jedec::CollectHeaderText(source_file, true, out);
  } else if (source_file != nullptr) {
    AppendLine(out, "-- DATA_FILENAME = ", source_file);
  }
  out += '\n';
  return out;
}

std::string CommentBlockFromFile(unsigned int total_fuses, const char* data_crc,
                                 const char* comment_file) {
  std::string out;
  if (core::UniqueFile file = core::OpenFile(comment_file, "rb")) {
    core::TextReader reader(file.get());
    char piece[1024];  // lines of at most 1023 characters; a longer one counts as several
    for (std::size_t length; (length = reader.ReadLine(piece, sizeof piece)) > 0;) {
      out += "-- ";
      out.append(piece, length);
      if (piece[length - 1] != '\n') out += '\n';
    }
  }
  if (total_fuses != 0) AppendLine(out, "-- TOTAL_FUSES = ", std::to_string(total_fuses).c_str());
  if (data_crc != nullptr) AppendLine(out, "-- DATA_CRC = ", data_crc);
  out += '\n';
  return out;
}

std::string CommentBlockFromSources(const char* creator_version, int total_fuses,
                                    const char* device_name, const std::vector<const char*>& names,
                                    const char* data_crc) {
  std::string out = CommonLines(creator_version, total_fuses, device_name, data_crc);
  for (const char* name : names) {
    if (name != nullptr) AppendLine(out, "-- DATA_FILENAME = ", name);
  }
  out += '\n';
  return out;
}

std::string CutToWholeLines(std::string block, std::size_t bytes) {
  if (bytes == 0 || block.size() < bytes) return block;
  const std::size_t last_line_end = block.rfind('\n', bytes - 2);
  block.resize(last_line_end == std::string::npos ? 0 : last_line_end + 1);
  return block;
}

}  // namespace fusekit::isc

void BuildISCHeader(char* const out, const char* creatorVersion, int totalFuses,
                    const char* deviceName, const char* sourceFileName, unsigned int jedecChecksum,
                    const char* dataCRC) {
  if (out == nullptr) return;
  try {
    fusekit::isc::CopyOut(out, fusekit::isc::CommentBlock(creatorVersion, totalFuses, deviceName,
                                                          sourceFileName, jedecChecksum, dataCRC));
  } catch (const std::bad_alloc&) {
    out[0] = '\0';
  }
}

void BuildISCHeaderFromBitstream(char* const out, unsigned int totalFuses, const char* dataCRC,
                                 const char* commentFileName) {
  if (out == nullptr) return;
  try {
    fusekit::isc::CopyOut(out,
                          fusekit::isc::CommentBlockFromFile(totalFuses, dataCRC, commentFileName));
  } catch (const std::bad_alloc&) {
    out[0] = '\0';
  }
}

void BuildISCHeaderFromBitstream(char* const out, const char* creatorVersion, int totalFuses,
                                 const char* deviceName, std::vector<const char*>& sourceFileNames,
                                 unsigned int /*ignoredChecksum*/, const char* dataCRC) {
  if (out == nullptr) return;
  try {
    fusekit::isc::CopyOut(
        out, fusekit::isc::CommentBlockFromSources(creatorVersion, totalFuses, deviceName,
                                                   sourceFileNames, dataCRC));
  } catch (const std::bad_alloc&) {
    out[0] = '\0';
  }
}
