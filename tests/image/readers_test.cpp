// The image readers into programming data, and the MCS writer by round trip.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;
using Bytes = std::vector<unsigned char>;

constexpr unsigned char Reversed(unsigned char b) {
  unsigned char r = 0;
  for (int i = 0; i < 8; ++i) r = static_cast<unsigned char>(r | (((b >> i) & 1) << (7 - i)));
  return r;
}

Bytes RowOf(const SVFPlusData& data, const char* field, int row) {
  const SVFDataField* f = data.GetDataField(field);
  if (f == nullptr || f->GetRow(row) == nullptr) return {};
  const KvByteBuffer* r = f->GetRow(row);
  return Bytes(r->GetBuffer(), r->GetBuffer() + r->GetDataSize());
}

DeviceInfo Device(const char* family, unsigned rows, unsigned width) {
  DeviceInfo d = fusekit::testing::TestDevice(family, rows, width);
  d.SetIDLength(16);
  d.SetispDeviceID(0x1234);
  d.SaveDeviceBackupValue();
  return d;
}

using Reader = int (*)(char*, DeviceInfo*, int, SVFPlusData*, char*, char*, char*);

int Read(Reader reader, const std::string& path, DeviceInfo& device, SVFPlusData& data,
         const std::string& work = "") {
  std::string name = path;
  std::string folder = work;
  char empty[] = "";
  return reader(name.data(), &device, 0, &data, empty, empty, folder.data());
}

TEST(BinaryImage, RowsFilledFromTheirLastByteAndTheConfigurationCopy) {
  TempDir dir;
  // 24-bit rows (3 bytes): the bytes 01 02 03 04 give a full row and one byte of the next.
  DeviceInfo device = Device("TestFamily", 4, 24);
  SVFPlusData data;
  ASSERT_EQ(Read(BIN2SVFPlus, dir.Write("a.bin", std::string("\x01\x02\x03\x04", 4)), device, data),
            0);
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 1), (Bytes{0xC0, 0x40, 0x80}));
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 2), (Bytes{0x00, 0x00, 0x20}));
  // The configuration copy follows indexes 6 down to 0; a row of three bytes never reaches 6.
  EXPECT_EQ(RowOf(data, "CFGArray_TDI", 1), (Bytes{0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowOf(data, "ID", 1), (Bytes{0x34, 0x12}));

  // A row of 64 bits: byte 0 of the file lands at index 7, beyond the copy; bytes at indexes 6
  // down to 0 are copied.
  DeviceInfo wide = Device("TestFamily", 1, 64);
  wide.SetAddressLength(2);
  wide.SaveDeviceBackupValue();
  SVFPlusData eight;
  ASSERT_EQ(Read(BIN2SVFPlus, dir.Write("b.bin", "\x01\x02\x03\x04\x05\x06\x07\x08"), wide, eight),
            0);
  EXPECT_EQ(RowOf(eight, "CFGArray_TDI", 1),
            (Bytes{Reversed(8), Reversed(7), Reversed(6), Reversed(5), Reversed(4), Reversed(3)}));

  // An empty image: one row of zeros and the identifier.
  SVFPlusData empty;
  ASSERT_EQ(Read(BIN2SVFPlus, dir.Write("e.bin", ""), device, empty), 0);
  EXPECT_EQ(RowOf(empty, "FuseArray_TDI", 1), (Bytes{0, 0, 0}));
  EXPECT_NE(empty.GetDataField("ID"), nullptr);

  // The 2048-bit families: rows pre-filled with 0xFF, no configuration copy.
  DeviceInfo orlan = Device("CorvaneOrlanD6", 4, 24);
  SVFPlusData ones;
  ASSERT_EQ(Read(BIN2SVFPlus, dir.Write("c.bin", "\x01"), orlan, ones), 0);
  Bytes expected(256, 0xFF);
  expected[255] = 0x80;
  EXPECT_EQ(RowOf(ones, "FuseArray_TDI", 1), expected);
  EXPECT_EQ(ones.GetDataField("CFGArray_TDI"), nullptr);
}

TEST(HexTextImage, PairsWhiteSpaceAndLength) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 4, 16);
  SVFPlusData data;
  // A, 5, blank, 5, A gives A5 5A; A, blank, 5 does not give A5.
  ASSERT_EQ(Read(HEX2SVFPlus, dir.Write("a.hex", "A5 5A"), device, data, dir.Path("")), 0);
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 1), (Bytes{Reversed(0x5A), Reversed(0xA5)}));
  EXPECT_FALSE(std::filesystem::exists(dir.Path("tmpBitstream.bit")));
  SVFPlusData split;
  ASSERT_EQ(Read(HEX2SVFPlus, dir.Write("b.hex", "A 5"), device, split, dir.Path("")), 0);
  EXPECT_NE(RowOf(split, "FuseArray_TDI", 1)[1], Reversed(0xA5));
  unsigned long bits = 0;
  EXPECT_EQ(HEXCheck(dir.Write("c.hex", "00112233445566778899").c_str(), &device, &bits), 0);
  EXPECT_EQ(bits, 88u);
  EXPECT_EQ(HEXCheck(dir.Path("none").c_str(), &device, &bits), -1);
  EXPECT_EQ(HEXCheck(dir.Path("none").c_str(), nullptr, &bits), -6);
  SVFPlusData none;
  EXPECT_EQ(Read(HEX2SVFPlus, dir.Path("none.hex"), device, none, dir.Path("")), -2);
  EXPECT_EQ(Read(HEX2SVFPlus, dir.Write("d.hex", "00"), device, none, dir.Path("no/folder")), -2);
}

