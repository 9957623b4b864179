// GREND_OUT: the JEDEC file of the Grend PLD devices from a row file.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "support/legacy_fusemap/grend.h"
#include "support/legacy_fusemap/row_file.h"

namespace {

using fusekit::legacy::RowFile;

constexpr std::size_t kMaxUsercodeBits = 4096;
constexpr char kStx = '\x02';
constexpr char kEtx = '\x03';

const char* ResultText(int result) {
  switch (result) {
    case kGrendOutOk:
      return "OK";
    case kGrendOutCannotReadRows:
      return "cannot open the row file";
    case kGrendOutBadRowFile:
      return "the input is not a row file";
    case kGrendOutBadMode:
      return "unknown mode";
    case kGrendOutMissingRows:
      return "the array rows are missing or not numbered from 0";
    case kGrendOutBadWidth:
      return "the array rows differ in width";
    case kGrendOutBadUsercode:
      return "the usercode row is empty or too long";
    default:
      return "cannot write the JEDEC file";
  }
}

// The array rows, 0 to n-1 with nothing between, all of one width that is not 0.
int CheckRows(const RowFile& rows, std::size_t& count, std::size_t& width) {
  count = 0;
  for (auto it = rows.lower_bound(0); it != rows.end(); ++it, ++count) {
    if (it->first != static_cast<int>(count)) return kGrendOutMissingRows;
  }
  if (count == 0) return kGrendOutMissingRows;
  width = rows.at(0).size();
  for (auto it = rows.lower_bound(0); it != rows.end(); ++it) {
    if (it->second.empty() || it->second.size() != width) return kGrendOutBadWidth;
  }
  const auto usercode = rows.find(fusekit::legacy::kUsercodeRow);
  if (usercode != rows.end() &&
      (usercode->second.empty() || usercode->second.size() > kMaxUsercodeBits))
    return kGrendOutBadUsercode;
  return kGrendOutOk;
}

// The JEDEC text from STX to ETX. The fuse checksum is the sum of the fuses taken eight at a
// time, fuse n as bit n mod 8 of word n / 8.
std::string JedecText(const RowFile& rows, std::size_t count, std::size_t width) {
  std::string text;
  text.reserve(count * (width + 12) + 256);
  text += kStx;
  text += "Grend fuse map built from read-back rows*\n";
  text += "QF" + std::to_string(static_cast<std::uint64_t>(count) * width) + "*\nF0*\n";
  std::uint32_t sum = 0;
  std::uint64_t fuse = 0;
  unsigned word = 0;
  char address[32];
  for (auto it = rows.lower_bound(0); it != rows.end(); ++it) {
    std::snprintf(address, sizeof address, "L%06llu ",
                  static_cast<unsigned long long>(static_cast<std::uint64_t>(it->first) * width));
    text += address;
    text += it->second;
    text += "*\n";
    for (char bit : it->second) {
      if (bit == '1') word |= 1u << (fuse % 8);
      if (++fuse % 8 == 0) {
        sum += word;
        word = 0;
      }
    }
  }
  sum += word;
  const auto usercode = rows.find(fusekit::legacy::kUsercodeRow);
  if (usercode != rows.end()) text += "U" + usercode->second + "*\n";
  const auto e_row = rows.find(fusekit::legacy::kERow);
  if (e_row != rows.end() && !e_row->second.empty()) text += "E" + e_row->second + "*\n";
  char checksum[16];
  std::snprintf(checksum, sizeof checksum, "C%04X*\n", sum & 0xFFFFu);
  text += checksum;
  text += kEtx;
  return text;
}

int WriteJedec(const char* path, const std::string& text) {
  unsigned sum = 0;
  for (char c : text) sum += static_cast<unsigned char>(c);
  char trailer[8];
  std::snprintf(trailer, sizeof trailer, "%04X", sum & 0xFFFFu);
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return kGrendOutCannotWrite;
  bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size() &&
            std::fputs(trailer, file) >= 0 && std::fputc('\n', file) != EOF;
  ok = std::fclose(file) == 0 && ok;
  if (!ok) std::remove(path);
  return ok ? kGrendOutOk : kGrendOutCannotWrite;
}

int Convert(const char* rowFile, const char* mode, const char* jedecFile) {
  if (rowFile == nullptr || rowFile[0] == '\0') return kGrendOutCannotReadRows;
  if (std::FILE* probe = std::fopen(rowFile, "rb")) {
    std::fclose(probe);
  } else {
    return kGrendOutCannotReadRows;
  }
  if (mode == nullptr || (std::strcmp(mode, "r") != 0 && std::strcmp(mode, "p") != 0))
    return kGrendOutBadMode;
  RowFile rows;
  if (!fusekit::legacy::ReadRowFile(rowFile, rows)) return kGrendOutBadRowFile;
  std::size_t count = 0, width = 0;
  if (const int checked = CheckRows(rows, count, width); checked != kGrendOutOk) return checked;
  if (jedecFile == nullptr || jedecFile[0] == '\0') return kGrendOutCannotWrite;
  return WriteJedec(jedecFile, JedecText(rows, count, width));
}

}  // namespace

int GREND_OUT(const char* rowFile, const char* mode, const char* jedecFile, const char* resultFile,
              const char* /*jedecOption*/, const char* /*workDir*/, const char* /*libraryFolder*/) {
  int result;
  try {
    result = Convert(rowFile, mode, jedecFile);
  } catch (...) {
    result = kGrendOutCannotWrite;  // out of memory while building the text
  }
  return fusekit::legacy::WriteResultFile(resultFile, result, ResultText(result));
}
