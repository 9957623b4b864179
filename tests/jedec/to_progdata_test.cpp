// JEDEC2SVFPlus: the fields, their row layout, the family rules, the statuses and the path of
// the Grend PLD devices through the legacy fuse-map library.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "jedec/to_progdata.h"
#include "tests/support/jedec_builder.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::JedecBuilder;
using fusekit::testing::RandomFuses;
using fusekit::testing::TempDir;
using Bytes = std::vector<std::uint8_t>;

// The row layout written out plainly: padding bits 1, column c at bit pad + W - 1 - c.
Bytes LaidOut(const std::vector<bool>& fuses, std::size_t offset, unsigned width) {
  Bytes row((width + 7) / 8, 0xFF);
  const unsigned pad = static_cast<unsigned>(row.size()) * 8 - width;
  for (unsigned c = 0; c < width; ++c) {
    if (fuses[offset + c]) continue;
    const unsigned index = pad + width - 1 - c;
    row[index / 8] &= static_cast<std::uint8_t>(~(0x80u >> (index % 8)));
  }
  return row;
}

Bytes RowBytes(const SVFDataField* field, int index) {
  const KvByteBuffer* row = field->GetRow(index);
  if (row == nullptr) return {};
  return Bytes(row->GetBuffer(), row->GetBuffer() + row->GetTotalSize());
}

std::vector<std::string> FieldNames(const SVFPlusData& data) {
  std::vector<std::string> names;
  for (int i = 0; i < data.GetDataFieldCount(); ++i)
    names.push_back(data.GetDataField(i)->GetFieldName());
  return names;
}

DeviceInfo Device(const char* family, unsigned rows, unsigned width) {
  return fusekit::testing::TestDevice(family, rows, width);
}

int Convert(const std::string& path, DeviceInfo& device, SVFPlusData& data, int jtag = 1,
            const char* work_dir = "") {
  std::string name = path;
  return JEDEC2SVFPlus(name.data(), &device, jtag, &data, "", work_dir, "", "");
}

TEST(JedecToProgdata, GenericDeviceFieldsAndRowLayout) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 5, 20);
  JedecBuilder b;
  b.fuses = RandomFuses(100, 17);
  b.before_stx = "Banner\n";
  b.notes = {"NOTE made by a test"};
  b.g = 1;
  b.extra_fields = "UH8899AABB*\n";
  SVFPlusData data;
  ASSERT_EQ(Convert(dir.Write("f.jed", b.Build()), device, data), 0);
  EXPECT_EQ(FieldNames(data), (std::vector<std::string>{"FuseArray_TDI", "Usercode_TDI", "ID"}));
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  ASSERT_EQ(array->GetRowCount(), 5);
  for (int r = 0; r < 5; ++r) {
    EXPECT_EQ(array->GetRowWidth(r + 1), 20u);
    EXPECT_EQ(RowBytes(array, r + 1), LaidOut(b.fuses, r * 20u, 20)) << "row " << r;
  }
  EXPECT_EQ(RowBytes(data.GetDataField("Usercode_TDI"), 1), (Bytes{0x88, 0x99, 0xAA, 0xBB}));
  EXPECT_EQ(RowBytes(data.GetDataField("ID"), 1), (Bytes{0x01, 0x2B, 0x20, 0x43}));
  EXPECT_EQ(data.GetSecurity(), 1);
  EXPECT_STREQ(data.GetComment(), "Banner\nfusekit test design\nNOTE made by a test\n");
}

TEST(JedecToProgdata, RowLayoutForEveryWidthAndRowOrder) {
  // Byte-aligned widths take the fast path (eight bytes at a step, then single bytes), the
  // others the bit-by-bit one; bit-map flag 1 lists the rows last first.
  TempDir dir;
  for (unsigned width : {8u, 20u, 64u, 72u, 128u, 136u}) {
    for (unsigned short flags : {0, 1}) {
      DeviceInfo device = Device("TestFamily", 3, width);
      device.SetBitMapTransformation(flags);
      JedecBuilder b;
      b.fuses = RandomFuses(3 * width, width + flags);
      SVFPlusData data;
      ASSERT_EQ(Convert(dir.Write("f.jed", b.Build()), device, data), 0) << width;
      const SVFDataField* array = data.GetDataField("FuseArray_TDI");
      for (unsigned r = 0; r < 3; ++r) {
        const unsigned source = flags != 0 ? 2 - r : r;
        EXPECT_EQ(RowBytes(array, static_cast<int>(r) + 1), LaidOut(b.fuses, source * width, width))
            << "width " << width << " flags " << flags << " row " << r;
      }
    }
  }
}

