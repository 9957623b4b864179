// The validators and the programming-data compare: the checksum a host shows is the C field of
// the JEDEC file the writer makes; patterns are checked over each row's width only; the Vandi
// CRC of an image is that of the bytes its converter gives; two reads of one device compare
// equal and one flipped bit is found and located.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/jedec_builder.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

void AddRows(SVFPlusData& data, const char* name, int rows, unsigned width, unsigned seed) {
  SVFDataField* field = data.AddDataField();
  field->SetFieldName(name);
  for (int r = 0; r < rows; ++r) {
    KvByteBuffer* row = field->AddRow(width);
    for (unsigned i = 0; i < (width + 7) / 8; ++i)
      row->WriteData(
          static_cast<unsigned char>((seed * 131 + static_cast<unsigned>(r) * 29 + i * 7) & 0xFF));
  }
}

// The C field of a JEDEC file ("C1234*").
unsigned CField(const std::string& text) {
  const std::size_t at = text.find("\nC");
  unsigned value = 0;
  if (at != std::string::npos) std::sscanf(text.c_str() + at + 2, "%4x", &value);
  return value;
}

TEST(DataChecksum, IsTheCFieldOfTheJedecFileTheWriterMakes) {
  TempDir dir;
  for (const unsigned width : {8u, 20u, 128u}) {
    SCOPED_TRACE(width);
    DeviceInfo device = fusekit::testing::TestDevice("TestFamily", 6, width);
    device.SaveDeviceBackupValue();
    SVFPlusData data;
    AddRows(data, "FuseArray_TDI", 6, width, width);
    const std::string path = dir.Path("d.jed");
    ASSERT_GE(SVFPlus2JEDEC(&data, &device, 1, path.c_str(), nullptr), 0);
    const int shown = SVFPlus2CheckSum(&data, &device, 1);
    EXPECT_EQ(static_cast<unsigned>(shown), CField(ReadFile(path)));
    EXPECT_EQ(ValidDataChecksum(&data, &device, 1, static_cast<unsigned>(shown)), 1);
    EXPECT_EQ(ValidDataChecksum(&data, &device, 1, static_cast<unsigned>(shown) ^ 1u), 0);
  }
  // Worked value: sixteen fuses all 1 are the bytes FF FF, whose sum is 01FE.
  DeviceInfo two = fusekit::testing::TestDevice("TestFamily", 2, 8);
  two.SaveDeviceBackupValue();
  SVFPlusData ones;
  SVFDataField* field = ones.AddDataField();
  field->SetFieldName("FuseArray_TDI");
  for (int r = 0; r < 2; ++r) field->AddRow(8)->WriteData(0xFF);
  EXPECT_EQ(SVFPlus2CheckSum(&ones, &two, 1), 0x01FE);
  // Data of another shape (a bitstream's single row) gives the sum of its bytes.
  SVFPlusData stream;
  SVFDataField* row = stream.AddDataField();
  row->SetFieldName("FuseArray_TDI");
  for (unsigned char b : {0x10, 0x20, 0xF0}) row->AddRow(8)->WriteData(b);
  EXPECT_EQ(SVFPlus2CheckSum(&stream, &two, 1), 0x0120);
  SVFPlusData empty;
  EXPECT_EQ(SVFPlus2CheckSum(&empty, &two, 1), -1000);
  EXPECT_EQ(SVFPlus2CheckSum(nullptr, &two, 1), -100);
}

TEST(DataPattern, RowsAreCheckedOverTheirWidthOnly) {
  SVFPlusData data;
  SVFDataField* field = data.AddDataField();
  field->SetFieldName("FuseArray_TDI");
  // Rows of 20 bits: the first byte's top four bits are padding, set here to garbage.
  for (int r = 0; r < 3; ++r) {
    KvByteBuffer* row = field->AddRow(20);
    for (unsigned char b : {0x9F, 0xFF, 0xFF}) row->WriteData(b);
  }
  unsigned long first = 99;
  EXPECT_EQ(ValidDataPattern(&data, "FuseArray_TDI", 0xFF, &first), 1);
  EXPECT_EQ(ValidDataPattern(&data, "FuseArray_TDI", 0x00, &first), 0);
  EXPECT_EQ(first, 0u);
  // Row 2, column 7 (bit 7 from the end of the row) cleared: the first difference is 20 + 7.
  field->GetRow(2)->WriteData(2, 0x7F);
  EXPECT_EQ(ValidDataPattern(&data, "FuseArray_TDI", 0xFF, &first), 0);
  EXPECT_EQ(first, 27u);
  const struct {
    const char* name;
    int pattern;
    int result;
  } statuses[] = {{"Usercode_TDI", 0xFF, -1000},
                  {"FuseArray_TDI", 256, -8},
                  {"FuseArray_TDI", -1, -8},
                  {nullptr, 0xFF, -6}};
  for (const auto& s : statuses)
    EXPECT_EQ(ValidDataPattern(&data, s.name, s.pattern, nullptr), s.result);
}

