// The field extractors: hex texts, the usercode's two bit orders and mask, and the fuse dump.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

void AddField(SVFPlusData& data, const char* name, unsigned width, const std::vector<Bytes>& rows) {
  SVFDataField* field = data.AddDataField();
  field->SetFieldName(name);
  for (const Bytes& bytes : rows) {
    KvByteBuffer* row = field->AddRow(width);
    for (std::uint8_t b : bytes) row->WriteData(b);
  }
}

TEST(Extractors, HexTextOfFirstRows) {
  SVFPlusData data;
  AddField(data, "ID", 32, {{0x01, 0x2B, 0x20, 0x43}, {0xFF}});
  AddField(data, "DONE_BIT", 0, {{}});
  AddField(data, "Control_Register_0_TDI", 32, {{0, 0, 0, 1}});
  AddField(data, "Control_Register_1_TDI", 32, {{0, 0, 0, 2}});
  AddField(data, "UserMode_Register_TDI", 8, {{0xAB}});
  char out[32] = "untouched";
  EXPECT_EQ(SVFPlus2ID(&data, out), 1);
  EXPECT_STREQ(out, "012B2043");  // the first row only
  EXPECT_EQ(SVFPlus2DONEBit(&data, out), 1);
  EXPECT_STREQ(out, "");  // a row without bytes
  const struct {
    int which;
    const char* text;
  } controls[] = {{0, "00000001"}, {1, "00000002"}, {2, "00000002"}, {3, "AB"}, {-5, "00000002"}};
  for (const auto& c : controls) {
    EXPECT_EQ(SVFPlus2CONTROL(&data, out, c.which), 1);
    EXPECT_STREQ(out, c.text) << c.which;
  }
  std::strcpy(out, "untouched");
  EXPECT_EQ(SVFPlus2CONFIGBit(&data, out), -1);
  EXPECT_EQ(SVFPlus2STATUSBit(nullptr, out), -1);
  EXPECT_STREQ(out, "untouched");
}

TEST(Extractors, UsercodeOrdersAndMask) {
  const struct {
    const char* what;
    unsigned physical;
    const char* family;
    const char* vendor;
    const char* mask;
    Bytes row;
    const char* text;
  } cases[] = {
      {"32 bits in stored order", 32, "F", "", "", {0x12, 0x34, 0x56, 0x78}, "0x12345678"},
      {"a mask excludes the first byte",
       32,
       "F",
       "",
       "000000FF",
       {0x12, 0x34, 0x56, 0x78},
       "0x00345678"},
      {"12 bits in reverse order", 12, "F", "", "", {0x80, 0x01}, "0x8001"},
      {"Helvar keeps the stored order", 12, "F", "Helvar", "", {0x80, 0x01}, "0x8001"},
      {"ispSarn is six bytes whatever the record",
       32,
       "ispSarn",
       "",
       "",
       {0x80, 0, 0, 0, 0, 0},
       "0x000000000001"},
  };
  for (const auto& c : cases) {
    DeviceInfo device = fusekit::testing::TestDevice(c.family, 1, 8);
    device.SetPhysicalUESLength(c.physical);
    device.SetjtagLogicalUESLength(c.physical);
    device.SetVendor(c.vendor);
    device.SetjtagUESMask(c.mask);
    SVFPlusData data;
    AddField(data, "Usercode_TDI", c.physical, {c.row});
    char out[64];
    ASSERT_EQ(SVFPlus2USERCODE(&device, 1, &data, out), 1) << c.what;
    EXPECT_STREQ(out, c.text) << c.what;
  }
  DeviceInfo device = fusekit::testing::TestDevice("F", 1, 8);
  SVFPlusData empty;
  char out[64] = "untouched";
  EXPECT_EQ(SVFPlus2USERCODE(&device, 1, &empty, out), -1);
  EXPECT_EQ(SVFPlus2USERCODE(&device, 1, nullptr, out), -1);
}

TEST(Extractors, DisplayForms) {
  DeviceInfo sarn = fusekit::testing::TestDevice("ispSarn", 1, 8);
  SVFPlusData data;
  AddField(data, "Usercode_TDI", 48, {{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB}});
  char out[64];
  ASSERT_EQ(SVFPlus2USERCODE(&sarn, 1, &data, out), 1);
  const std::string full = out;
  ASSERT_EQ(SVFPlus2DISPLAYUSERCODE(&sarn, 1, &data, out), 1);
  std::string expected = full;  // positions 13, 12, 7 and 6 removed
  for (std::size_t p : {13u, 12u, 7u, 6u}) expected.erase(p, 1);
  EXPECT_EQ(std::string(out), expected);
  EXPECT_EQ(std::string(out).size(), 10u);
}

TEST(Extractors, FuseArrayDump) {
  fusekit::testing::TempDir dir;
  DeviceInfo device = fusekit::testing::TestDevice("F", 1, 8);
  device.SetFuseNumber(16);
  SVFPlusData data;
  AddField(data, "FuseArray_TDI", 16, {{0x81, 0x03}});  // columns 0, 1, 8 and 15 set
  const std::string path = dir.Path("dump.txt");
  ASSERT_EQ(SVFPlus2XXX(path.c_str(), &device, &data), 0);
  EXPECT_EQ(fusekit::testing::ReadFile(path), "11000000\n10000001\n");
  SVFPlusData none;
  ASSERT_EQ(SVFPlus2XXX(path.c_str(), &device, &none), 0);
  EXPECT_EQ(fusekit::testing::ReadFile(path), "");
  EXPECT_EQ(SVFPlus2XXX(path.c_str(), nullptr, &data), -100);
  EXPECT_EQ(SVFPlus2XXX(dir.Path("no/dir/x.txt").c_str(), &device, &data), -13);
}

}  // namespace