TEST(JedecToProgdata, EndDataNoteAgreesWithTheQueryWhereverItStands) {
  // The conversion finds the note in lines marked during its one pass over the file; the query
  // scans the file line by line. They must agree on every layout.
  DeviceInfo device = Device("TestFamily", 64, 128);
  const std::vector<bool> fuses = RandomFuses(64 * 128, 6);
  auto file = [&](std::size_t padding, const std::string& note, const std::string& eol) {
    JedecBuilder b;
    b.fuses = fuses;
    b.eol = eol;
    b.notes = {"NOTE " + std::string(padding, 'x'), "NOTE nothing here", note};
    return b.Build();
  };
  // A line longer than the scan's 2999-character pieces, the marker at its end: found only when
  // it lies wholly inside one piece.
  auto long_line = [&](std::size_t padding) {
    JedecBuilder b;
    b.fuses = fuses;
    b.notes = {"NOTE " + std::string(padding, 'x') + "*NOTE END CONFIG DATA", "L001024 0101"};
    return b.Build();
  };
  const struct {
    const char* what;
    std::string text;
    const char* name;
  } cases[] = {
      {"plain", file(10, "NOTE END CONFIG DATA*\nL000256 0101", "\n"), "a.jed"},
      {"lower case, CR LF", file(10, "note end config data*\r\n  L 512", "\r\n"), "b.jed"},
      {"across the first chunk boundary",
       file(256 * 1024 - 60, "NOTE END CONFIG DATA*\nL000640 0101", "\n"), "c.jed"},
      {"in a line cut into pieces", file(2990, "NOTE END CONFIG DATA*\nL000768 0101", "\n"),
       "d.jed"},
      {"upper-case name", file(10, "NOTE END CONFIG DATA*\nL000896 0101", "\n"), "E.JED"},
      {"another extension", file(10, "NOTE END CONFIG DATA*\nL000896 0101", "\n"), "f.txt"},
      {"absent", file(10, "NOTE END OF NOTES", "\n"), "g.jed"},
      {"marker across a piece boundary", long_line(2980), "h.jed"},
      {"marker inside the second piece", long_line(3100), "i.jed"},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const std::string path = dir.Write(c.name, c.text);
    std::string copy = path;
    const int expected = GetJEDEC_ENDDATA_NOTE(copy.data());
    SVFPlusData data;
    ASSERT_EQ(Convert(path, device, data), 0) << c.what;
    EXPECT_EQ(data.GetEndDataLoc(), expected) << c.what;
  }
  for (const auto& [name, address] :
       {std::pair{"a.jed", 256}, std::pair{"h.jed", 0}, std::pair{"i.jed", 1024}}) {
    std::string path = dir.Path(name);
    EXPECT_EQ(GetJEDEC_ENDDATA_NOTE(path.data()), address) << name;
  }
}

TEST(JedecToProgdata, SecurityByFamily) {
  const struct {
    const char* family;
    int g;
    int security;
  } cases[] = {{"TestFamily", 1, 1}, {"TestFamily", 3, 1},    {"TestFamily", 2, 0},
               {"TestFamily", 0, 0}, {"CorvanePelmo2", 2, 2}, {"CorvaneGlimra", 3, 3}};
  TempDir dir;
  for (const auto& c : cases) {
    DeviceInfo device = Device(c.family, 0, 0);
    device.SetFuseNumber(256);
    device.SaveDeviceBackupValue();
    JedecBuilder b;
    b.fuses = RandomFuses(256, 2);
    b.g = c.g;
    SVFPlusData data;
    ASSERT_EQ(Convert(dir.Write("f.jed", b.Build()), device, data), 0) << c.family;
    EXPECT_EQ(data.GetSecurity(), c.security) << c.family << " G" << c.g;
  }
}

TEST(JedecToProgdata, IdentifierForms) {
  TempDir dir;
  JedecBuilder b;
  b.fuses = RandomFuses(16, 1);
  const std::string path = dir.Write("f.jed", b.Build());
  const struct {
    int jtag;
    unsigned short id_length;
    unsigned width;
    Bytes bytes;
  } cases[] = {{1, 32, 32, {0x01, 0x2B, 0x20, 0x43}}, {0, 32, 8, {0x5A}}, {1, 8, 8, {0x5A}}};
  for (const auto& c : cases) {
    DeviceInfo device = Device("TestFamily", 2, 8);
    device.SetIDLength(c.id_length);
    SVFPlusData data;
    ASSERT_EQ(Convert(path, device, data, c.jtag), 0);
    const SVFDataField* id = data.GetDataField("ID");
    EXPECT_EQ(id->GetRowWidth(1), c.width);
    EXPECT_EQ(RowBytes(id, 1), c.bytes);
  }
}

