// Bitstream properties, listings, BIT2ISC/RBT2ISC and CBitstreamToISC.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/bitstream/bitstream_support.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace fusekit::testing;

std::string Make(const TempDir& dir, const char* name, const XFPBitstreamModel& model) {
  const std::string path = dir.Path(name);
  const std::string n = name;
  const bool ascii = n.size() > 4 &&
                     (n.find(".rbt") != std::string::npos || n.find(".rbka") != std::string::npos ||
                      n.find(".mska") != std::string::npos);
  EXPECT_EQ(ascii ? XFPGenerateBitstream::GenerateAscii(model, path.c_str())
                  : XFPGenerateBitstream::Generate(model, path.c_str()),
            0);
  return path;
}

TEST(BitstreamProperties, EncryptionModesAndComments) {
  TempDir dir;
  const struct {
    const char* family;
    std::vector<std::string> entries;
    bool encrypted;
    int expected;
  } cases[] = {
      {"TestFamily", {"Config Mode: SPIm"}, true, 1},
      {"TestFamily", {"Config Mode: SPIM"}, true, 2},
      {"TestFamily", {"Config Mode: SPI"}, true, 2},
      {"TestFamily", {"Config Mode: "}, true, -1},
      {"TestFamily", {"Design: x"}, true, -1},
      {"CorvaneTorvik4", {"Design: x"}, true, 1},
      {"TestFamily", {"Config Mode: SPI"}, false, 0},
  };
  for (const auto& c : cases) {
    DeviceInfo device = BitstreamDevice(c.family);
    XFPBitstreamModel model = SampleModel(device, c.entries, {}, 1);
    if (c.encrypted) model.AddFrame(Frame("Encrypted Data Frame", {1}));
    const std::string path = Make(dir, "e.bit", model);
    EXPECT_EQ(IsBitstreamEncrypted(path.c_str(), &device), c.expected) << c.entries[0];
  }
  DeviceInfo device = BitstreamDevice("TestFamily");
  XFPBitstreamModel model = SampleModel(device, {"Config Mode: SPI", "Security : ON"}, {}, 1);
  model.AddFrame(Frame("Compressed Data Frame", {1, 2}));
  model.AddFrame(Frame("Authentication Frame", {3}, "Signature"));
  const std::string bit = Make(dir, "c.BIT", model);
  EXPECT_TRUE(IsBitstreamCompressed(bit.c_str(), &device));
  EXPECT_FALSE(IsBitstreamCompressed(dir.Path("none.bit").c_str(), &device));
  std::string name = bit;
  const std::string log = dir.Path("auth.log");
  EXPECT_EQ(GetAuthenticatedInfo(name.data(), &device, log.c_str()), 1);
  model.AddFrame(Frame("Encrypted Data Frame", {4}));
  std::string both = Make(dir, "both.rbt", model);
  EXPECT_EQ(GetAuthenticatedInfo(both.data(), &device, log.c_str()), 3);
  std::string other = dir.Write("x.bit2", "");
  EXPECT_EQ(GetAuthenticatedInfo(other.data(), &device, log.c_str()), 0);

  // Comment entries: names without white space and case; the ASCII form gives upper case.
  KvCString value;
  GetBitstreamComment(value, "config mode", bit.c_str());
  EXPECT_STREQ(value.GetString(), "SPI");  // ".BIT" is lower-cased first
  const std::string lower = Make(dir, "c.bit", model);
  GetBitstreamComment(value, "config mode", lower.c_str());
  EXPECT_STREQ(value.GetString(), "SPI");
  GetBitstreamComment(value, "SECURITY", lower.c_str());
  EXPECT_STREQ(value.GetString(), "ON");
  const std::string rbt = Make(dir, "c.rbt", SampleModel(device, {"Design: top_v2"}, {}, 1));
  GetBitstreamComment(value, "design", rbt.c_str());
  EXPECT_STREQ(value.GetString(), "TOP_V2");
  GetBitstreamComment(value, "missing", lower.c_str());
  EXPECT_STREQ(value.GetString(), "");
}

