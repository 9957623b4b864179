// fnJEDFileCompareByAddress: fuse maps written in many layouts compared with what was written,
// and with what the JEDEC reader makes of them.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::TempDir;

// More fuses than two of the compare's windows hold, so that windows are handed on mid-field.
constexpr std::size_t kFuses = 1300005;  // the last byte holds five

// Random fuses with long runs of 0 and of 1, which a writer may leave to the F default.
std::vector<char> MakeFuses(unsigned seed) {
  std::mt19937 random(seed);
  std::vector<char> fuses(kFuses);
  for (std::size_t i = 0; i < kFuses; ++i) fuses[i] = static_cast<char>('0' + (random() & 1));
  for (std::size_t run = 20000; run + 6000 < kFuses; run += 90000) {
    for (std::size_t i = run; i < run + 6000; ++i) fuses[i] = (run / 90000) % 2 == 0 ? '0' : '1';
  }
  return fuses;
}

// How a file lists its fuses.
struct Layout {
  std::size_t per_field;  // fuses an L field
  const char* line_end;   // "\n" or "\r\n"
  int fuse_default;       // F0, F1, or none (-1)
  bool falling;           // L fields from the last to the first
  bool qf_last;           // QF after the fuse list
  bool with_checksum;     // a C field that holds
  int address_digits;     // addresses padded with zeros to this width
};

// The JEDEC C value of the fuses: fuse n at bit n % 8 of byte n / 8, the bytes summed.
unsigned Checksum(const std::vector<char>& fuses) {
  unsigned sum = 0;
  for (std::size_t i = 0; i < fuses.size(); ++i)
    if (fuses[i] == '1') sum += 1u << (i % 8);
  return sum & 0xFFFF;
}

// The fuses as a JEDEC file: fields whose fuses all equal the F default are left out.
std::string Write(const std::vector<char>& fuses, const Layout& layout) {
  const std::string end = layout.line_end;
  const std::string qf = "QF" + std::to_string(fuses.size()) + "*" + end;
  std::string text =
      "\x02"
      "design*" +
      end + "NOTE written for the test*" + end;
  if (!layout.qf_last) text += qf;
  if (layout.fuse_default >= 0) text += "F" + std::to_string(layout.fuse_default) + "*" + end;
  std::vector<std::string> fields;
  for (std::size_t f = 0; f < fuses.size(); f += layout.per_field) {
    const std::string digits(fuses.begin() + f,
                             fuses.begin() + std::min(fuses.size(), f + layout.per_field));
    if (layout.fuse_default >= 0 &&
        digits.find_first_not_of(static_cast<char>('0' + layout.fuse_default)) == std::string::npos)
      continue;
    std::string address = std::to_string(f);
    if (address.size() < static_cast<std::size_t>(layout.address_digits))
      address.insert(0, static_cast<std::size_t>(layout.address_digits) - address.size(), '0');
    fields.push_back("L" + address + " " + digits + "*" + end);
  }
  if (layout.falling) std::reverse(fields.begin(), fields.end());
  for (const std::string& field : fields) text += field;
  if (layout.qf_last) text += qf;
  if (layout.with_checksum) {
    char checksum[8];
    std::snprintf(checksum, sizeof checksum, "%04X", Checksum(fuses));
    text += "C" + std::string(checksum) + "*" + end;
  }
  return text + "\x03" + "0000" + end;
}

const Layout kPlain{128, "\n", 0, false, false, true, 8};
const Layout kOtherWriter{100, "\r\n", 1, false, false, false, 0};
const Layout kOddFields{37, "\n", -1, false, false, true, 9};
const Layout kFalling{128, "\n", 0, true, false, true, 8};
const Layout kQfLast{256, "\n", 1, false, true, true, 0};

struct Compared {
  int status;
  JEDECAddressCompare found;
};

Compared CompareTexts(const std::string& read, const std::string& reference) {
  TempDir dir;
  Compared result{};
  result.status =
      fnJEDFileCompareByAddress(dir.Write("read.jed", read).c_str(),
                                dir.Write("ref.jed", reference).c_str(), nullptr, &result.found);
  return result;
}