TEST(JedecToProgdata, WideFamilyWithESectionPadringAndSed) {
  // Pelmo2: 128-bit rows, then the E section; a Padring row copied out; an SED section.
  TempDir dir;
  DeviceInfo device = Device("CorvanePelmo2", 0, 0);
  device.SetFuseNumber(4 * 128 + 256);
  device.SetELength(256);
  device.SetERow(2);
  device.SetSEDLength(16);
  device.SetPadring({"2"});
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(768, 33);
  b.g = 2;
  SVFPlusData data;
  ASSERT_EQ(Convert(dir.Write("f.jed", b.Build()), device, data), 0);
  EXPECT_EQ(FieldNames(data),
            (std::vector<std::string>{"FuseArray_TDI", "PadringArray_TDI", "SEDArray_TDI",
                                      "Usercode_TDI", "EFuseArray_TDI", "ID"}));
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  ASSERT_EQ(array->GetRowCount(), 4);
  EXPECT_EQ(RowBytes(array, 4), LaidOut(b.fuses, 384, 128));
  EXPECT_EQ(RowBytes(data.GetDataField("PadringArray_TDI"), 1), RowBytes(array, 3));
  const SVFDataField* e = data.GetDataField("EFuseArray_TDI");
  ASSERT_EQ(e->GetRowCount(), 2);
  EXPECT_EQ(RowBytes(e, 2), LaidOut(b.fuses, 640, 128));
  EXPECT_EQ(data.GetSecurity(), 2);
}

TEST(JedecToProgdata, FamilySetUpAndTheRestoredRecord) {
  TempDir dir;
  JedecBuilder b;
  b.notes = {"NOTE USER MEMORY DATA UFM1"};
  b.fuses = RandomFuses(0x5F80, 4);
  b.digits_per_line = 128;
  const std::string path = dir.Write("f.jed", b.Build());

  // Pelmo3D: the user-flash note sets its flag; three sizes name the array "EFuseArray_TDI".
  DeviceInfo pelmo = Device("CorvanePelmo3D", 0, 0);
  pelmo.SetFuseNumber(0x5F80);
  pelmo.SaveDeviceBackupValue();
  SVFPlusData data;
  ASSERT_EQ(Convert(path, pelmo, data), 0);
  EXPECT_TRUE(data.GetUFM1());
  EXPECT_FALSE(data.GetUFM0());
  EXPECT_EQ(data.GetDataField(0)->GetFieldName(), std::string("EFuseArray_TDI"));
  EXPECT_EQ(data.GetDataField(0)->GetRowCount(), 0x5F80 / 128);

  // Orlan D6: the fuse number follows the user-flash image, for the conversion only.
  DeviceInfo orlan = Device("CorvaneOrlanD6", 100, 2048);
  orlan.SetFuseNumber(0x12345);
  orlan.SaveDeviceBackupValue();
  SVFPlusData orlan_data;
  ASSERT_EQ(Convert(path, orlan, orlan_data), 0);  // any QF will do for these families
  EXPECT_EQ(orlan_data.GetDataField("FuseArray_TDI")->GetRowCount(), 0x200000 / 2048);
  EXPECT_EQ(orlan.GetFuseNumber(), 0x12345u);
}

TEST(JedecToProgdata, Statuses) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 2, 8);
  SVFPlusData data;
  EXPECT_EQ(JEDEC2SVFPlus(nullptr, &device, 1, nullptr, "", "", "", ""), -100);
  EXPECT_EQ(JEDEC2SVFPlus(nullptr, nullptr, 1, &data, "", "", "", ""), -100);
  EXPECT_EQ(Convert("", device, data), -1);
  EXPECT_EQ(Convert(dir.Path("missing.jed"), device, data), -1);
  JedecBuilder b;
  b.fuses = RandomFuses(24, 1);  // QF24 for a device of 16 fuses
  EXPECT_EQ(Convert(dir.Write("qf.jed", b.Build()), device, data), -1);
  EXPECT_EQ(Convert(dir.Write("garbage.jed", "\x02\x01\x02\x03garbage"), device, data), -1);
}

