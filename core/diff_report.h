// The report of the compares: differing bits marked where they are and counted, header texts
// that differ noted without being counted, and the report written out whole.
#ifndef FUSEKIT_CORE_DIFF_REPORT_H
#define FUSEKIT_CORE_DIFF_REPORT_H

#include <cstdint>
#include <string>

namespace fusekit::core {

// How the bits of a row are numbered in a report.
enum class BitOrder {
  kRowLayout,    // column c of a row of width W is bit pad + W - 1 - c of its bytes
  kStreamOrder,  // bit i is bit 7 - i % 8 of byte i / 8
};

class DiffReport {
 public:
  // A row lists this many differing bits, then how many more.
  static constexpr int kBitsListedPerRow = 32;
  // A block lists this many rows with differences, then no more.
  static constexpr int kRowsListedPerBlock = 1000;

  // A line of the report, as it is.
  void Line(const std::string& text);
  // A header text that differs: noted, not counted.
  void Note(const std::string& what, const std::string& read, const std::string& reference);
  // Starts a block or frame: its heading line, and a fresh count of listed rows.
  void Block(const std::string& heading);
  // Compares width bits of two rows under mask (null: every bit counts; a mask bit 0 leaves
  // its bit out), lists the differing bits after label ("+" read 1, "-" read 0) and counts
  // them. Each byte array holds (width + 7) / 8 bytes. The bits found.
  std::uint64_t CompareRow(const std::string& label, const unsigned char* read,
                           const unsigned char* reference, const unsigned char* mask,
                           std::uint64_t width, BitOrder order);
  // Counts differences found elsewhere (the security flag, say).
  void Count(std::uint64_t bits) { differences_ += bits; }
  std::uint64_t Differences() const { return differences_; }
  const std::string& Text() const { return text_; }

  // Writes the report with its closing "Differences: N" line to path. False when it could not
  // be written whole.
  bool WriteTo(const char* path) const;

 private:
  std::string text_;
  std::uint64_t differences_ = 0;
  int rows_listed_ = 0;
};

// The count of a compare as its result: the number of differences, at most INT_MAX.
int CountAsResult(std::uint64_t differences);

}  // namespace fusekit::core

#endif  // FUSEKIT_CORE_DIFF_REPORT_H
