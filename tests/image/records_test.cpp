// The record converters: hand-made files of each format with the bytes they must give.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

enum class Format { kIntel, kMotorola, kTektronix };

struct Converted {
  int result;
  unsigned int start;
  std::string bytes;
};

Converted Convert(const TempDir& dir, Format format, const std::string& text, int alignment = 1,
                  bool with_start = true) {
  std::string in = dir.Write("in.txt", text);
  std::string out = dir.Path("out.bin");
  std::remove(out.c_str());
  Converted c{0, 0xDEADBEEF, ""};
  unsigned int* start = with_start ? &c.start : nullptr;
  c.result = format == Format::kIntel      ? HEX2BIN(in.data(), start, out.data(), alignment)
             : format == Format::kMotorola ? MOT2BIN(in.data(), start, out.data(), alignment)
                                           : TEKHEX2BIN(in.data(), start, out.data(), alignment);
  c.bytes = ReadFile(out);
  return c;
}

std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (int v : values) bytes += static_cast<char>(v);
  return bytes;
}

TEST(HexConverters, WorkedCases) {
  const struct {
    const char* what;
    Format format;
    std::string text;
    int result;
    unsigned int start;
    std::string bytes;
  } cases[] = {
      // Every byte is stored mirrored: 0x01 becomes 0x80, 0xF0 becomes 0x0F.
      {"Intel, two records and a gap", Format::kIntel,
       ":0200000001F00D\n:01000400AA51\n:00000001FF\n", 0, 0,
       Bytes({0x80, 0x0F, 0xFF, 0xFF, 0x55})},
      {"Intel, CR LF and lower-case digits", Format::kIntel, ":0200000001f00d\r\n:00000001ff\r\n",
       0, 0, Bytes({0x80, 0x0F})},
      {"Intel, extended linear address", Format::kIntel,
       ":020000040001F9\n:0200100001F0FD\n:00000001FF\n", 0, 0x10010, Bytes({0x80, 0x0F})},
      {"Intel, extended segment address: base x 16", Format::kIntel,
       ":020000021000EC\n:0100050001F9\n", 0, 0x10005, Bytes({0x80})},
      {"Intel, the first extended record fixes the mode", Format::kIntel,
       ":020000040001F9\n:02000002FFFFFE\n:0100000001FE\n", 0, 0x10000, Bytes({0x80})},
      {"Intel, a bad checksum still writes the file", Format::kIntel, ":0200000001F00E\n", -1, 0,
       Bytes({0x80, 0x0F})},
      {"Intel, a byte count the line does not hold", Format::kIntel,
       ":0400000001F00D\n:0100020002FB\n", -1, 2, Bytes({0x40})},
      {"Intel, the first pass stops at a line that begins with a blank", Format::kIntel,
       ":0100000001FE\n one\n:0100100002ED\n:0100050003F7\n", 0, 0,
       Bytes({0x80, 0xFF, 0xFF, 0xFF, 0xFF, 0xC0})},
      {"Intel, the second pass stops at another line", Format::kIntel,
       ":0100000001FE\nX\n:0100010002FC\n", 0, 0, Bytes({0x80})},
      {"Intel, no data record: an empty file", Format::kIntel, ":00000001FF\n", 0, 0, ""},
      {"Motorola S1, S2 and S3", Format::kMotorola,
       "S00600004844521B\nS1050000A55AFB\nS2060000020201F4\nS3080000000403F001FF\nS9030000FC\n", 0,
       0, Bytes({0xA5, 0x5A, 0x40, 0x80, 0xC0, 0x0F, 0x80})},
      {"Motorola, lower-case s and a bad checksum", Format::kMotorola, "s1050000A55AFA\n", -1, 0,
       Bytes({0xA5, 0x5A})},
      {"Motorola, a count too small for the address", Format::kMotorola, "S1020000FD\n", -1, 0, ""},
      {"Tektronix, type 6 data", Format::kTektronix, "%1262280000010001F0\n", 0, 0x100,
       Bytes({0x80, 0x0F})},
      {"Tektronix, lower-case digits count 40 to 45", Format::kTektronix, "%1268F800000100aaf0\n",
       0, 0x100, Bytes({0x55, 0x0F})},
      {"Tektronix, a bad checksum", Format::kTektronix, "%1262380000010001F0\n", -1, 0x100,
       Bytes({0x80, 0x0F})},
      {"Tektronix, an address length other than 8", Format::kTektronix, "%1262270000010001F0\n", -1,
       0xDEADBEEF, ""},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const Converted got = Convert(dir, c.format, c.text);
    EXPECT_EQ(got.result, c.result) << c.what;
    EXPECT_EQ(got.start, c.start) << c.what;
    EXPECT_EQ(got.bytes, c.bytes) << c.what;
  }
}

