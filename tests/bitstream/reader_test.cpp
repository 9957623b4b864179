// BIT2SVFPlus and RBT2SVFPlus on generated streams of every family group, and RBTCheck.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/bitstream/bitstream_support.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace fusekit::testing;

int ReadBit(const std::string& path, DeviceInfo& device, SVFPlusData& data, bool split = false) {
  std::string name = path;
  return BIT2SVFPlus(name.data(), &device, 0, &data, "", "", "", split);
}

int ReadRbt(const std::string& path, DeviceInfo& device, SVFPlusData& data) {
  std::string name = path;
  return RBT2SVFPlus(name.data(), &device, 0, &data, "", "", "", false);
}

Bytes FileOf(const std::string& path) {
  const std::string text = ReadFile(path);
  return Bytes(text.begin(), text.end());
}

// The stored bit string: the file with its header bytes (from the first byte to the 0xFF that
// ends the header) replaced by 0xFF, then 0xFF up to the end of the last row.
Bytes Expected(Bytes file, std::size_t header_from, std::size_t row_bytes) {
  std::size_t end = header_from + 1;
  while (end < file.size() && file[end] != 0xFF) ++end;
  for (std::size_t i = header_from; i < end; ++i) file[i] = 0xFF;
  while (file.size() % row_bytes != 0) file.push_back(0xFF);
  return file;
}

TEST(BitstreamReader, GenericStreamStoredWholeWithItsUsercodeAndId) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const XFPBitstreamModel model =
      SampleModel(device, {"Config Mode: SPI"}, {0x12, 0x34, 0x56, 0x78});
  const std::string path = dir.Path("g.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
  SVFPlusData data;
  ASSERT_EQ(ReadBit(path, device, data), 0);
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  ASSERT_NE(array, nullptr);
  EXPECT_EQ(FileFromRows(array), Expected(FileOf(path), 0, 8));
  // Generic families take the usercode from its last byte back, each bit-reversed.
  EXPECT_EQ(RowBytes(data, "Usercode_TDI"),
            (Bytes{Reverse(0x78), Reverse(0x56), Reverse(0x34), Reverse(0x12)}));
  EXPECT_EQ(RowBytes(data, "ID"), (Bytes{0x01, 0x2B, 0x20, 0x43}));
  EXPECT_STREQ(data.GetComment(), "Config Mode: SPI\n");
  EXPECT_FALSE(data.GetEncrypted());

  // The CRC form gives the data CRC of the stored array.
  SVFPlusData with_crc;
  char crc[64] = "";
  std::string name = path;
  ASSERT_EQ(BIT2SVFPlus(name.data(), &device, 0, &with_crc, "", "", "", crc), 0);
  SVFDataField* field = with_crc.GetDataField("FuseArray_TDI");
  field->ResetRowPointer();
  char expected[64];
  GetDataCRC(nullptr, field, nullptr, nullptr, true, expected);
  EXPECT_STREQ(crc, expected);
  char* no_text = nullptr;
  EXPECT_EQ(BIT2SVFPlus(name.data(), &device, 0, nullptr, "", "", "", no_text), -3);
}

