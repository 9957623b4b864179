// JEDEC2ISC and the UES writer it uses.
#include <filesystem>
#include <list>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/jedec_builder.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::JedecBuilder;
using fusekit::testing::RandomFuses;
using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

DeviceInfo Device(const char* family, unsigned rows, unsigned width) {
  return fusekit::testing::TestDevice(family, rows, width);
}

int Convert(const std::string& jed, DeviceInfo& device, const std::string& isc,
            int usercode_from_crc, const std::string& work_dir) {
  std::string source = jed;
  std::string out = isc;
  char entity[] = "T";
  char option[] = "";
  return JEDEC2ISC(source.data(), &device, 1, "", work_dir.c_str(), option, "", entity, out.data(),
                   usercode_from_crc, "fusekit 0.1");
}

// The ISC file read back into data with the specified reader.
int ReadBack(const std::string& isc, DeviceInfo& device, SVFPlusData& data) {
  std::string name = isc;
  char empty[] = "";
  return ISC2SVFPlus(name.data(), &device, 1, &data, "", empty, "", empty,
                     static_cast<KvObjList*>(nullptr), nullptr, nullptr);
}

TEST(JedecToIsc, WritesTheCommentBlockAndAReadableFile) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 4, 16);
  JedecBuilder b;
  b.fuses = RandomFuses(64, 3);
  b.notes = {"NOTE from the fitter"};
  b.extra_fields = "UH0000BEEF*";
  const std::string jed = dir.Write("design.jed", b.Build());
  const std::string isc = dir.Path("design.isc");
  const int checksum = Convert(jed, device, isc, 0, dir.Path(""));
  ASSERT_GE(checksum, 0);
  const std::string text = ReadFile(isc);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", checksum);
  EXPECT_EQ(text.substr(text.size() - 4), digits);
  char c_field[8];
  std::snprintf(c_field, sizeof c_field, "%.4X", fusekit::testing::JedecFuseChecksum(b.fuses));
  EXPECT_EQ(text.rfind("-- CREATED BY: Corvane Semiconductor fusekit 0.1\n-- DEVICE NAME: T-PON\n"
                       "-- TOTAL_FUSES = 64\n-- DATA_CRC = ",
                       0),
            0u)
      << text;
  EXPECT_NE(text.find("-- JEDEC_FILENAME = " + jed + "\n-- JEDEC_CHECKSUM = 0x" + c_field +
                      "\n--\n-- fusekit test design\n-- NOTE from the fitter\n"),
            std::string::npos)
      << text;
  SVFPlusData back;
  ASSERT_EQ(ReadBack(isc, device, back), 1);
  EXPECT_EQ(back.GetDataField("FuseArray_TDI")->GetRowCount(), 4);
}