TEST(HexConverters, AlignmentOfTheStartAddress) {
  TempDir dir;
  // Data at 0x12345 with alignment 0x10000: the file starts at 0x10000 with 0x2345 bytes of 0xFF.
  const Converted got =
      Convert(dir, Format::kIntel, ":020000040001F9\n:01234500F0A7\n:00000001FF\n", 0x10000);
  ASSERT_EQ(got.result, 0);
  EXPECT_EQ(got.start, 0x10000u);
  EXPECT_EQ(got.bytes, std::string(0x2345, '\xFF') + "\x0F");
  // Without a start address nothing is rounded.
  const Converted plain = Convert(dir, Format::kIntel, ":01234500F0A7\n", 0x10000, false);
  EXPECT_EQ(plain.bytes, "\x0F");
}

// An image of a few bytes at the top of the 32-bit space converts without a buffer up to its
// address: what is held follows the data.
TEST(HexConverters, HighAddressesAndLongLines) {
  TempDir dir;
  const Converted top = Convert(dir, Format::kIntel, ":02000004FFFFFC\n:02FFF00001F01E\n");
  EXPECT_EQ(top.result, 0);
  EXPECT_EQ(top.start, 0xFFFFFFF0u);
  EXPECT_EQ(top.bytes, Bytes({0x80, 0x0F}));
  // A record across 2^32 is placed past it.
  const Converted across = Convert(dir, Format::kIntel, ":02000004FFFFFC\n:02FFFF0001F00F\n");
  EXPECT_EQ(across.result, 0);
  EXPECT_EQ(across.bytes, Bytes({0x80, 0x0F}));
  const Converted s3 = Convert(dir, Format::kMotorola, "S307FFFFFFF001F01A\n");
  EXPECT_EQ(s3.start, 0xFFFFFFF0u);
  EXPECT_EQ(s3.bytes, Bytes({0x80, 0x0F}));
  // A line longer than 1023 characters is read in pieces; the second piece is not a record and
  // ends the conversion.
  const std::string long_record = ":0100000001FE" + std::string(1100, '0') + "\n:0100010002FC\n";
  const Converted pieces = Convert(dir, Format::kIntel, long_record);
  EXPECT_EQ(pieces.result, 0);
  EXPECT_EQ(pieces.bytes, Bytes({0x80}));
}

TEST(HexConverters, FailuresAndRawHex) {
  TempDir dir;
  std::string missing = dir.Path("missing.hex");
  std::string out = dir.Path("out.bin");
  unsigned int start = 0;
  EXPECT_EQ(HEX2BIN(missing.data(), &start, out.data(), 1), -1);
  EXPECT_EQ(MOT2BIN(nullptr, &start, out.data(), 1), -1);
  std::string in = dir.Write("in.s19", "S1050000A55AFB\n");
  std::string no_folder = dir.Path("no/such/out.bin");
  EXPECT_EQ(MOT2BIN(in.data(), &start, no_folder.data(), 1), -1);
  EXPECT_EQ(MOT2BIN(in.data(), &start, nullptr, 1), -1);
  // A file that does not begin with ':' is raw hex digit pairs: no mirroring.
  std::string raw = dir.Write("raw.hex", "A5 5A\r\n01\nF");
  start = 77;
  EXPECT_EQ(HEX2BIN(raw.data(), &start, out.data(), 1), 0);
  EXPECT_EQ(ReadFile(out), Bytes({0xA5, 0x5A, 0x01}));
  EXPECT_EQ(start, 77u);
  EXPECT_EQ(CheckValidIntelHexFile(raw.data()), -1);
  std::string intel = dir.Write("i.hex", ":00000001FF\n");
  EXPECT_EQ(CheckValidIntelHexFile(intel.data()), 0);
  EXPECT_EQ(CheckValidIntelHexFile(nullptr), -1);
}