TEST(BitstreamReader, FamilyGroups) {
  TempDir dir;
  {
    // Pelmo3D with the marker: the letters are stored as they are, the header as 0xFF, the
    // usercode in order.
    DeviceInfo device = BitstreamDevice("CorvanePelmo3D");
    XFPBitstreamModel model = SampleModel(device, {"A: b"}, {0xA1, 0xB2, 0xC3, 0xD4});
    model.SetMarker(true);
    const std::string path = dir.Path("p.bit");
    ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
    SVFPlusData data;
    ASSERT_EQ(ReadBit(path, device, data), 0);
    EXPECT_EQ(FileFromRows(data.GetDataField("FuseArray_TDI")), Expected(FileOf(path), 4, 8));
    EXPECT_EQ(RowBytes(data, "Usercode_TDI"), (Bytes{0xA1, 0xB2, 0xC3, 0xD4}));
  }
  {
    // Vorsk: the lead-in block is stored as it is, and the firmware flag follows the patch frame.
    DeviceInfo device = BitstreamDevice("CorvaneVorsk");
    XFPBitstreamModel model = SampleModel(device, {"A: b"}, {1, 2, 3, 4});
    const unsigned char lead[4] = {0xDE, 0xAD, 0xBE, 0xEF};
    model.SetLeadIn(lead);
    model.AddFrame(Frame("Write Patch Init Address Frame", {}, "Unused", 0));
    const std::string path = dir.Path("v.bit");
    ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
    SVFPlusData data;
    ASSERT_EQ(ReadBit(path, device, data), 0);
    const Bytes stored = FileFromRows(data.GetDataField("FuseArray_TDI"));
    EXPECT_EQ(Bytes(stored.begin(), stored.begin() + 8),
              (Bytes{0x00, 0x01, 0x00, 0x04, 0xDE, 0xAD, 0xBE, 0xEF}));
    EXPECT_TRUE(data.GetFirmware());
  }
  {
    // Torvik2-class encrypted stream without a usercode frame: the first 0xBA and the 0xB3 after
    // it are scrubbed, the usercode comes from the comment.
    DeviceInfo device = BitstreamDevice("CorvaneTorvik2");
    XFPBitstreamModel model = SampleModel(device, {"Usercode: CAFEF00D"}, {}, 0);
    model.AddFrame(Frame("Encrypted Data Frame", {0xBA, 0xB3, 0x77}));
    const std::string path = dir.Path("t.bit");
    ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
    device.SetAddressLength(1);
    device.SetFuseNumber(8 * 64);  // one row holds the whole file
    device.SaveDeviceBackupValue();
    SVFPlusData data;
    ASSERT_EQ(ReadBit(path, device, data), 0);
    EXPECT_TRUE(data.GetEncrypted());
    EXPECT_EQ(RowBytes(data, "Usercode_TDI"), (Bytes{0xCA, 0xFE, 0xF0, 0x0D}));
    Bytes expected = Expected(FileOf(path), 0, 64);
    const std::size_t sync = 2 + std::string("Usercode: CAFEF00D").size() + 1 + 4;
    ASSERT_EQ(expected[sync], 0xBA);
    expected[sync] = 0xFF;
    expected[sync + 1] = 0xFF;  // the payload's own BA B3 stay
    EXPECT_EQ(FileFromRows(data.GetDataField("FuseArray_TDI")), expected);
  }
  {
    // "TEBU" devices: the identifier's three high bytes and 0x01, whatever the file holds.
    DeviceInfo device = BitstreamDevice("TEBUFamily");
    const XFPBitstreamModel model = SampleModel(device, {}, {9, 9, 9, 9});
    const std::string path = dir.Path("e.bit");
    ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
    SVFPlusData data;
    ASSERT_EQ(ReadBit(path, device, data), 0);
    EXPECT_EQ(RowBytes(data, "Usercode_TDI"), (Bytes{0x01, 0x2B, 0x20, 0x01}));
  }
}