TEST(McsImage, WriterAndReaderAgree) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 2, 2048);
  SVFPlusData source;
  SVFDataField* array = source.AddDataField();
  array->SetFieldName("FuseArray_TDI");
  for (int r = 0; r < 2; ++r) {
    KvByteBuffer* row = array->AddRow(2048);
    for (int i = 0; i < 256; ++i) row->WriteData(static_cast<unsigned char>(i * 7 + r));
  }
  const std::string mcs = dir.Path("a.mcs");
  ASSERT_EQ(SVFPlus2MCS(mcs.c_str(), &device, &source, "", "", "", 0x0000FFF0), 0);
  const std::string text = ReadFile(mcs);
  // The first record: the extended linear address 0, then 16 bytes at FFF0 (row 1 from its
  // last byte: 0xF9, 0xF2, ...), cut at the 64 KiB boundary.
  EXPECT_EQ(text.substr(0, 17), ":020000040000FA\r\n");
  EXPECT_EQ(text.substr(17, 12), ":10FFF000F9F");
  EXPECT_NE(text.find(":020000040001F9\r\n"), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 13), ":00000001FF\r\n");

  // MCS text -> HEX2BIN -> MCS2SVFPlus gives the rows back.
  std::string bin = dir.Path("a.bin");
  std::string mcs_name = mcs;
  unsigned int start = 0;
  ASSERT_EQ(HEX2BIN(mcs_name.data(), &start, bin.data(), 1), 0);
  EXPECT_EQ(start, 0xFFF0u);
  SVFPlusData back;
  ASSERT_EQ(MCS2SVFPlus(bin.data(), &device, 0, &back, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(RowOf(back, "EFuseArray_TDI", 1), RowOf(source, "FuseArray_TDI", 1));
  EXPECT_EQ(RowOf(back, "EFuseArray_TDI", 2), RowOf(source, "FuseArray_TDI", 2));
  EXPECT_EQ(SVFPlus2MCS(dir.Path("no/x.mcs").c_str(), &device, &source, "", "", "", 0), -2);
  SVFPlusData empty;
  EXPECT_EQ(SVFPlus2MCS(mcs.c_str(), &device, &empty, "", "", "", 0), -1000);  // no "FuseArray_TDI"
  EXPECT_EQ(SVFPlus2MCS(mcs.c_str(), nullptr, &empty, "", "", "", 0), -6);
  EXPECT_EQ(XFPObjectFactory::CreateGenerateFileObject("Motorola"), nullptr);
}

// An NVCM-style image: sync, 20 bytes, rows each after 4 skipped bytes, then the architecture
// and configuration bytes.
std::string IscLayoutImage(int rows, unsigned row_bytes) {
  std::string image = "\x11\x7E\x22\xAA\x99\x7E" + std::string(20, '\x55');
  for (int r = 0; r < rows; ++r) {
    if (r != 0) image += std::string(4, '\x66');
    for (unsigned i = 0; i < row_bytes; ++i) image += static_cast<char>(r * 16 + i);
  }
  image += std::string(4, '\x77') + "\x01\x02";                  // architecture row
  image += std::string(4, '\x77') + "\x10\x20\x30\x40\x50\x60";  // configuration
  return image;
}

TEST(IscLayoutImage, FuseRowsArchitectureAndConfiguration) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 4, 32);
  device.SetARCHLength(16);
  device.SetARCHRow(1);
  device.SaveDeviceBackupValue();
  SVFPlusData data;
  ASSERT_EQ(Read(BIN2ISCSVFPlus, dir.Write("a.bin", IscLayoutImage(4, 4)), device, data), 0);
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  ASSERT_EQ(array->GetRowCount(), 4);
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 1), (Bytes{Reversed(3), Reversed(2), Reversed(1), 0}));
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 4),
            (Bytes{Reversed(0x33), Reversed(0x32), Reversed(0x31), Reversed(0x30)}));
  EXPECT_EQ(RowOf(data, "ArchArray_TDI", 1), (Bytes{Reversed(2), Reversed(1)}));
  EXPECT_EQ(RowOf(data, "CFGArray_TDI", 1),
            (Bytes{Reversed(0x60), Reversed(0x50), Reversed(0x40), Reversed(0x30), Reversed(0x20),
                   Reversed(0x10)}));
  EXPECT_EQ(RowOf(data, "ID", 1), (Bytes{0x34, 0x12}));

  // The same image as hex text, and as an NVCM image with its expected read-back.
  std::string text;
  for (unsigned char c : IscLayoutImage(4, 4)) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X ", c);
    text += pair;
  }
  const std::string text_path = dir.Write("a.hex", text);
  SVFPlusData from_text;
  ASSERT_EQ(Read(HEX2ISCSVFPlus, text_path, device, from_text, dir.Path("")), 0);
  EXPECT_EQ(RowOf(from_text, "FuseArray_TDI", 4), RowOf(data, "FuseArray_TDI", 4));
  SVFPlusData nvcm;
  ASSERT_EQ(Read(NVCM2SVFPlus, text_path, device, nvcm, dir.Path("")), 0);
  for (int r = 1; r <= 4; ++r)
    EXPECT_EQ(RowOf(nvcm, "FuseArray_TDO", r), RowOf(data, "FuseArray_TDI", r));

  // No synchronisation sequence, or nothing after the first row.
  SVFPlusData none;
  EXPECT_EQ(Read(BIN2ISCSVFPlus, dir.Write("n.bin", "\x7E\xAA\x7E\x99"), device, none), -1);
  SVFPlusData short_one;
  EXPECT_EQ(Read(BIN2ISCSVFPlus, dir.Write("s.bin", IscLayoutImage(1, 4).substr(0, 30)), device,
                 short_one),
            -1);
}