TEST(ImageFiles, ClassifiedByEnding) {
  const struct {
    const char* name;
    int kind;
  } cases[] = {
      {"a.mcs", 0},   {"a.MCS", 0},  {"a.hex", 0},      {"a.HEX", 0}, {"a.exo", 1},  {"a.EXO", 1},
      {"a.xtek", 2},  {"a.XTEK", 2}, {"a.bin", 3},      {"a.BIN", 3}, {"a.bit", -1}, {"a.HeX", -1},
      {"a.srec", -1}, {"hex", -1},   {"a.hex.bak", -1}, {"", -1},
  };
  for (const auto& c : cases) EXPECT_EQ(IsITELAndMOTFile(c.name), c.kind) << c.name;
  EXPECT_EQ(IsITELAndMOTFile(nullptr), -1);
}

TEST(ImageFiles, RawHexNumbers) {
  TempDir dir;
  std::string path = dir.Write("n.txt", "1f 2 3A4\n  ff");
  std::FILE* file = std::fopen(path.c_str(), "r");
  std::vector<unsigned char> bytes(5, 0xEE);
  unsigned char* buffer = bytes.data();
  unsigned int read = 99;
  EXPECT_EQ(hex_parse_raw_hex(file, &buffer, 5, &read), 1);
  EXPECT_EQ(read, 5u);
  EXPECT_EQ(bytes, (std::vector<unsigned char>{0x1F, 0x02, 0xA4, 0xFF, 0xEE}));
  std::fclose(file);
  path = dir.Write("i.txt", ":10");
  file = std::fopen(path.c_str(), "r");
  EXPECT_EQ(hex_parse_raw_hex(file, &buffer, 5, &read), -1);
  EXPECT_EQ(read, 0u);
  std::fclose(file);
}

TEST(ImageSummary, RecordsRangesAndBadLines) {
  TempDir dir;
  const std::string path = dir.Write(
      "s.hex", ":020000040001F9\n:0200100001F0FD\n:0200120001F0FC\n:00000001FF\n:0100000001FF\n");
  ImageSummary s;
  ASSERT_EQ(GetImageSummary(path.c_str(), &s), 0);
  EXPECT_EQ(s.format, "Intel hex");
  ASSERT_EQ(s.records.size(), 3u);
  EXPECT_EQ(s.records[0].kind, "extended linear address (04)");
  EXPECT_EQ(s.records[1].kind, "data (00)");
  EXPECT_EQ(s.records[1].count, 3u);
  EXPECT_EQ(s.records[1].badChecksum, 2u);
  EXPECT_EQ(s.lowestAddress, 0x10010u);
  EXPECT_EQ(s.highestAddress, 0x10011u);
  EXPECT_EQ(s.badLines, (std::vector<unsigned long>{3, 5}));
  const std::string text = dir.Write("t.txt", "A5 5A 01");
  ASSERT_EQ(GetImageSummary(text.c_str(), &s), 0);
  EXPECT_EQ(s.format, "raw hex text");
  EXPECT_EQ(s.dataBytes, 3u);
  EXPECT_EQ(GetImageSummary(dir.Path("none").c_str(), &s), -1);
  EXPECT_EQ(GetImageSummary(text.c_str(), nullptr), -6);
}

}  // namespace
