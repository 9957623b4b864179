// Hex-text images.
#include "image/hex_text.h"

#include "core/file_io.h"
#include "fusekit/util.h"

namespace fusekit::image {

unsigned HexDigitOrZero(char c) {
  return util_HexAnsi2Hex(c);
}

HexTextResult HexTextToBinary(const char* text_name, const std::string& bin_name,
                              WhiteSpaceShift shift) {
  core::UniqueFile in = core::OpenFile(text_name, "rb");
  if (!in) return HexTextResult::kCannotOpen;
  core::UniqueFile out = core::OpenFile(bin_name.c_str(), "wb");
  if (!out) return HexTextResult::kCannotOpen;
  DecodeHexPairs(in.get(), shift, [&](std::uint8_t byte) { std::putc(byte, out.get()); });
  return core::FinishWriting(out) ? HexTextResult::kWritten : HexTextResult::kWriteFailed;
}

}  // namespace fusekit::image