TEST(BitstreamProperties, WhatJedecAndIscFilesDeclare) {
  TempDir dir;
  const std::string isc = dir.Write(
      "a.isc", "-- DEVICE NAME: TV64-7J44C\n-- TOTAL_FUSES = 2304\n-- an encrypted jedec\n");
  EXPECT_EQ(GetISCFuseCountByFilename(isc.c_str()), 2304u);
  EXPECT_EQ(GetEncrytedFromFile(isc.c_str()), 1);
  const std::string jed = dir.Write("b.JED", "\x02QF100*\nNOTE TOTAL_FUSES=77*\n\x03");
  EXPECT_EQ(GetISCFuseCountByFilename(jed.c_str()), 77u);
  EXPECT_EQ(GetEncrytedFromFile(jed.c_str()), 0);
  EXPECT_EQ(GetISCFuseCountByFilename(dir.Write("c.txt", "TOTAL_FUSES = 5").c_str()), 0u);
  KvCString name;
  GetDeviceNameFromFile(name, isc.c_str());
  EXPECT_STREQ(name.GetString(), "TV64-7J44C");
  DeviceInfo device = BitstreamDevice("TestFamily");
  const std::string bit = Make(dir, "d.bit", SampleModel(device, {"Part Name: FD2-2000"}, {}, 1));
  GetDeviceNameFromFile(name, bit.c_str());
  EXPECT_STREQ(name.GetString(), "FD2-2000");
  GetDeviceNameFromFile(name, dir.Write("e.bsm", "#DN GR-120\n").c_str());
  EXPECT_STREQ(name.GetString(), "GR-120");
}

