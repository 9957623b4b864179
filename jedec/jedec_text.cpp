// Shared pieces of the JEDEC writers.
#include "jedec/jedec_text.h"

#include <cstdio>

#include "core/file_io.h"
#include "core/status.h"

namespace fusekit::jedec {

unsigned FuseChecksum(const std::vector<std::uint8_t>& fuses) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < fuses.size(); i += 8) {
    unsigned byte = 0;
    for (std::size_t j = 0; j < 8 && i + j < fuses.size(); ++j) {
      if (fuses[i + j] != 0) byte |= 1u << j;
    }
    sum += byte;
  }
  return sum & 0xFFFF;
}

unsigned TransmissionChecksum(const std::string& stx_to_etx) {
  unsigned sum = 0;
  for (const char c : stx_to_etx) sum += static_cast<unsigned char>(c);
  return sum & 0xFFFF;
}

void AppendFuseField(std::string& text, const std::vector<std::uint8_t>& fuses, std::uint64_t first,
                     std::uint64_t end) {
  char address[24];
  std::snprintf(address, sizeof address, "L%.8llu ", static_cast<unsigned long long>(first));
  text += address;
  for (std::uint64_t f = first; f < end; ++f) text += fuses[f] != 0 ? '1' : '0';
  text += std::string("*") + kEol;
}

std::string UsercodeFieldText(const std::string& bits) {
  if (bits.size() % 4 != 0) return bits;
  std::string text = "H";
  for (std::size_t i = 0; i < bits.size(); i += 4) {
    unsigned nibble = 0;
    for (std::size_t j = 0; j < 4; ++j) nibble = nibble << 1 | (bits[i + j] == '1' ? 1u : 0u);
    text += "0123456789ABCDEF"[nibble];
  }
  return text;
}

std::string AsNoteText(const std::string& line) {
  std::string text;
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    text += c == '*' ? '+' : (byte < 0x20 || byte >= 0x7F) && c != '\t' ? '?' : c;
  }
  return text;
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(at, end - at);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
    at = end + 1;
  }
  return lines;
}

HeaderFields SplitHeaderBlock(const char* block, const std::string& default_design) {
  HeaderFields fields{default_design, {}};
  if (block == nullptr) return fields;
  const std::vector<std::string> lines = LinesOf(block);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i == 0) {
      fields.design = lines[0];
    } else if (!lines[i].empty()) {
      fields.notes.push_back(lines[i]);
    }
  }
  return fields;
}

int WriteJedecText(const char* path, const std::string& stx_to_etx) {
  const unsigned checksum = TransmissionChecksum(stx_to_etx);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", checksum);
  core::UniqueFile file = core::OpenFile(path, "wb");
  if (!file) return kStatusCannotOpenFile;
  std::fwrite(stx_to_etx.data(), 1, stx_to_etx.size(), file.get());
  std::fputs(digits, file.get());
  if (!core::FinishWriting(file)) return kStatusWriteFailed;
  return static_cast<int>(checksum);
}

}  // namespace fusekit::jedec