TEST(JedecToProgdata, LongHeaderIsCutToTheCommentLimit) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 2, 8);
  JedecBuilder b;
  b.fuses = RandomFuses(16, 1);
  for (int i = 0; i < 4000; ++i) b.notes.push_back("NOTE " + std::string(40, 'n'));
  SVFPlusData data;
  ASSERT_EQ(Convert(dir.Write("f.jed", b.Build()), device, data), 0);
  EXPECT_EQ(std::string(data.GetComment()).size(), 99999u);
}

TEST(JedecToProgdata, GrendDevicesGoThroughTheLegacyLibrary) {
  TempDir dir;
  DeviceInfo device = Device("Grend", 6, 12);
  device.SetVendor("Helvar");
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(72, 8);
  b.extra_fields = "UHCAFE0123*";
  SVFPlusData data;
  ASSERT_EQ(Convert(dir.Write("g.jed", b.Build()), device, data, 1, dir.Path("").c_str()), 0);
  EXPECT_EQ(FieldNames(data),
            (std::vector<std::string>{"FuseArray_TDI", "Usercode_TDI", "FuseArray_TDO",
                                      "Usercode_TDO", "FuseArray_MASK", "Usercode_MASK", "ID"}));
  for (const char* name : {"FuseArray_TDI", "FuseArray_TDO"}) {
    const SVFDataField* field = data.GetDataField(name);
    ASSERT_EQ(field->GetRowCount(), 6) << name;
    for (int r = 0; r < 6; ++r)
      EXPECT_EQ(RowBytes(field, r + 1), LaidOut(b.fuses, r * 12u, 12)) << name;
  }
  EXPECT_EQ(RowBytes(data.GetDataField("FuseArray_MASK"), 1), (Bytes{0xFF, 0xFF}));
  EXPECT_EQ(RowBytes(data.GetDataField("Usercode_TDI"), 1), (Bytes{0xCA, 0xFE, 0x01, 0x23}));
  EXPECT_EQ(RowBytes(data.GetDataField("Usercode_MASK"), 1), (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
  for (const char* work : {"tvexData.tdi", "tvexData.tdo", "tvexData.msk", "result.txt"}) {
    EXPECT_FALSE(std::filesystem::exists(dir.Path(work))) << work;
  }
}

TEST(UsercodeRow, PlacementAndMask) {
  const std::uint16_t map[] = {0x1234, 0x5678, 0x9ABC, 0xFFFF};
  // 32 bits in order.
  EXPECT_EQ(fusekit::jedec::UsercodeRow(map, 32, 32, ""), (Bytes{0x12, 0x34, 0x56, 0x78}));
  // 12 bits of 12 by the reversal rule: four padding ones, then the usercode bits last first
  // (0001 0010 0011 becomes 1100 0100 1000).
  EXPECT_EQ(fusekit::jedec::UsercodeRow(map, 12, 12, ""), (Bytes{0xFC, 0x48}));
  // A mask bit of 1 forces its position to 1 and shifts the usercode bits along.
  EXPECT_EQ(fusekit::jedec::UsercodeRow(map, 16, 16, "0001"), (Bytes{0x89, 0x1A}));
  EXPECT_EQ(fusekit::jedec::UsercodeRow(map, 16, 16, "FFFF"), (Bytes{0xFF, 0xFF}));
  EXPECT_EQ(fusekit::jedec::UsercodeRow(map, 16, 16, "XX0000"), (Bytes{0x12, 0x34}));
}

TEST(ConfigurationFields, FromTheThirdToLastByteDownToByteSix) {
  KvByteBuffer source;
  for (unsigned char b = 0; b < 24; ++b) source.WriteData(b);
  SVFPlusData data;
  ASSERT_EQ(fusekit::jedec::AddConfigurationFields(data, source), 0);
  const SVFDataField* config = data.GetDataField("CFGArray_TDI");
  ASSERT_EQ(config->GetRowCount(), 2);  // bytes 21 down to 6: sixteen bytes
  EXPECT_EQ(RowBytes(config, 1), (Bytes{21, 20, 19, 18, 17, 16, 15, 14}));
  EXPECT_EQ(RowBytes(config, 2), (Bytes{13, 12, 11, 10, 9, 8, 7, 6}));
  EXPECT_EQ(RowBytes(data.GetDataField("Usercode_TDO"), 1),
            (Bytes{3, 2, 1, 0, 0xFF, 0xFF, 0xFF, 0xFF}));

  KvByteBuffer short_row;
  for (unsigned char b = 0; b < 8; ++b) short_row.WriteData(b);
  SVFPlusData none;
  ASSERT_EQ(fusekit::jedec::AddConfigurationFields(none, short_row), 0);
  EXPECT_EQ(none.GetDataFieldCount(), 0);
}

}  // namespace