TEST(BitstreamListings, DumpAndFrames) {
  TempDir dir;
  const std::string out = dir.Path("out.txt");
  // A 16-byte file: one full line, then a line with only the next offset.
  const std::string sixteen = dir.Write("a.bin", "ABCDEFGHIJKLMNO\x01");
  ASSERT_EQ(fnBITFileDisplay(sixteen.c_str(), out.c_str()), 0);
  EXPECT_EQ(ReadFile(out),
            "00000000   41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 01  ABCDEFGHIJKLMNO.\n"
            "00000010  \n");
  ASSERT_EQ(fnBITFileDisplay(dir.Write("b.bin",
                                       "\xFF"
                                       "a")
                                 .c_str(),
                             out.c_str()),
            0);
  EXPECT_EQ(ReadFile(out), "00000000   FF 61\n");
  EXPECT_EQ(fnBITFileDisplay(dir.Path("none").c_str(), out.c_str()), -1);

  DeviceInfo device = BitstreamDevice("TestFamily");
  XFPBitstreamModel model = SampleModel(device, {"A: b"}, {}, 0);
  for (int i = 0; i < 3; ++i)
    model.AddFrame(Frame("eDataFrame", Bytes(8, static_cast<unsigned char>(i))));
  std::string bit = Make(dir, "f.bit", model);
  ASSERT_EQ(fnBITFileDisplay(bit.data(), &device, out.c_str(), nullptr), 0);
  EXPECT_EQ(ReadFile(out),
            "\n--A: b\n--\n"
            "//Row1\n 000000  0000000000000000 \n"
            "//Row2\n 000000  0101010101010101 \n"
            "//Row3\n 000000  0202020202020202 \n");
  std::string upper = Make(dir, "g.BIT", model);
  EXPECT_EQ(fnBITFileDisplay(upper.data(), &device, out.c_str(), nullptr), -2);
  EXPECT_EQ(ReadFile(out), "\nFile " + upper + " is invalid Type.\n");
  std::string broken = dir.Write("h.bit",
                                 "\xFF\x00"
                                 "A");
  EXPECT_EQ(fnBITFileDisplay(broken.data(), &device, out.c_str(), nullptr), -2);
  EXPECT_NE(ReadFile(out).find("Error Reading file " + broken + "."), std::string::npos);
  // The model's own message lands in the listing intact, and the failure line follows it.
  std::string junk_bit = dir.Write("junk.bit", "junk");
  std::string junk_rbt = dir.Write("junk.rbt", "junk\n");
  const struct {
    const char* what;
    std::function<int()> list;
    std::string input;
  } failing[] = {
      {"bit", [&] { return fnBITFileDisplay(junk_bit.data(), &device, out.c_str(), nullptr); },
       junk_bit},
      {"rbt", [&] { return fnRBTFileDisplay(junk_rbt.data(), &device, out.c_str(), nullptr); },
       junk_rbt},
      {"ebr",
       [&] { return fnEBRFileDisplay(junk_bit.data(), &device, out.c_str(), nullptr, nullptr); },
       junk_bit},
  };
  for (const auto& f : failing) {
    SCOPED_TRACE(f.what);
    EXPECT_EQ(f.list(), -2);
    const std::string listing = ReadFile(out);
    const std::string closing = "\nError Reading file " + f.input + ".\n";
    ASSERT_GE(listing.size(), closing.size());
    EXPECT_EQ(listing.substr(listing.size() - closing.size()), closing);
    EXPECT_EQ(listing.rfind("Bitstream " + f.input + ": ", 0), 0u) << listing;
  }
  EXPECT_EQ(fnBITFileDisplay(bit.data(), nullptr, out.c_str(), nullptr), 0);
  EXPECT_EQ(ReadFile(out), "");

  std::string rbt = Make(dir, "f.rbt", model);
  ASSERT_EQ(fnRBTFileDisplay(rbt.data(), &device, out.c_str(), nullptr), 0);
  EXPECT_EQ(ReadFile(out),
            "\n-- Corvane Semiconductor Corporation ASCII Bitstream\n-- Created by fusekit\n"
            "-- A: b\n\n"
            "//Row1\n 000000  0000000000000000 \n"
            "//Row2\n 000000  0101010101010101 \n"
            "//Row3\n 000000  0202020202020202 \n");

  // User flash data, through a mask that shows the low nibble only.
  XFPBitstreamModel data = SampleModel(device, {}, {}, 1);
  XFPBitstreamModel mask;
  mask.SetDevice(device);
  mask.AddFrame(Frame("Data Frame", Bytes(8, 0x0F)));
  std::string data_bit = Make(dir, "u.bit", data);
  const std::string mask_msk = Make(dir, "u.msk", mask);
  ASSERT_EQ(fnEBRFileDisplay(data_bit.data(), &device, out.c_str(), mask_msk.c_str(), nullptr), 0);
  const std::string listing = ReadFile(out);
  EXPECT_EQ(listing.rfind("--CREATED BY:    Corvane Semiconductor Veltrix Deployment Tool\n", 0),
            0u);
  EXPECT_NE(listing.find("--DEVICE: T\n--User Flash (EBR) Data\n//Row1\n0001020304050607\n"),
            std::string::npos)
      << listing;
}