TEST(JedecToIsc, OmbrelConfigurationRows) {
  // Five configuration rows of 16 bits in an 80-bit architecture row: five programmed, three
  // verified (groups 1, 2 and 4).
  TempDir dir;
  DeviceInfo device = Device("CorvaneOmbrel", 2, 16);
  device.SetARCHLength(80);
  device.SetARCHRow(16);
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(32, 4);
  b.extra_fields = "E" + std::string(80, '1') + "*";
  const std::string isc = dir.Path("o.isc");
  ASSERT_GE(Convert(dir.Write("o.jed", b.Build()), device, isc, 0, dir.Path("")), 0);
  const std::string text = ReadFile(isc);
  EXPECT_NE(text.find(" data cfg_pgm (\n  repeat    \n-- ROW_WIDTH = 16\n-- COLUMN_WIDTH = 5\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find(" data cfg_vfy (\n  initialize  \n-- ROW_WIDTH = 16\n-- COLUMN_WIDTH = 3\n"),
            std::string::npos);
  EXPECT_EQ(text.find("data padring"), std::string::npos);  // the architecture field is replaced
}

// The text between key and the next line feed.
std::string ValueAfter(const std::string& text, const std::string& key) {
  const std::size_t at = text.find(key);
  if (at == std::string::npos) return "";
  const std::size_t start = at + key.size();
  return text.substr(start, text.find('\n', start) - start);
}

TEST(JedecToIsc, DirectSpiArchitectureRowsEndTheArrayBlockAndItsCrc) {
  // Devices that keep "ArchArray_TDI": the array block ends with the architecture rows as its
  // terminate part, and its data_CRC, covering both, is the DATA_CRC of the comment block.
  TempDir dir;
  const struct {
    const char* family;
    unsigned short arch_row;
  } devices[] = {{"CorvaneTorvik4", 1}, {"CorvaneOmbrel", 0}};
  for (const auto& d : devices) {
    SCOPED_TRACE(d.family);
    DeviceInfo device = Device(d.family, 4, 16);
    device.SetARCHLength(16);
    device.SetARCHRow(d.arch_row);
    device.SaveDeviceBackupValue();
    JedecBuilder b;
    b.fuses = RandomFuses(64, 9);
    b.extra_fields = "E0110100111000101*";
    const std::string isc = dir.Path("arch.isc");
    ASSERT_GE(Convert(dir.Write("arch.jed", b.Build()), device, isc, 0, dir.Path("")), 0);
    const std::string text = ReadFile(isc);
    EXPECT_NE(text.find("  terminate    \n-- ROW_WIDTH = 16\n-- COLUMN_WIDTH = 1\n   (\n"),
              std::string::npos)
        << text;
    const std::string stated = ValueAfter(text, "-- DATA_CRC = ");
    EXPECT_EQ(stated.size(), 8u);
    EXPECT_EQ(ValueAfter(text, "  data_CRC (\n   "), stated) << text;
    SVFPlusData back;
    EXPECT_GE(ReadBack(isc, device, back), 0);
  }
}

TEST(JedecToIsc, NotesOverSeveralLinesAndLongNotesReadBack) {
  // Fitters write notes that span lines ("NOTE" alone, its values on the next line) and notes
  // far longer than an ISC reader's line: the file JEDEC2ISC writes reads back whole.
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 4, 16);
  JedecBuilder b;
  b.fuses = RandomFuses(64, 11);
  b.eol = "\r\n";
  b.notes = {"NOTE\r\n0    0   0 ", "NOTE PINS a:1 (b,c)\r\n  d:2 ) e:3",
             "NOTE " + std::string(3000, 'n')};
  const std::string isc = dir.Path("notes.isc");
  ASSERT_GE(Convert(dir.Write("notes.jed", b.Build()), device, isc, 0, dir.Path("")), 0);
  const std::string text = ReadFile(isc);
  EXPECT_NE(text.find("-- NOTE\n-- 0    0   0 \n-- NOTE PINS a:1 (b,c)\n--   d:2 ) e:3\n"),
            std::string::npos)
      << text.substr(0, 600);
  SVFPlusData back;
  EXPECT_EQ(ReadBack(isc, device, back), 1);
  ASSERT_NE(back.GetDataField("FuseArray_TDI"), nullptr);
  EXPECT_EQ(back.GetDataField("FuseArray_TDI")->GetRowCount(), 4);
}

TEST(JedecToIsc, HelvarUsercodeRewriteLeavesItsCopy) {
  TempDir dir;
  DeviceInfo device = Device("Grend", 4, 12);
  device.SetVendor("Helvar");
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(48, 5);
  b.extra_fields = "UH00000000*";
  const std::string isc = dir.Path("h.isc");
  ASSERT_GE(Convert(dir.Write("h.jed", b.Build()), device, isc, 1, dir.Path("")), 0);
  const std::string copy = dir.Path("CRCTemp.jed");
  ASSERT_TRUE(std::filesystem::exists(copy));
  // The copy's usercode is the read-back CRC, which is also the ISC file's usercode.
  char usercode[64];
  std::string copy_name = copy;
  ASSERT_EQ(ReadUESInfo(copy_name.data(), &device, 1, usercode), 0);
  EXPECT_NE(ReadFile(isc).find("-- DATA_CRC = " + std::string(usercode) + "\n"), std::string::npos);
}

TEST(UesWriter, ReplacesOrAddsTheUsercode) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 2, 8);
  JedecBuilder b;
  b.fuses = RandomFuses(16, 6);
  b.extra_fields = "UH11223344*\n";
  const std::string with_u = dir.Write("u.jed", b.Build());
  char old_usercode[256];
  ASSERT_EQ(WriteUESInfo(with_u.c_str(), dir.Path("u2.jed").c_str(), &device, 1, "aa bb cc dd",
                         old_usercode),
            0);
  EXPECT_STREQ(old_usercode, "H11223344");
  std::string copy = dir.Path("u2.jed");
  char text[16];
  ASSERT_EQ(ReadUESInfo(copy.data(), &device, 1, text), 0);
  EXPECT_STREQ(text, "AABBCCDD");
  unsigned short computed = 0;
  unsigned short stored = 0;
  EXPECT_EQ(ValidTransmissionChecksum(copy.data(), &computed, &stored), 1);
  EXPECT_NE(stored, 0);

  b.extra_fields = "";
  const std::string without_u = dir.Write("n.jed", b.Build());
  ASSERT_EQ(
      WriteUESInfo(without_u.c_str(), dir.Path("n2.jed").c_str(), &device, 1, "CAFEF00D", nullptr),
      0);
  copy = dir.Path("n2.jed");
  ASSERT_EQ(ReadUESInfo(copy.data(), &device, 1, text), 0);
  EXPECT_STREQ(text, "CAFEF00D");
  EXPECT_EQ(ValidTransmissionChecksum(copy.data(), &computed, &stored), 1);
  EXPECT_EQ(VerifyJEDECfile(copy.data(), &device, 1), 0);  // fuses and C field untouched

  EXPECT_EQ(WriteUESInfo(without_u.c_str(), dir.Path("x.jed").c_str(), &device, 1, "12G4", nullptr),
            -7);
  EXPECT_EQ(WriteUESInfo(dir.Path("missing.jed").c_str(), dir.Path("x.jed").c_str(), &device, 1,
                         "12", nullptr),
            -1);
  EXPECT_EQ(WriteUESInfo(without_u.c_str(), dir.Path("x.jed").c_str(), nullptr, 1, "12", nullptr),
            -6);
}

}  // namespace