TEST(BitstreamReader, AsciiFormAndItsMeasure) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const XFPBitstreamModel model = SampleModel(device, {"Key: value"}, {1, 2, 3, 4}, 1);
  const std::string rbt = dir.Path("a.rbt");
  ASSERT_EQ(XFPGenerateBitstream::GenerateAscii(model, rbt.c_str()), 0);
  SVFPlusData data;
  ASSERT_EQ(ReadRbt(rbt, device, data), 0);
  // Header lines: one 0xFF a character that is not white space; then the body's bytes.
  const std::string header = std::string("Corvane Semiconductor Corporation ASCII Bitstream") +
                             "Createdbyfusekit" + "Key:value";
  std::size_t header_bytes = 0;
  for (char c : header) header_bytes += c != ' ';
  const Bytes stored = FileFromRows(data.GetDataField("FuseArray_TDI"));
  ASSERT_GT(stored.size(), header_bytes + 6);
  EXPECT_EQ(Bytes(stored.begin() + static_cast<long>(header_bytes),
                  stored.begin() + static_cast<long>(header_bytes) + 6),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xBA, 0xB3}));
  EXPECT_EQ(RowBytes(data, "Usercode_TDI"),
            (Bytes{Reverse(4), Reverse(3), Reverse(2), Reverse(1)}));
  unsigned long bits = 0;
  ASSERT_EQ(RBTCheck(rbt.c_str(), &bits), 0);
  const std::size_t body = 6 + 8 + 12;  // preamble and sync, usercode, one data frame
  EXPECT_EQ(bits, (header_bytes + body) * 8);
  ASSERT_EQ(RBTCheck(rbt.c_str(), &device, &bits), 0);
  EXPECT_EQ(bits, (header_bytes + body) * 8);
  EXPECT_EQ(RBTCheck(rbt.c_str(), nullptr, &bits), -6);
  EXPECT_EQ(RBTCheck(dir.Path("none.rbt").c_str(), &bits), -2);

  // Data lines "1010" and "1111" give the byte 0xAF; other characters count as 0 bits.
  const std::string small = dir.Write("s.rbt", "banner\n1010\n1111\n1x1x1x1x\n");
  SVFPlusData bits_data;
  DeviceInfo tiny = BitstreamDevice("TestFamily");
  tiny.SetPhysicalUESLength(0);
  tiny.SaveDeviceBackupValue();
  ASSERT_EQ(ReadRbt(small, tiny, bits_data), 0);
  const Bytes got = FileFromRows(bits_data.GetDataField("FuseArray_TDI"));
  EXPECT_EQ(Bytes(got.begin(), got.begin() + 8),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xAF, 0xAA}));
  EXPECT_EQ(bits_data.GetDataField("ID"), nullptr);  // no usercode length: nothing after the data

  // Vorsk ASCII streams are measured in their binary form.
  DeviceInfo vorsk = BitstreamDevice("CorvaneVorsk");
  XFPBitstreamModel vmodel = SampleModel(vorsk, {"Key: value"}, {}, 2);
  const std::string vrbt = dir.Path("v.rbt");
  const std::string vbit = dir.Path("v.bit");
  ASSERT_EQ(XFPGenerateBitstream::GenerateAscii(vmodel, vrbt.c_str()), 0);
  ASSERT_EQ(XFPGenerateBitstream::Generate(vmodel, vbit.c_str()), 0);
  ASSERT_EQ(RBTCheck(vrbt.c_str(), &vorsk, &bits), 0);
  EXPECT_EQ(bits, FileOf(vbit).size() * 8);
}

