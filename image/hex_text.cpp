// Hex-text images.
#include "image/hex_text.h"

#include "core/file_io.h"
#include "fusekit/util.h"

namespace fusekit::image {

unsigned HexDigitOrZero(char c) {
  return util_HexAnsi2Hex(c);
}

bool HexTextToBinary(const char* text_name, const std::string& bin_name, WhiteSpaceShift shift) {
  core::UniqueFile in = core::OpenFile(text_name, "rb");
  if (!in) return false;
  core::UniqueFile out = core::OpenFile(bin_name.c_str(), "wb");
  if (!out) return false;
  bool written = true;
  DecodeHexPairs(in.get(), shift, [&](std::uint8_t byte) {
    written = std::fputc(byte, out.get()) != EOF && written;
  });
  return written;
}

}  // namespace fusekit::image
