// Fuzzes ues_edit_read_num: any text, any width; the digits written never pass the width.
#include <cstdlib>
#include <cstring>
#include <string>

#include "fusekit/jedec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const unsigned bits = 1u + data[0];  // 1 to 256 bits
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  char hex[80];
  std::memset(hex, 'X', sizeof hex);
  const int status = ues_edit_read_num(text.c_str(), bits, hex);
  if (status == 0 && std::strlen(hex) != (bits + 3) / 4) std::abort();
  if (status != 0 && status != -7 && status != -9) std::abort();
  return 0;
}