TEST(JedecCompareByAddress, FindsEachFlippedFuseWhateverTheLayouts) {
  const std::vector<char> reference = MakeFuses(1);
  // Flips at the ends of the map, of its bytes and of the compare's windows (524288 fuses).
  const std::vector<std::size_t> flips = {0, 7, 8, 524287, 524288, 1048576, kFuses - 1};
  std::vector<char> read = reference;
  for (std::size_t at : flips) read[at] ^= 1;  // '0' <-> '1'
  struct Case {
    Layout read_layout;
    Layout reference_layout;
  };
  const Case cases[] = {{kPlain, kPlain},        {kPlain, kOtherWriter}, {kOtherWriter, kOddFields},
                        {kOddFields, kPlain},    {kFalling, kPlain},     {kPlain, kFalling},
                        {kQfLast, kOtherWriter}, {kOtherWriter, kQfLast}};
  for (const Case& c : cases) {
    const std::string reference_text = Write(reference, c.reference_layout);
    SCOPED_TRACE(c.read_layout.per_field * 1000 + c.reference_layout.per_field);
    const Compared same = CompareTexts(Write(reference, c.read_layout), reference_text);
    ASSERT_EQ(same.status, 0);
    EXPECT_EQ(same.found.differences, 0u);
    EXPECT_EQ(same.found.listed, 0);

    const Compared flipped = CompareTexts(Write(read, c.read_layout), reference_text);
    ASSERT_EQ(flipped.status, 0);
    EXPECT_EQ(flipped.found.differences, flips.size());
    ASSERT_EQ(flipped.found.listed, static_cast<int>(flips.size()));
    for (std::size_t i = 0; i < flips.size(); ++i) {
      EXPECT_EQ(flipped.found.address[i], flips[i]);
      EXPECT_EQ(flipped.found.readValue[i], read[flips[i]] - '0');
    }
  }
}

TEST(JedecCompareByAddress, CountsEveryDifferenceAndListsTheFirstTwenty) {
  const std::vector<char> reference = MakeFuses(2);
  std::vector<char> read = reference;
  for (std::size_t at = 3; at < kFuses; at += 997) read[at] ^= 1;
  const Compared found = CompareTexts(Write(read, kOddFields), Write(reference, kOtherWriter));
  ASSERT_EQ(found.status, 0);
  EXPECT_EQ(found.found.differences, (kFuses - 3 + 996) / 997);
  ASSERT_EQ(found.found.listed, 20);
  EXPECT_EQ(found.found.address[19], 3u + 19 * 997);
}

// What the JEDEC reader makes of the files, for a record of their QF, is what is compared.
TEST(JedecCompareByAddress, AgreesWithTheReader) {
  const std::vector<char> reference = MakeFuses(3);
  std::vector<char> read = reference;
  read[600000] ^= 1;
  TempDir dir;
  // Fuses the read file leaves out take 1 (no F field), the reference's take F0.
  Layout unlisted = kOddFields;
  unlisted.with_checksum = false;
  std::string without_first = Write(read, unlisted);
  const std::size_t first_field = without_first.find("\nL") + 1;
  without_first.erase(first_field, without_first.find("\nL", first_field) + 1 - first_field);
  const std::string read_path = dir.Write("read.jed", without_first);
  const std::string ref_path = dir.Write("ref.jed", Write(reference, kPlain));
  JEDECAddressCompare found{};
  ASSERT_EQ(fnJEDFileCompareByAddress(read_path.c_str(), ref_path.c_str(), nullptr, &found), 0);

  std::vector<unsigned char> maps[2];
  for (int i = 0; i < 2; ++i) {
    DeviceInfo device;
    device.SetName("generic");
    device.SetFamily("generic");
    device.SetFuseNumber(kFuses);
    device.SetDataLength(kFuses);
    device.SetPhysicalUESLength(32);
    maps[i].resize(kFuses / 8 + 200);
    std::string path = i == 0 ? read_path : ref_path;
    ASSERT_EQ(fnJEDFileReader(path.data(), nullptr, nullptr, nullptr, nullptr, nullptr, &device,
                              2 * ((kFuses + 15) / 16), 0, nullptr, maps[i].data(), nullptr,
                              nullptr, nullptr, nullptr),
              0);
  }
  std::vector<std::size_t> differing;
  for (std::size_t n = 0; n < kFuses; ++n) {
    const unsigned mask = 0x80u >> (n % 8);
    if (((maps[0][n / 8] ^ maps[1][n / 8]) & mask) != 0) differing.push_back(n);
  }
  EXPECT_EQ(found.differences, differing.size());
  ASSERT_GE(differing.size(), 2u);  // the left-out field's zeros, and the flip
  for (int i = 0; i < found.listed; ++i) EXPECT_EQ(found.address[i], differing[i]);
}