TEST(VandiCrc, IsTheCrcOfTheBytesTheImageConvertsTo) {
  TempDir dir;
  const std::string hex = dir.Write("image.hex",
                                    ":0400000012345678E8\n"
                                    ":0400100000FF01FEEE\n"
                                    ":00000001FF\n");
  std::string hex_name = hex;
  std::string bin_name = dir.Path("direct.bin");
  unsigned start = 0;
  ASSERT_EQ(HEX2BIN(hex_name.data(), &start, bin_name.data(), 0x10000), 0);
  const std::string converted = ReadFile(bin_name);
  const unsigned short expected =
      GetVandi_CRC16(std::vector<unsigned char>(converted.begin(), converted.end()));
  unsigned short computed = 0;
  EXPECT_EQ(ValidVandiDataCRC(hex.c_str(), dir.Path("").c_str(), expected, &computed), 1);
  EXPECT_EQ(computed, expected);
  EXPECT_EQ(ValidVandiDataCRC(hex.c_str(), dir.Path("").c_str(), expected ^ 1u, nullptr), 0);
  EXPECT_FALSE(std::ifstream(dir.Path("tmpBitstream.bit")).good()) << "the temporary file stays";
  // A binary image is taken as its bytes: "123456789" has the worked CRC 5118.
  const std::string bin = dir.Write("digits.bin", "123456789");
  EXPECT_EQ(ValidVandiDataCRC(bin.c_str(), dir.Path("").c_str(), 0x5118, &computed), 1);
  EXPECT_EQ(ValidVandiDataCRC(dir.Path("none.hex").c_str(), dir.Path("").c_str(), 0, nullptr), -2);
  EXPECT_EQ(ValidVandiDataCRC(nullptr, nullptr, 0, nullptr), -6);
}

TEST(DataCompare, FieldsRowsAndMasks) {
  TempDir dir;
  const std::string report = dir.Path("report.txt");
  SVFPlusData reference;
  AddRows(reference, "FuseArray_TDI", 4, 20, 1);
  AddRows(reference, "Usercode_TDI", 1, 32, 2);
  AddRows(reference, "ID", 1, 32, 3);
  SVFPlusData read;
  AddRows(read, "FuseArray_TDI", 4, 20, 1);
  AddRows(read, "Usercode_TDI", 1, 32, 2);
  AddRows(read, "ID", 1, 32, 9);  // made from a record, never compared
  EXPECT_EQ(SVFPlusDataCompare(&read, &reference, report.c_str()), 0) << ReadFile(report);

  KvByteBuffer* row = read.GetDataField("FuseArray_TDI")->GetRow(3);
  row->WriteData(2, static_cast<unsigned char>(row->ReadData(2) ^ 0x01));  // column 0
  EXPECT_EQ(SVFPlusDataCompare(&read, &reference, report.c_str()), 1);
  EXPECT_NE(ReadFile(report).find("FuseArray_TDI: 4 rows\n  row 3: 0"), std::string::npos)
      << ReadFile(report);
  // A mask whose column 0 is 0 leaves the bit out.
  SVFDataField* mask = reference.AddDataField();
  mask->SetFieldName("FuseArray_MASK");
  for (int r = 0; r < 4; ++r) {
    KvByteBuffer* m = mask->AddRow(20);
    for (unsigned char b : {0xFF, 0xFF, 0xFE}) m->WriteData(b);
  }
  EXPECT_EQ(SVFPlusDataCompare(&read, &reference, report.c_str()), 0) << ReadFile(report);

  read.SetSecurity(1);
  EXPECT_EQ(SVFPlusDataCompare(&read, &reference, report.c_str()), 1);
  SVFPlusData narrow;
  AddRows(narrow, "FuseArray_TDI", 4, 16, 1);
  EXPECT_EQ(SVFPlusDataCompare(&narrow, &reference, report.c_str()), -2);
  EXPECT_NE(ReadFile(report).find("row 1 has 16 bits in the read data and 20 in the reference"),
            std::string::npos);
  EXPECT_EQ(SVFPlusDataCompare(&read, nullptr, report.c_str()), -6);
}

}  // namespace