TEST(IscLayoutImage, MarskBlocks) {
  TempDir dir;
  DeviceInfo device = Device("CorvaneMarsk", 1, 16);
  std::string image = "\x7E\xAA\x99\x7E" + std::string(20, '\0');
  image += "\x01\x02";                                               // block 1: fuse row
  image += std::string(7, '\0') + "\x03" + std::string(6625, '\0');  // block 2: E row
  image += std::string(7, '\0') + "\x04\x05";                        // block 3: fuse row
  SVFPlusData data;
  ASSERT_EQ(Read(BIN2ISCSVFPlus, dir.Write("m.bin", image), device, data), 0);
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 1), (Bytes{Reversed(2), Reversed(1)}));
  EXPECT_EQ(RowOf(data, "FuseArray_TDI", 2), (Bytes{Reversed(5), Reversed(4)}));
  const Bytes e_row = RowOf(data, "EFuseArray_TDI", 1);
  ASSERT_EQ(e_row.size(), 6626u);
  EXPECT_EQ(e_row[6625], Reversed(3));
}

TEST(FirmwareImage, BinImagesAndTheirMeasure) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 1, 8);
  SVFPlusData data;
  // A ".bin" image that ends in 0x06 is measured one byte longer: the row has room for it.
  ASSERT_EQ(Read(Firmware2SVFPlus, dir.Write("f.bin", "\x01\x06"), device, data), 0);
  EXPECT_EQ(RowOf(data, "Firmware_FuseArray_TDI", 1), (Bytes{0x00, Reversed(6), Reversed(1)}));
  std::string name = dir.Write("g.BIN", "\x01\x06");
  unsigned long bits = 0;
  EXPECT_EQ(BITCheck(name.data(), &bits), 0);
  EXPECT_EQ(bits, 24u);
  EXPECT_EQ(BITCheck(name.data(), &device, &bits), 0);
  EXPECT_EQ(bits, 16u);
  std::string other = dir.Write("g.bit", "\x01\x06");
  EXPECT_EQ(BITCheck(other.data(), &bits), 0);
  EXPECT_EQ(bits, 16u);
  std::string empty = dir.Write("e.bin", "");
  bits = 99;
  EXPECT_EQ(BITCheck(empty.data(), &bits), 0);
  EXPECT_EQ(bits, 99u);
  std::string missing = dir.Path("none.bin");
  EXPECT_EQ(BITCheck(missing.data(), &bits), -2);

  // A bitstream's firmware patch data, bit-reversed, in order.
  XFPBitstreamModel model;
  model.SetDevice(device);
  XFPFrameModel patch("Write Patch Program Increment Frame", 0x81);
  const unsigned char bytes[3] = {0x01, 0x02, 0xF0};
  patch.AddComponent(XFPFrameComponentModel("Data", bytes, 3, 24));
  model.AddFrame(patch);
  std::string stream = dir.Path("fw.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, stream.c_str()), 0);
  SVFPlusData firmware;
  ASSERT_EQ(Read(Firmware2SVFPlus, stream, device, firmware), 0);
  EXPECT_EQ(RowOf(firmware, "Firmware_FuseArray_TDI", 1), (Bytes{0x80, 0x40, 0x0F}));
  SVFPlusData broken;
  EXPECT_EQ(Read(Firmware2SVFPlus, dir.Write("x.bit", "\x41"), device, broken), kXFPNoHeader);
  EXPECT_EQ(BITCheck(missing.data(), nullptr, &bits), -6);
}

TEST(ImageReaders, Statuses) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 2, 16);
  const std::string missing = dir.Path("none.bin");
  for (Reader reader : {&BIN2SVFPlus, &BIN2ISCSVFPlus, &Firmware2SVFPlus}) {
    SVFPlusData data;
    EXPECT_EQ(Read(reader, missing, device, data), -2);
    std::string name = missing;
    EXPECT_EQ(reader(name.data(), &device, 0, nullptr, nullptr, nullptr, nullptr), -6);
    EXPECT_EQ(reader(name.data(), nullptr, 0, &data, nullptr, nullptr, nullptr), -6);
    EXPECT_EQ(reader(nullptr, &device, 0, &data, nullptr, nullptr, nullptr), -6);
  }
  std::string name = missing;
  SVFPlusData data;
  EXPECT_EQ(MCS2SVFPlus(name.data(), &device, 0, &data, nullptr, nullptr, nullptr), -2);
  EXPECT_EQ(MCS2SVFPlus(name.data(), &device, 0, nullptr, nullptr, nullptr, nullptr), -6);
  EXPECT_EQ(NVCM2SVFPlus(name.data(), nullptr, 0, &data, nullptr, nullptr, nullptr), -6);
}

}  // namespace