TEST(BitstreamToIsc, DirectConversionsWithTheUsercodeFromTheCrc) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const XFPBitstreamModel model = SampleModel(device, {"A: b"}, {1, 2, 3, 4});
  std::string bit = Make(dir, "a.bit", model);
  std::string rbt = Make(dir, "a.rbt", model);
  std::string entity = "T";
  std::string out = dir.Path("a.isc");
  char empty[] = "";
  const int checksum =
      BIT2ISC(bit.data(), &device, 1, "", "", empty, "", entity.data(), out.data(), 1, "me");
  ASSERT_GE(checksum, 0);
  ISCSummary s;
  ASSERT_EQ(GetISCSummary(out.c_str(), &s), 0);
  EXPECT_EQ(s.storedFileChecksum, checksum);
  EXPECT_NE(s.comments.find("-- DATA_FILENAME = " + bit), std::string::npos) << s.comments;
  // The usercode block holds the array's data CRC.
  SVFPlusData data;
  ASSERT_EQ(BIT2SVFPlus(bit.data(), &device, 0, &data, "", "", "", false), 0);
  SVFDataField* array = data.GetDataField("FuseArray_TDI");
  array->ResetRowPointer();
  char crc[16];
  GetDataCRC(nullptr, array, nullptr, nullptr, true, crc);
  EXPECT_NE(ReadFile(out).find(std::string("     ") + crc + "\n"), std::string::npos);
  std::string out2 = dir.Path("b.isc");
  EXPECT_GE(RBT2ISC(rbt.data(), &device, 1, "", "", empty, "", entity.data(), out2.data(), 0, "me"),
            0);
  // A null device: the reader's own status, passed through.
  EXPECT_EQ(BIT2ISC(bit.data(), nullptr, 1, "", "", empty, "", entity.data(), out.data(), 0, "me"),
            -6);
  EXPECT_EQ(RBT2ISC(rbt.data(), nullptr, 1, "", "", empty, "", entity.data(), out.data(), 0, "me"),
            -6);
  std::string missing = dir.Path("none.bit");
  EXPECT_EQ(
      BIT2ISC(missing.data(), &device, 1, "", "", empty, "", entity.data(), out.data(), 0, "me"),
      -2);
}

TEST(BitstreamToIsc, ExtractionByFamilyAndGenerate) {
  TempDir dir;
  const struct {
    const char* family;
    unsigned data_length;
    bool config_sram;
    bool readback_sram;
  } cases[] = {
      {"CorvanePelmo2", 128, false, false}, {"CorvanePelmo2", 64, true, true},
      {"CorvaneTorvik4", 64, true, false},  {"CorvaneGlimra", 128, true, false},
      {"TestFamily", 64, false, false},
  };
  for (const auto& c : cases) {
    DeviceInfo device = BitstreamDevice(c.family);
    device.SetDataLength(c.data_length);
    device.SaveDeviceBackupValue();
    const Bytes frame = Bytes(c.data_length / 8, 0x01);
    XFPBitstreamModel config;
    config.SetDevice(device);
    config.AddFrame(Frame("Data Frame", frame));
    const std::string config_bit = Make(dir, "c.bit", config);
    const std::string readback_bit = Make(dir, "r.rbk", config);
    SVFPlusData data;
    CBitstreamToISC converter;
    ASSERT_EQ(converter.Initialize(device, &data, dir.Path("log.txt").c_str(), config_bit.c_str(),
                                   readback_bit.c_str(), ""),
              0)
        << c.family;
    // Frames of 0x01 bytes: the plain extraction keeps 0x01 last, the SRAM one puts 0x80 there.
    const Bytes tdi = RowBytes(data, "FuseArray_TDI");
    const Bytes tdo = RowBytes(data, "FuseArray_TDO");
    EXPECT_EQ(tdi.back() == 0x80, c.config_sram) << c.family;
    EXPECT_EQ(tdo.back() == 0x80, c.readback_sram) << c.family;
  }
  // Generate: the security comment forces the override line; an empty read-back name creates no
  // model and logs nothing.
  DeviceInfo device = BitstreamDevice("TestFamily");
  XFPBitstreamModel config = SampleModel(device, {"Security: ON"}, {}, 2);
  const std::string config_bit = Make(dir, "s.bit", config);
  const std::string log = dir.Path("gen.log");
  CBitstreamToISC converter;
  ASSERT_EQ(converter.Initialize(device, dir.Path("s.isc").c_str(), log.c_str(), config_bit.c_str(),
                                 "", nullptr),
            0);
  const int checksum = converter.Generate("T", "me", false, nullptr);
  ASSERT_GE(checksum, 0);
  const std::string text = ReadFile(dir.Path("s.isc"));
  EXPECT_NE(text.find("\toverride proc_program_security program ON\n"), std::string::npos);
  EXPECT_NE(text.find("-- DATA_FILENAME = " + config_bit), std::string::npos);
  EXPECT_EQ(ReadFile(log), "");
  EXPECT_EQ(
      converter.Initialize(device, static_cast<const char*>(nullptr), log.c_str(), "", "", ""), -1);
  // A model that cannot be built is logged with its kind.
  const std::string bad = dir.Write("bad.msk", "\xFF");
  EXPECT_LT(
      converter.Initialize(device, dir.Path("x.isc").c_str(), log.c_str(), "", "", bad.c_str()), 0);
  EXPECT_NE(ReadFile(log).find("File: " + bad + "\nFailed to Create ReadBack Mask Model:\n"),
            std::string::npos);
}