TEST(JedecCompareByAddress, FilesThatCannotBeCompared) {
  const std::vector<char> fuses = MakeFuses(4);
  const std::string good = Write(fuses, kPlain);
  std::vector<char> shorter(fuses.begin(), fuses.end() - 8);
  std::string bad_sum = good;
  bad_sum.replace(bad_sum.find("\nC") + 2, 4, "0001");
  std::string syntax = Write(fuses, kOtherWriter);
  syntax.insert(syntax.rfind("L"), "L5 01x*\n");
  std::string no_qf = good;
  no_qf.erase(no_qf.find("QF"), no_qf.find('\n', no_qf.find("QF")) + 1 - no_qf.find("QF"));
  const std::string huge_qf = "\x02*\nQF900000000*\nF0*\nL0 1*\n\x03";
  struct Case {
    std::string read, reference;
    int status, faulty_file;
  };
  const Case cases[] = {
      {good, Write(shorter, kPlain), -2, 0},  // two different QF
      {Write(shorter, kPlain), good, -2, 0},
      {bad_sum, good, -14, 1},    // a C field that does not hold
      {good, syntax, 8195, 2},    // a syntax error late in the reference
      {good, no_qf, -2, 2},       // nothing tells the map's size
      {huge_qf, huge_qf, -2, 1},  // more fuses than a file of its size can list
      {good, "no STX here", -4, 2},
      {good.substr(0, good.size() / 2), good, -4, 1},  // ends inside the fuse list
  };
  for (const Case& c : cases) {
    const Compared found = CompareTexts(c.read, c.reference);
    EXPECT_EQ(found.status, c.status) << c.read.substr(0, 40) << " / " << c.reference.substr(0, 40);
    EXPECT_EQ(found.found.faultyFile, c.faulty_file) << c.status;
  }
  TempDir dir;
  const std::string path = dir.Write("good.jed", good);
  JEDECAddressCompare found{};
  EXPECT_EQ(fnJEDFileCompareByAddress(path.c_str(), dir.Path("none.jed").c_str(), nullptr, &found),
            -1);
  EXPECT_EQ(found.faultyFile, 2);
  EXPECT_EQ(fnJEDFileCompareByAddress(path.c_str(), path.c_str(), nullptr, nullptr), -6);

  // Digits at an address far past the fuse count are a syntax error, and are not written past
  // the device's buffer on their way there.
  DeviceInfo device;
  device.SetName("sixteen");
  device.SetFamily("generic");
  device.SetFuseNumber(16);
  device.SetDataLength(16);
  device.SetPhysicalUESLength(32);
  const std::string far =
      dir.Write("far.jed", "\x02*\nQF16*\nL8000 " + std::string(40, '1') + "*\n\x03");
  const std::string sixteen = dir.Write("sixteen.jed", "\x02*\nQF16*\nF0*\n\x03");
  EXPECT_EQ(fnJEDFileCompareByAddress(far.c_str(), sixteen.c_str(), &device, &found), 8195);
  EXPECT_EQ(found.faultyFile, 1);
  EXPECT_EQ(fnJEDFileCompareByAddress(far.c_str(), sixteen.c_str(), nullptr, &found), 8195);
}

// A file may count its C value over the fuses without the E field's length; a file with only F
// and QF has every fuse at its default.
TEST(JedecCompareByAddress, ChecksumsWithoutTheArchitectureBitsAndFilesWithoutAFuseList) {
  const std::string e_counted =
      "\x02*\nQF16*\nE1010*\nL0 1000000000000001*\nC0001*\n\x03";  // fuses 0-11 sum to 1
  const std::string listed = "\x02*\nQF16*\nL0 1000000000000001*\n\x03";
  Compared found = CompareTexts(e_counted, listed);
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.found.differences, 0u);
  found = CompareTexts("\x02*\nQF16*\nF1*\n\x03", "\x02*\nQF16*\nL0 1111111111111111*\n\x03");
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.found.differences, 0u);
  found = CompareTexts("\x02*\nQF16*\nF0*\n\x03", listed);
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.found.differences, 2u);
  EXPECT_EQ(found.found.address[1], 15u);
  EXPECT_EQ(found.found.readValue[1], 0);
}

}  // namespace
