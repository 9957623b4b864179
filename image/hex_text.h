// Images written as text of hex digit pairs.
#ifndef FUSEKIT_IMAGE_HEX_TEXT_H
#define FUSEKIT_IMAGE_HEX_TEXT_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

namespace fusekit::image {

// The value util_HexAnsi2Hex gives a character: 0-9, A-F, a-f, and 0 for anything else.
unsigned HexDigitOrZero(char c);

// What white space does to the half-built byte: the image readers shift it left by four bits
// (kept to eight) and then right by one; the raw-hex fallback of HEX2BIN only shifts it right by
// one. Either way a pair split by white space gives a garbled byte: pairs are written whole.
enum class WhiteSpaceShift { kLeftFourRightOne, kRightOne };

// Converts a text of digit pairs to bytes, handing each to sink(byte). White space (blank, tab,
// line feed, carriage return) does not count toward a pair. Any other character is a digit of
// the value util_HexAnsi2Hex gives it. An unpaired last digit is dropped. Returns the pairs.
template <class Sink>
std::uint64_t DecodeHexPairs(std::FILE* text, WhiteSpaceShift shift, Sink&& sink) {
  unsigned accumulator = 0;
  bool half = false;
  std::uint64_t pairs = 0;
  for (int c = std::getc(text); c != EOF; c = std::getc(text)) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      accumulator =
          shift == WhiteSpaceShift::kRightOne ? accumulator >> 1 : ((accumulator << 4) & 0xFF) >> 1;
      continue;
    }
    accumulator = ((accumulator << 4) & 0xFF) | HexDigitOrZero(static_cast<char>(c));
    if (half) {
      sink(static_cast<std::uint8_t>(accumulator));
      ++pairs;
    }
    half = !half;
  }
  return pairs;
}

// What HexTextToBinary did.
enum class HexTextResult { kWritten, kCannotOpen, kWriteFailed };

// Converts the text file text_name to the binary file bin_name.
HexTextResult HexTextToBinary(const char* text_name, const std::string& bin_name,
                              WhiteSpaceShift shift);

// Converts the text file_name into "tmpBitstream.bit" in work_dir, reads that with read(path),
// and removes it. -2 when the text or the temporary file cannot be opened, -19 when the
// temporary file cannot be written whole, else what read gives.
int ReadHexText(const char* file_name, const char* work_dir,
                const std::function<int(const char*)>& read);

}  // namespace fusekit::image

#endif  // FUSEKIT_IMAGE_HEX_TEXT_H
