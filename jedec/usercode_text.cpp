// ues_edit_read_num: a usercode as a user types it, to the hex digits the usercode writer takes.
#include <cctype>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "fusekit/jedec.h"

namespace fusekit::jedec {
namespace {

constexpr int kNotANumber = -7;
constexpr int kTooWide = -9;

// A value of `bits` bits, most significant byte first, built digit by digit.
class Value {
 public:
  explicit Value(unsigned bits) : bits_(bits), bytes_((bits + 7) / 8, 0) {}

  // value = value * base + digit; false when the result needs more than bits_ bits.
  bool Push(unsigned base, unsigned digit) {
    unsigned carry = digit;
    for (std::size_t i = bytes_.size(); i-- > 0;) {
      const unsigned next = bytes_[i] * base + carry;
      bytes_[i] = static_cast<unsigned char>(next & 0xFF);
      carry = next >> 8;
    }
    const unsigned spare = static_cast<unsigned>(bytes_.size() * 8 - bits_);
    return carry == 0 && (bytes_.empty() || (bytes_[0] >> (8 - spare)) == 0 || spare == 0);
  }

  std::string Hex() const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char b : bytes_) {
      text += kDigits[b >> 4];
      text += kDigits[b & 0xF];
    }
    // ceil(bits / 4) digits: an odd count drops the leading (always zero) digit.
    return text.substr(text.size() - (bits_ + 3) / 4);
  }

 private:
  unsigned bits_;
  std::vector<unsigned char> bytes_;
};

int DigitValue(char c, unsigned base) {
  const int value = std::isdigit(static_cast<unsigned char>(c))    ? c - '0'
                    : std::isxdigit(static_cast<unsigned char>(c)) ? std::toupper(c) - 'A' + 10
                                                                   : 99;
  return value < static_cast<int>(base) ? value : -1;
}

int Parse(std::string text, unsigned bits, std::string& hex) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  std::size_t first = 0;
  while (first < text.size() && std::isspace(static_cast<unsigned char>(text[first]))) ++first;
  text.erase(0, first);
  if (text.empty()) return kNotANumber;
  Value value(bits);
  const char quote = text[0];
  if ((quote == '\'' || quote == '"') && text.size() >= 2 && text.back() == quote) {
    const std::string characters = text.substr(1, text.size() - 2);
    if (characters.size() * 8 > bits) return kTooWide;
    for (const char c : characters) {
      if (!value.Push(256, static_cast<unsigned char>(c))) return kTooWide;
    }
    hex = value.Hex();
    return 0;
  }
  unsigned base = 10;
  auto lower_prefix = [&](const char* prefix) {
    return text.size() > 2 && std::tolower(static_cast<unsigned char>(text[0])) == prefix[0] &&
           std::tolower(static_cast<unsigned char>(text[1])) == prefix[1];
  };
  const char last = static_cast<char>(std::tolower(static_cast<unsigned char>(text.back())));
  if (lower_prefix("0x")) {
    base = 16;
    text.erase(0, 2);
  } else if (lower_prefix("0b")) {
    base = 2;
    text.erase(0, 2);
  } else if (last == 'h' && text.size() > 1) {
    base = 16;
    text.pop_back();
  } else if (last == 'b' && text.size() > 1 &&
             text.find_first_not_of("01bB") == std::string::npos) {
    base = 2;
    text.pop_back();
  } else if (text.find_first_not_of("0123456789") != std::string::npos) {
    base = 16;  // hex digits without a prefix
  }
  for (const char c : text) {
    if (c == '_') continue;  // a separator between digit groups
    const int digit = DigitValue(c, base);
    if (digit < 0) return kNotANumber;
    if (!value.Push(base, static_cast<unsigned>(digit))) return kTooWide;
  }
  hex = value.Hex();
  return 0;
}

}  // namespace
}  // namespace fusekit::jedec

int ues_edit_read_num(const char* text, unsigned int bits, char* hexOut) {
  if (text == nullptr || hexOut == nullptr || bits == 0) return -6;
  try {
    std::string hex;
    const int status = fusekit::jedec::Parse(text, bits, hex);
    if (status == 0) std::memcpy(hexOut, hex.c_str(), hex.size() + 1);
    return status;
  } catch (const std::bad_alloc&) {
    return -3;
  }
}
