#include "core/diff_report.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "core/file_io.h"

namespace fusekit::core {
namespace {

struct DifferingBits {
  std::uint64_t count = 0;
  std::string listed;  // the first ones, " 17+ 100-"
};

void ListBit(DifferingBits& found, std::uint64_t position, bool read_set) {
  if (++found.count > DiffReport::kBitsListedPerRow) return;
  found.listed += " " + std::to_string(position) + (read_set ? "+" : "-");
}

// The bits of one byte that differ, visited in ascending position: in the row layout a byte's
// columns ascend from its least significant bit, in stream order from its most significant.
void VisitByte(DifferingBits& found, unsigned char diff, unsigned char read, std::uint64_t first,
               int lowest_bit, int highest_bit, BitOrder order) {
  for (int k = 0; k < 8; ++k) {
    const int bit = order == BitOrder::kRowLayout ? k : 7 - k;  // 0 = least significant
    if (bit < lowest_bit || bit > highest_bit || ((diff >> bit) & 1u) == 0) continue;
    const std::uint64_t position = order == BitOrder::kRowLayout
                                       ? first + static_cast<unsigned>(bit - lowest_bit)
                                       : first + static_cast<unsigned>(7 - bit);
    ListBit(found, position, ((read >> bit) & 1u) != 0);
  }
}

DifferingBits FindDifferences(const unsigned char* read, const unsigned char* reference,
                              const unsigned char* mask, std::uint64_t width, BitOrder order) {
  DifferingBits found;
  const std::uint64_t bytes = (width + 7) / 8;
  const int pad = static_cast<int>((8 - width % 8) % 8);
  for (std::uint64_t n = 0; n < bytes; ++n) {
    // Row layout: columns ascend from the last byte back; its first byte holds the padding.
    const std::uint64_t i = order == BitOrder::kRowLayout ? bytes - 1 - n : n;
    unsigned char diff = static_cast<unsigned char>(read[i] ^ reference[i]);
    if (mask != nullptr) diff &= mask[i];
    if (diff == 0) continue;
    if (order == BitOrder::kRowLayout) {
      const int lowest = 0;
      const int highest = i == 0 ? 7 - pad : 7;
      VisitByte(found, diff, read[i], n * 8, lowest, highest, order);
    } else {
      const int lowest = i == bytes - 1 ? pad : 0;
      VisitByte(found, diff, read[i], i * 8, lowest, 7, order);
    }
  }
  return found;
}

}  // namespace

void DiffReport::Line(const std::string& text) {
  text_ += text;
  text_ += '\n';
}

void DiffReport::Note(const std::string& what, const std::string& read,
                      const std::string& reference) {
  Line(what + ": read " + read + ", reference " + reference + " (not counted)");
}

void DiffReport::Block(const std::string& heading) {
  Line(heading);
  rows_listed_ = 0;
}

std::uint64_t DiffReport::CompareRow(const std::string& label, const unsigned char* read,
                                     const unsigned char* reference, const unsigned char* mask,
                                     std::uint64_t width, BitOrder order) {
  const std::size_t bytes = static_cast<std::size_t>((width + 7) / 8);
  if (mask == nullptr && std::memcmp(read, reference, bytes) == 0) return 0;
  const DifferingBits found = FindDifferences(read, reference, mask, width, order);
  if (found.count == 0) return 0;
  differences_ += found.count;
  if (rows_listed_ < kRowsListedPerBlock) {
    std::string line = "  " + label + ":" + found.listed;
    if (found.count > kBitsListedPerRow)
      line += " ... and " + std::to_string(found.count - kBitsListedPerRow) + " more";
    Line(line);
  } else if (rows_listed_ == kRowsListedPerBlock) {
    Line("  further rows not listed");
  }
  ++rows_listed_;
  return found.count;
}

bool DiffReport::WriteTo(const char* path) const {
  UniqueFile file = OpenFile(path, "wb");
  if (!file) return false;
  std::fwrite(text_.data(), 1, text_.size(), file.get());
  std::fprintf(file.get(), "Differences: %llu\n", static_cast<unsigned long long>(differences_));
  return FinishWriting(file);
}

int CountAsResult(std::uint64_t differences) {
  return differences > static_cast<std::uint64_t>(INT_MAX) ? INT_MAX
                                                           : static_cast<int>(differences);
}

}  // namespace fusekit::core
