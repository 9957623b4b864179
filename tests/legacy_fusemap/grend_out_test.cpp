// GREND_OUT: the JEDEC file of a row file, its result codes, and the file read back.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "support/legacy_fusemap/grend.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

int ConvertRows(const TempDir& dir, const std::string& rows, const char* mode = "r",
                const std::string& jedec = "out.jed") {
  const std::string row_file = dir.Write("rows.tdo", rows);
  return GREND_OUT(row_file.c_str(), mode, dir.Path(jedec).c_str(), dir.Path("result.txt").c_str(),
                   "", dir.Path("").c_str(), "");
}

TEST(GrendOut, WritesTheJedecFileOfTheRows) {
  TempDir dir;
  ASSERT_EQ(ConvertRows(dir, "\n\t0\n10110\n\t1\n01001\n\t-1\n10100101\n\t-2\n11\n"), 0);
  // Fuses 1011001001: byte 0 holds fuses 0 to 7 from its low bit up, 0x4D; byte 1 holds 0x02.
  const std::string body =
      "\x02Grend fuse map built from read-back rows*\n"
      "QF10*\nF0*\n"
      "L000000 10110*\n"
      "L000005 01001*\n"
      "U10100101*\n"
      "E11*\n"
      "C004F*\n"
      "\x03";
  unsigned sum = 0;
  for (unsigned char c : body) sum += c;
  char trailer[8];
  std::snprintf(trailer, sizeof trailer, "%04X\n", sum & 0xFFFF);
  EXPECT_EQ(ReadFile(dir.Path("out.jed")), body + trailer);
  EXPECT_EQ(ReadFile(dir.Path("result.txt")), "0 OK\n");
  std::string name = dir.Path("out.jed");
  unsigned short computed = 0, stored = 0;
  EXPECT_EQ(ValidTransmissionChecksum(name.data(), &computed, &stored), 1);
  // "p" (rows to program) gives the same file.
  const std::string read_back = ReadFile(dir.Path("out.jed"));
  ASSERT_EQ(ConvertRows(dir, "\n\t0\n10110\n\t1\n01001\n\t-1\n10100101\n\t-2\n11\n", "p"), 0);
  EXPECT_EQ(ReadFile(dir.Path("out.jed")), read_back);
}

TEST(GrendOut, ResultCodes) {
  const struct {
    const char* what;
    std::string rows;
    const char* mode;
    const char* jedec;
    int result;
  } cases[] = {
      {"not a row file", "\n\t0\n10x1\n", "r", "out.jed", kGrendOutBadRowFile},
      {"index that is not a number", "\n\tzero\n1011\n", "r", "out.jed", kGrendOutBadRowFile},
      {"unknown mode", "\n\t0\n1011\n", "w", "out.jed", kGrendOutBadMode},
      {"no mode", "\n\t0\n1011\n", nullptr, "out.jed", kGrendOutBadMode},
      {"no rows at all", "", "r", "out.jed", kGrendOutMissingRows},
      {"only a usercode", "\n\t-1\n1011\n", "r", "out.jed", kGrendOutMissingRows},
      {"row 0 missing", "\n\t1\n1011\n", "r", "out.jed", kGrendOutMissingRows},
      {"a gap", "\n\t0\n1011\n\t2\n1011\n", "r", "out.jed", kGrendOutMissingRows},
      {"rows of two widths", "\n\t0\n1011\n\t1\n101\n", "r", "out.jed", kGrendOutBadWidth},
      {"an empty row", "\n\t0\n", "r", "out.jed", kGrendOutBadWidth},
      {"an empty usercode", "\n\t0\n1011\n\t-1\n", "r", "out.jed", kGrendOutBadUsercode},
      {"a usercode of 4097 bits", "\n\t0\n1\n\t-1\n" + std::string(4097, '1'), "r", "out.jed",
       kGrendOutBadUsercode},
      {"the JEDEC folder is missing", "\n\t0\n1011\n", "r", "no/such/out.jed",
       kGrendOutCannotWrite},
  };
  TempDir dir;
  for (const auto& c : cases) {
    EXPECT_EQ(ConvertRows(dir, c.rows, c.mode, c.jedec), c.result) << c.what;
    EXPECT_EQ(std::stoi(ReadFile(dir.Path("result.txt"))), c.result) << c.what;
    EXPECT_FALSE(std::filesystem::exists(dir.Path("no/such/out.jed")));
  }
  EXPECT_EQ(GREND_OUT(dir.Path("missing.tdo").c_str(), "r", dir.Path("out.jed").c_str(), nullptr,
                      nullptr, nullptr, nullptr),
            kGrendOutCannotReadRows);
  EXPECT_EQ(
      GREND_OUT(nullptr, "r", dir.Path("out.jed").c_str(), nullptr, nullptr, nullptr, nullptr),
      kGrendOutCannotReadRows);
}

// The file GREND_OUT writes is what the JEDEC conversion of the Grend devices reads: the rows
// and the usercode come back unchanged.
TEST(GrendOut, JedecConversionReadsTheRowsBack) {
  TempDir dir;
  DeviceInfo device = fusekit::testing::TestDevice("Grend", 3, 10);
  device.SetVendor("Helvar");
  device.SaveDeviceBackupValue();
  const std::vector<std::string> rows = {"1000000001", "0110100111", "0000011111"};
  std::string text;
  for (std::size_t a = 0; a < rows.size(); ++a) text += "\n\t" + std::to_string(a) + "\n" + rows[a];
  text += "\n\t-1\n11001010111111100000000100100011";
  ASSERT_EQ(ConvertRows(dir, text), 0);
  std::string name = dir.Path("out.jed");
  SVFPlusData data;
  ASSERT_EQ(JEDEC2SVFPlus(name.data(), &device, 1, &data, "", dir.Path("").c_str(), "", ""), 0);
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  ASSERT_NE(array, nullptr);
  ASSERT_EQ(array->GetRowCount(), 3);
  for (int r = 0; r < 3; ++r) {
    // Column c is row position 6 + 9 - c: the bits read backward after six spare ones.
    const KvByteBuffer* row = array->GetRow(r + 1);
    std::string columns;
    for (int c = 0; c < 10; ++c) {
      const int p = 6 + 9 - c;
      columns += ((row->GetBuffer()[p / 8] >> (7 - p % 8)) & 1) ? '1' : '0';
    }
    EXPECT_EQ(columns, rows[r]) << "row " << r;
  }
  const KvByteBuffer* usercode = data.GetDataField("Usercode_TDI")->GetRow(1);
  EXPECT_EQ(std::vector<unsigned char>(usercode->GetBuffer(), usercode->GetBuffer() + 4),
            (std::vector<unsigned char>{0xCA, 0xFE, 0x01, 0x23}));
}

}  // namespace