TEST(BitstreamReader, RowsSplitsAndStatuses) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  device.SetAddressLength(1);
  device.SetFuseNumber(4000);
  device.SaveDeviceBackupValue();
  const XFPBitstreamModel model = SampleModel(device, {}, {1, 2, 3, 4});
  const std::string path = dir.Path("s.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, path.c_str()), 0);
  SVFPlusData data;
  ASSERT_EQ(ReadBit(path, device, data, true), 0);
  // A row of 4000 bits: three split rows, the last all 0xFF, and no remainder.
  const SVFDataField* split = data.GetDataField("FuseArray_SPLIT_TDI");
  ASSERT_NE(split, nullptr);
  ASSERT_EQ(split->GetRowCount(), 3);
  EXPECT_EQ(RowBytes(data, "FuseArray_SPLIT_TDI", 3), Bytes(250, 0xFF));
  EXPECT_EQ(RowBytes(data, "FuseArray_SPLIT_TDI", 1)[249], RowBytes(data, "FuseArray_TDI")[499]);
  EXPECT_EQ(data.GetDataField("FuseArray_SPLIT_REMAIN_TDI"), nullptr);

  device.SetFuseNumber(4100);
  device.SaveDeviceBackupValue();
  SVFPlusData with_rest;
  ASSERT_EQ(ReadBit(path, device, with_rest, true), 0);
  const Bytes rest = RowBytes(with_rest, "FuseArray_SPLIT_REMAIN_TDI");
  ASSERT_EQ(rest.size(), 13u);
  const Bytes row = RowBytes(with_rest, "FuseArray_TDI");  // 513 bytes
  EXPECT_EQ(rest, Bytes(row.begin(), row.begin() + 13));

  // A file of exactly B bytes is one row; more bytes start a second row of 0xFF.
  DeviceInfo exact = BitstreamDevice("TestFamily");
  exact.SetPhysicalUESLength(0);
  exact.SaveDeviceBackupValue();
  SVFPlusData one, two;
  ASSERT_EQ(ReadBit(dir.Write("8.bit", "\xFF\xFF" + std::string(6, '\x55')), exact, one), 0);
  EXPECT_EQ(one.GetDataField("FuseArray_TDI")->GetRowCount(), 1);
  ASSERT_EQ(ReadBit(dir.Write("9.bit", "\xFF\xFF" + std::string(7, '\x55')), exact, two), 0);
  EXPECT_EQ(RowBytes(two, "FuseArray_TDI", 2),
            (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xAA}));
  // First byte 0xFF and second 0xFF: the first is header, the second starts the body.
  SVFPlusData ff;
  ASSERT_EQ(ReadBit(dir.Write("ff.bit", std::string("\xFF\xFF\x01", 3)), exact, ff), 0);
  EXPECT_EQ(FileFromRows(ff.GetDataField("FuseArray_TDI")),
            (Bytes{0xFF, 0xFF, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));

  // A stream the model cannot read: the data, a zero usercode and the ID, with its status.
  SVFPlusData broken;
  ASSERT_EQ(ReadBit(dir.Write("b.bit", std::string("\xFF\x00X\x00", 4)), device, broken),
            kXFPHeaderNotClosed);
  EXPECT_EQ(RowBytes(broken, "Usercode_TDI"), (Bytes{0, 0, 0, 0}));
  EXPECT_NE(broken.GetDataField("ID"), nullptr);

  SVFPlusData none;
  EXPECT_EQ(ReadBit(dir.Path("missing.bit"), device, none), -2);
  EXPECT_EQ(ReadRbt(dir.Path("missing.rbt"), device, none), -2);
  EXPECT_EQ(ReadRbt(dir.Write("empty.rbt", ""), device, none), -2);
  std::string name = path;
  EXPECT_EQ(BIT2SVFPlus(name.data(), nullptr, 0, &none, "", "", "", false), -6);
  EXPECT_EQ(RBT2SVFPlus(name.data(), &device, 0, nullptr, "", "", "", false), -6);
}

TEST(BitstreamReader, ShortRowsSplitIntoTheirRemainderAndCommentsAnywhereInAsciiData) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  device.SetAddressLength(1);
  device.SetPhysicalUESLength(0);
  const std::string path = dir.Write("short.bit", "\xFF\xFF" + std::string(123, '\x5A'));
  const struct {
    unsigned fuses;
    int split_rows;  // 0: no "FuseArray_SPLIT_TDI"
    std::size_t remainder_bytes;
  } cases[] = {{1000, 0, 125}, {1999, 0, 250}, {2000, 2, 0}, {3000, 2, 125}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fuses);
    device.SetFuseNumber(c.fuses);
    SVFPlusData data;
    ASSERT_EQ(ReadBit(path, device, data, true), 0);
    const SVFDataField* split = data.GetDataField("FuseArray_SPLIT_TDI");
    EXPECT_EQ(split == nullptr ? 0 : split->GetRowCount(), c.split_rows);
    const Bytes rest = RowBytes(data, "FuseArray_SPLIT_REMAIN_TDI");
    ASSERT_EQ(rest.size(), c.remainder_bytes);
    if (c.split_rows == 0 && !rest.empty()) {
      const Bytes row = RowBytes(data, "FuseArray_TDI");
      EXPECT_EQ(rest, Bytes(row.end() - static_cast<long>(rest.size()), row.end()));
    }
  }

  // A "//" line is a comment wherever it stands, among the data lines too.
  SVFPlusData ascii;
  device.SetFuseNumber(16);
  ASSERT_EQ(ReadRbt(dir.Write("c.rbt", "10101111\n//0000\n  // 1111\n11110000\n"), device, ascii),
            0);
  EXPECT_EQ(FileFromRows(ascii.GetDataField("FuseArray_TDI")), (Bytes{0xAF, 0xF0}));
}

}  // namespace
