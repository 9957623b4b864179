// Builds JEDEC files for tests: fuse lists in any line length and line end, notes, the header
// fields, E and U fields, a correct (or chosen) C checksum and transmission checksum.
#ifndef FUSEKIT_TESTS_SUPPORT_JEDEC_BUILDER_H
#define FUSEKIT_TESTS_SUPPORT_JEDEC_BUILDER_H

#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace fusekit::testing {

// The JEDEC C value of a fuse list: the 16-bit sum of bytes holding fuse n in bit n % 8.
inline std::uint16_t JedecFuseChecksum(const std::vector<bool>& fuses) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < fuses.size(); i += 8) {
    unsigned byte = 0;
    for (std::size_t j = 0; j < 8 && i + j < fuses.size(); ++j) byte |= fuses[i + j] ? 1u << j : 0;
    sum += byte;
  }
  return static_cast<std::uint16_t>(sum);
}

inline std::vector<bool> RandomFuses(std::size_t count, std::uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<bool> fuses(count);
  for (std::size_t i = 0; i < count; ++i) fuses[i] = (rng() & 3) == 0;
  return fuses;
}

struct JedecBuilder {
  std::string before_stx;  // lines before STX (a tool's banner)
  std::string design = "fusekit test design";
  std::vector<std::string> notes;   // note fields, each written as given plus "*"
  std::optional<std::uint64_t> qf;  // defaults to the fuse count
  std::optional<int> qp;
  std::optional<int> f = 0;
  std::optional<int> g;
  std::vector<bool> fuses;
  std::size_t digits_per_line = 64;  // each line is an L field of its own
  bool one_l_field = false;          // one L field continued over many lines instead
  std::string eol = "\n";
  bool checksum = true;                         // write C with the right value
  std::optional<std::uint32_t> checksum_value;  // or this one
  std::string extra_fields;                     // written after C, e.g. "E0101*" or "UH1234*"
  std::string transmission = "real";            // "real", "0000" or "" (nothing after ETX)
  std::string after;                            // text after the transmission checksum

  std::string Build() const {
    std::string body = "\x02" + design + "*" + eol;
    for (const std::string& note : notes) body += note + "*" + eol;
    if (qp) body += "QP" + std::to_string(*qp) + "*" + eol;
    body += "QF" + std::to_string(qf ? *qf : fuses.size()) + "*" + eol;
    if (g) body += "G" + std::to_string(*g) + "*" + eol;
    if (f) body += "F" + std::to_string(*f) + "*" + eol;
    const std::size_t per_line = digits_per_line == 0 ? 1 : digits_per_line;
    for (std::size_t i = 0; i < fuses.size(); i += per_line) {
      if (!one_l_field || i == 0) body += "L" + Pad(i) + " ";
      for (std::size_t j = i; j < i + per_line && j < fuses.size(); ++j)
        body += fuses[j] ? '1' : '0';
      body += (one_l_field && i + per_line < fuses.size()) ? eol : "*" + eol;
    }
    if (checksum || checksum_value) {
      char c[16];
      std::snprintf(c, sizeof c, "C%04X*",
                    checksum_value ? *checksum_value : JedecFuseChecksum(fuses));
      body += c + eol;
    }
    body += extra_fields;
    body += "\x03";
    std::string file = before_stx + body;
    if (transmission == "real") {
      unsigned sum = 0;
      for (unsigned char ch : body) sum += ch;
      char t[8];
      std::snprintf(t, sizeof t, "%04X", sum & 0xFFFF);
      file += t;
    } else {
      file += transmission;
    }
    return file + after;
  }

 private:
  static std::string Pad(std::size_t n) {
    char text[24];
    std::snprintf(text, sizeof text, "%05zu", n);
    return text;
  }
};

}  // namespace fusekit::testing

#endif  // FUSEKIT_TESTS_SUPPORT_JEDEC_BUILDER_H
