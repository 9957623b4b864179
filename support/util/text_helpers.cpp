// Bounded text copies, hex-digit conversions and the sub-string search.
#include <cstring>

#include "fusekit/util.h"

char* util_strncpy(char* dest, const char* src, std::size_t destSize) {
  if (dest == nullptr || destSize == 0) return dest;
  std::size_t n = 0;
  if (src != nullptr) {
    while (n + 1 < destSize && src[n] != '\0') {
      dest[n] = src[n];
      ++n;
    }
  }
  dest[n] = '\0';
  return dest;
}

char* util_strncat(char* dest, const char* src, std::size_t destSize) {
  if (dest == nullptr || destSize == 0) return dest;
  const void* end = std::memchr(dest, '\0', destSize);
  if (end == nullptr) {  // not terminated within its size: terminate, append nothing
    dest[destSize - 1] = '\0';
    return dest;
  }
  const std::size_t used = static_cast<std::size_t>(static_cast<const char*>(end) - dest);
  util_strncpy(dest + used, src, destSize - used);
  return dest;
}

unsigned char util_HexAnsi2Hex(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned char>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<unsigned char>(digit - 'A' + 10);
  if (digit >= 'a' && digit <= 'f') return static_cast<unsigned char>(digit - 'a' + 10);
  return 0;
}

char util_Hex2HexAnsi(unsigned char value) {
  return "0123456789ABCDEF"[value & 0x0F];
}

int FindSubString(const char* text, const char* sub) {
  if (text == nullptr || sub == nullptr) return -1;
  const char* found = std::strstr(text, sub);
  return found == nullptr ? -1 : static_cast<int>(found - text);
}