// Comment blocks longer than the conversions' 100000-byte comment buffer: a bitstream named
// ".jed" (whose text is taken for JEDEC notes) and a comment file of 150 KB. The block is cut
// to whole lines, and the file written reads back.
TEST(BitstreamToIsc, CommentBlocksOverTheBufferAreCutToWholeLines) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  std::vector<std::string> entries;
  for (int i = 0; i < 2000; ++i)
    entries.push_back("Entry " + std::to_string(i) + ": " + std::string(100, 'c'));
  const XFPBitstreamModel model = SampleModel(device, entries, {1, 2, 3, 4});
  std::string bit = dir.Path("big.jed");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, bit.c_str()), 0);
  std::string rbt = dir.Path("bigascii.jed");
  ASSERT_EQ(XFPGenerateBitstream::GenerateAscii(model, rbt.c_str()), 0);
  const std::string comment_file = dir.Write("comments.txt", [] {
    std::string text;
    for (int i = 0; i < 1500; ++i)
      text += "Line " + std::to_string(i) + std::string(100, 'k') + "\n";
    return text;
  }());
  std::string entity = "T";
  char empty[] = "";
  const auto check = [&](const char* what, const std::string& isc, int result, bool cut = true) {
    SCOPED_TRACE(what);
    ASSERT_GE(result, 0);
    const std::string text = ReadFile(isc);
    const std::size_t opening = text.find("IEEE_1532_Data (");
    ASSERT_NE(opening, std::string::npos);
    EXPECT_LT(opening, 100000u);
    if (cut) {
      EXPECT_GT(opening, 50000u) << "the block is cut, not dropped";
    }
    EXPECT_EQ(text[opening - 1], '\n');
    std::string name = isc;
    SVFPlusData back;
    EXPECT_EQ(ISC2SVFPlus(name.data(), &device, 1, &back, "", empty, "", empty,
                          static_cast<KvObjList*>(nullptr), nullptr, nullptr),
              1);
  };
  std::string out = dir.Path("b.isc");
  // Without a usercode the binary form is read without its model, whatever its name; its text
  // stops at the first byte that is not text, so the block is short.
  DeviceInfo no_usercode = device;
  no_usercode.SetPhysicalUESLength(0);
  check("BIT2ISC", out,
        BIT2ISC(bit.data(), &no_usercode, 1, "", "", empty, "", entity.data(), out.data(), 0, "me"),
        false);
  check("RBT2ISC", out,
        RBT2ISC(rbt.data(), &device, 1, "", "", empty, "", entity.data(), out.data(), 0, "me"));
  const std::string small = Make(dir, "small.bit", SampleModel(device, {"A: b"}, {1, 2, 3, 4}));
  CBitstreamToISC converter;
  const std::string generated = dir.Path("g.isc");
  ASSERT_EQ(converter.Initialize(device, generated.c_str(), dir.Path("g.log").c_str(),
                                 small.c_str(), "", nullptr),
            0);
  check("Generate", generated, converter.Generate("T", "me", false, comment_file.c_str()));
}

}  // namespace
