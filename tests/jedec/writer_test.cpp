// SVFPlus2JEDEC and BuildJEDHeader, tested against the readers they mirror: a JEDEC file read
// into programming data, written back, and read again gives the same fields; the written file
// passes the reader's checks and the JEDEC compare against the original; the header block comes
// back through ParseJEDECHeader.
#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <vector>

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

// Every field as field name, then each row's width and bytes.
std::string Fields(const SVFPlusData& data) {
  std::string text = "security " + std::to_string(data.GetSecurity()) + ", user flash " +
                     std::to_string(data.GetUFM0()) + std::to_string(data.GetUFM1()) +
                     std::to_string(data.GetFlashCUFM2()) + ", end data at " +
                     std::to_string(data.GetEndDataLoc()) + "\n";
  for (int f = 0; f < data.GetDataFieldCount(); ++f) {
    const SVFDataField* field = data.GetDataField(f);
    text += field->GetFieldName();
    for (int r = 1; r <= field->GetRowCount(); ++r) {
      text += " [" + std::to_string(field->GetRowWidth(r)) + "]";
      const KvByteBuffer* row = field->GetRow(r);
      for (int i = 0; i < row->GetDataSize(); ++i) text += std::to_string(row->ReadData(i)) + ".";
    }
    text += "\n";
  }
  return text;
}

int Read(const std::string& path, DeviceInfo& device, SVFPlusData& data) {
  std::string name = path;
  return JEDEC2SVFPlus(name.data(), &device, 1, &data, nullptr, nullptr, nullptr, nullptr);
}

struct Case {
  const char* what;
  std::function<DeviceInfo()> device;
  std::function<void(JedecBuilder&)> file;
  // A usercode position the mask forces reads as 1 whatever the file held: such a file is not
  // given back text for text, only its programming data is.
  bool same_file = true;
};

DeviceInfo Made(const char* family, unsigned rows, unsigned width,
                const std::function<void(DeviceInfo&)>& change = {}) {
  DeviceInfo d = fusekit::testing::TestDevice(family, rows, width);
  if (change) change(d);
  d.SaveDeviceBackupValue();
  return d;
}

TEST(JedecWriter, ReadWriteReadGivesTheSameDataForEveryLayout) {
  const Case cases[] = {
      {"rows of 16", [] { return Made("TestFamily", 4, 16); },
       [](JedecBuilder& b) { b.extra_fields = "UH1A2B3C4D*\n"; }},
      {"odd width, secured", [] { return Made("TestFamily", 5, 12); },
       [](JedecBuilder& b) {
         b.g = 1;
         b.extra_fields = "UHB38F0F83*\n";
       }},
      {"rows listed last first",
       [] {
         return Made("TestFamily", 6, 10, [](DeviceInfo& d) { d.SetBitMapTransformation(1); });
       },
       {}},
      {"twice the address count",
       [] {
         return Made("TestFamily", 3, 8, [](DeviceInfo& d) {
           d.SetBitMapTransformation(4);
           d.SetFuseNumber(48);
         });
       },
       {}},
      {"48-bit usercode placed reversed",
       [] {
         return Made("TestFamily", 2, 16, [](DeviceInfo& d) {
           d.SetPhysicalUESLength(48);
           d.SetjtagLogicalUESLength(48);
         });
       },
       [](JedecBuilder& b) { b.extra_fields = "UH123456789ABC*\n"; }},
      {"an SED row after the usercode",
       [] { return Made("TestFamily", 2, 16, [](DeviceInfo& d) { d.SetSEDLength(32); }); },
       [](JedecBuilder& b) {
         b.extra_fields = "UH00000000CA3D6996*\n";  // the usercode, then the SED bits
       }},
      {"direct SPI architecture row",
       [] {
         return Made("CorvaneTorvik4", 2, 16, [](DeviceInfo& d) {
           d.SetARCHLength(16);
           d.SetARCHRow(1);
         });
       },
       [](JedecBuilder& b) { b.extra_fields = "E0110100111000101*\nUH0000BEEF*\n"; }},
      {"128-bit rows with an E section, Padring rows and G kept",
       [] {
         return Made("CorvanePelmo2", 4, 128, [](DeviceInfo& d) {
           d.SetFuseNumber(4 * 128 + 256);
           d.SetELength(256);
           d.SetERow(2);
           d.SetPadring({"1", "3"});
         });
       },
       [](JedecBuilder& b) { b.g = 3; }},
      {"a switch device: rows mirrored, listed last first, a masked 48-bit usercode",
       [] {
         return Made("ispSarn", 8, 10, [](DeviceInfo& d) {
           d.SetCodeName("Sarn18");
           d.SetBitMapTransformation(1);
           d.SetPhysicalUESLength(48);
           d.SetjtagLogicalUESLength(48);
           d.SetjtagUESMask("F0F0F0000000");
         });
       },
       [](JedecBuilder& b) { b.extra_fields = "UH123456789ABC*\n"; }, false},
      {"Fendra2: 128-bit rows after the Padring section",
       [] {
         return Made("CorvaneFendra2", 2, 128, [](DeviceInfo& d) {
           d.SetFuseNumber(256 + 32 + 128);
           d.SetELength(128);
           d.SetERow(1);
           d.SetPadring({"32"});
         });
       },
       [](JedecBuilder& b) {
         // Programming data does not hold the Padring section: the writer gives it as 0.
         for (std::size_t f = 256; f < 288; ++f) b.fuses[f] = false;
       }},
      {"Pelmo3D with a user-flash note",
       [] {
         return Made("CorvanePelmo3D", 4, 128, [](DeviceInfo& d) {
           d.SetFuseNumber(4 * 128 + 128);
           d.SetELength(128);
           d.SetERow(1);
         });
       },
       [](JedecBuilder& b) { b.notes = {"NOTE USER MEMORY DATA UFM1"}; }},
      {"Pelmo3D whose main array is named EFuseArray_TDI",
       [] {
         return Made("CorvanePelmo3D", 1, 128, [](DeviceInfo& d) { d.SetFuseNumber(0x5F80); });
       },
       {}},
      {"Glimra",
       [] { return Made("CorvaneGlimra", 3, 128, [](DeviceInfo& d) { d.SetFuseNumber(384); }); },
       [](JedecBuilder& b) { b.g = 2; }},
      {"Orlan D6 user-flash image of 2048-bit rows",
       [] {
         return Made("CorvaneOrlanD6", 8, 2048, [](DeviceInfo& d) { d.SetFuseNumber(0x200000); });
       },
       [](JedecBuilder& b) { b.notes = {"NOTE USER MEMORY DATA UFM0"}; }},
      {"the END-data note", [] { return Made("TestFamily", 4, 16); },
       [](JedecBuilder& b) { b.notes = {"NOTE END CONFIG DATA*\nNOTE L40"}; }},
      {"E section of its own rows",
       [] {
         return Made("TestFamily", 4, 16, [](DeviceInfo& d) {
           d.SetFuseNumber(64 + 2 * 24);
           d.SetELength(24);
           d.SetERow(2);
         });
       },
       {}},
  };
  TempDir dir;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    DeviceInfo device = c.device();
    JedecBuilder b;
    b.fuses = RandomFuses(device.GetFuseNumber(), 31);
    if (c.file) c.file(b);
    const std::string original = dir.Write("original.jed", b.Build());
    SVFPlusData first;
    ASSERT_EQ(Read(original, device, first), 0);

    std::vector<char> header(4096);
    BuildJEDHeader(header.data(), "fusekit test", device.GetName(), first.GetComment());
    const std::string written = dir.Path("written.jed");
    const int transmission = SVFPlus2JEDEC(&first, &device, 1, written.c_str(), header.data());
    ASSERT_GE(transmission, 0) << transmission;
    SVFPlusData second;
    ASSERT_EQ(Read(written, device, second), 0) << ReadFile(written);
    // The comment is the new header; everything else is the same, byte for byte.
    EXPECT_EQ(Fields(second), Fields(first)) << ReadFile(written);

    std::string name = written;
    EXPECT_EQ(VerifyJEDECfile(name.data(), &device, 1), 0);
    unsigned short computed = 0, stored = 0;
    EXPECT_EQ(ValidTransmissionChecksum(name.data(), &computed, &stored), 1);
    EXPECT_EQ(stored, transmission);
    const int differing =
        fnJEDFileCompare(written.c_str(), original.c_str(), dir.Path("r.txt").c_str());
    if (c.same_file) {
      EXPECT_EQ(differing, 0) << ReadFile(dir.Path("r.txt"));
    }
  }
}

TEST(JedecWriter, TheBundledSampleComesBackFuseForFuse) {
  TempDir dir;
  DeviceDatabase database;
  ASSERT_EQ(database.LoadDefault(), 0);
  DeviceInfo device = *database.FindDevice("TV64");
  const std::string sample = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.jed";
  SVFPlusData first;
  ASSERT_EQ(Read(sample, device, first), 0);
  std::vector<char> header(8192);
  BuildJEDHeader(header.data(), "fusekit test", device.GetName(), first.GetComment());
  const std::string written = dir.Path("tv64.jed");
  ASSERT_GE(SVFPlus2JEDEC(&first, &device, 1, written.c_str(), header.data()), 0);
  SVFPlusData second;
  ASSERT_EQ(Read(written, device, second), 0);
  EXPECT_EQ(Fields(second), Fields(first));
  EXPECT_EQ(fnJEDFileCompare(written.c_str(), sample.c_str(), dir.Path("r.txt").c_str()), 0)
      << ReadFile(dir.Path("r.txt"));
  EXPECT_NE(ReadFile(written).find("\r\nQP44*\r\nQF2304*\r\n"), std::string::npos)
      << "the pin count comes from the package";
}

TEST(JedecWriter, HeaderSurvivesRoundTripsAndNotesStayNotes) {
  TempDir dir;
  DeviceInfo device = Made("TestFamily", 2, 8);
  SVFPlusData data;
  SVFDataField* array = data.AddDataField();
  array->SetFieldName("FuseArray_TDI");
  for (int r = 0; r < 2; ++r) array->AddRow(8)->WriteData(static_cast<unsigned char>(0xA5 + r));
  std::string comment = "My design\nNOTE pins a*b\nfree text \xC3\xA9\n";
  std::string block;
  for (int round = 0; round < 3; ++round) {
    std::vector<char> header(4096);
    BuildJEDHeader(header.data(), "fusekit 1", "T", comment.c_str());
    block = header.data();
    const std::string path = dir.Path("h.jed");
    ASSERT_GE(SVFPlus2JEDEC(&data, &device, 1, path.c_str(), block.c_str()), 0);
    std::vector<char> parsed(8192, '\0');
    ParseJEDECHeader(parsed.data(), path.c_str(), false);
    EXPECT_EQ(std::string(parsed.data()), block);
    SVFPlusData back;
    ASSERT_EQ(Read(path, device, back), 0);
    comment = back.GetComment();
  }
  EXPECT_EQ(block.rfind("My design\nNOTE CREATED BY: Corvane Semiconductor fusekit 1\n"
                        "NOTE DEVICE NAME: T\nNOTE DATE: ",
                        0),
            0u)
      << block;
  EXPECT_NE(block.find("\nNOTE pins a+b\nNOTE free text ??\n"), std::string::npos) << block;
  EXPECT_EQ(block.find("NOTE DATE:", block.find("NOTE DATE:") + 1), std::string::npos)
      << "the date of an earlier write is replaced, not kept" << block;
}

TEST(JedecWriter, Statuses) {
  TempDir dir;
  DeviceInfo device = Made("TestFamily", 2, 8);
  SVFPlusData empty;
  SVFPlusData narrow;
  SVFDataField* array = narrow.AddDataField();
  array->SetFieldName("FuseArray_TDI");
  array->AddRow(4)->WriteData(0x0F);
  SVFPlusData good;
  SVFDataField* rows = good.AddDataField();
  rows->SetFieldName("FuseArray_TDI");
  for (int r = 0; r < 2; ++r) rows->AddRow(8)->WriteData(0x3C);
  const std::string path = dir.Path("s.jed");
  DeviceInfo v22 = Made("SPLD", 2, 8, [](DeviceInfo& d) { d.SetCodeName("22V10"); });
  const struct {
    const char* what;
    std::function<int()> write;
    int status;
  } cases[] = {
      {"null data", [&] { return SVFPlus2JEDEC(nullptr, &device, 1, path.c_str(), nullptr); },
       -100},
      {"null device", [&] { return SVFPlus2JEDEC(&empty, nullptr, 1, path.c_str(), nullptr); },
       -100},
      {"no file name", [&] { return SVFPlus2JEDEC(&empty, &device, 1, "", nullptr); }, -6},
      {"no main array", [&] { return SVFPlus2JEDEC(&empty, &device, 1, path.c_str(), nullptr); },
       -1000},
      {"rows of another shape",
       [&] { return SVFPlus2JEDEC(&narrow, &device, 1, path.c_str(), nullptr); }, -18},
      {"a 22V10 code name on another geometry",
       [&] { return SVFPlus2JEDEC(&narrow, &v22, 1, path.c_str(), nullptr); }, -16},
      {"a folder that does not exist",
       [&] { return SVFPlus2JEDEC(&good, &device, 1, dir.Path("no/s.jed").c_str(), nullptr); },
       -13},
  };
  for (const auto& c : cases) EXPECT_EQ(c.write(), c.status) << c.what;
}

}  // namespace

namespace {

TEST(UsercodeText, EveryFormAUserTypes) {
  const struct {
    const char* text;
    unsigned bits;
    int status;
    const char* hex;
  } cases[] = {
      {"0x1A2B3C4D", 32, 0, "1A2B3C4D"},
      {"1a2b3c4d", 32, 0, "1A2B3C4D"},
      {"  0XBEEF  ", 32, 0, "0000BEEF"},
      {"BEEFh", 16, 0, "BEEF"},
      {"4294967295", 32, 0, "FFFFFFFF"},
      {"4294967296", 32, -9, ""},
      {"1234", 16, 0, "04D2"},
      {"0b1010_0101", 8, 0, "A5"},
      {"10100101b", 8, 0, "A5"},
      {"'AB12'", 32, 0, "41423132"},
      {"\"Z\"", 12, 0, "05A"},
      {"'ABCDE'", 32, -9, ""},
      {"0x1FF", 8, -9, ""},
      {"0x1F", 5, 0, "1F"},
      {"0x3F", 5, -9, ""},
      {"12G4", 32, -7, ""},
      {"0b102", 8, -7, ""},
      {"", 32, -7, ""},
  };
  for (const auto& c : cases) {
    char hex[64] = "untouched";
    EXPECT_EQ(ues_edit_read_num(c.text, c.bits, hex), c.status) << c.text;
    if (c.status == 0) {
      EXPECT_STREQ(hex, c.hex) << c.text;
    }
  }
  char hex[8];
  EXPECT_EQ(ues_edit_read_num(nullptr, 32, hex), -6);
  EXPECT_EQ(ues_edit_read_num("1", 0, hex), -6);
}

TEST(JedecNotes, SerialTagAndSelvexNotesAreAddedOnceAndTheFileStaysValid) {
  TempDir dir;
  DeviceInfo device = Made("TestFamily", 4, 16);
  JedecBuilder b;
  b.fuses = RandomFuses(64, 41);
  b.notes = {"NOTE from the fitter"};
  b.eol = "\r\n";
  const std::string original = b.Build();
  std::string path = dir.Write("n.jed", original);
  ASSERT_EQ(WriteJEDEC_Selvex(path.c_str(), 0x1234ABCD), 0);
  ASSERT_EQ(WriteJEDEC_Selvex(path.c_str(), 0xCAFEF00D), 0);
  ASSERT_EQ(WriteJEDEC_UniqueID(path.c_str(), 0x5A), 0);
  const std::string text = ReadFile(path);
  EXPECT_NE(text.find("NOTE from the fitter*\r\nNOTE Selvex Enabled.*\r\nNOTE Selvex 0xCAFEF00D*"
                      "\r\nNOTE SerialTag 0x5A*\r\nQF64*"),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("1234ABCD"), std::string::npos) << "the earlier value is replaced";
  EXPECT_EQ(GetJEDEC_Selvex(path.data()), 1);
  EXPECT_EQ(GetJEDEC_USERCODE(path.data()), 0xCAFEF00DUL);
  EXPECT_EQ(VerifyJEDECfile(path.data(), &device, 1), 0);
  unsigned short computed = 0, stored = 0;
  EXPECT_EQ(ValidTransmissionChecksum(path.data(), &computed, &stored), 1);
  EXPECT_FALSE(std::filesystem::exists(dir.Path("n_tmp.jed")));

  // A file that cannot be edited stays as it was.
  const std::string broken = dir.Write("b.jed", "\x02no end*");
  EXPECT_EQ(WriteJEDEC_UniqueID(broken.c_str(), 1), -4);
  EXPECT_EQ(ReadFile(broken), "\x02no end*");
  EXPECT_EQ(WriteJEDEC_Selvex(dir.Path("missing.jed").c_str(), 1), -1);
}

TEST(ReadBackToJedec, TheFileCountsTheFusesThatReadBackWrong) {
  TempDir dir;
  DeviceInfo device = Made("TestFamily", 4, 16);
  JedecBuilder b;
  b.fuses = RandomFuses(64, 43);
  b.extra_fields = "UH12345678*\n";
  const std::string original = dir.Write("o.jed", b.Build());
  SVFPlusData data;
  ASSERT_EQ(Read(original, device, data), 0);
  // Read back: rows as programmed, three bits flipped, one of them left out by the mask.
  SVFDataField* tdi = data.GetDataField("FuseArray_TDI");
  SVFDataField* tdo = data.AddDataField();
  tdo->SetFieldName("FuseArray_TDO");
  SVFDataField* mask = data.AddDataField();
  mask->SetFieldName("FuseArray_MASK");
  for (int r = 1; r <= tdi->GetRowCount(); ++r) {
    KvByteBuffer* read = tdo->AddRow(16);
    KvByteBuffer* verified = mask->AddRow(16);
    for (int i = 0; i < 2; ++i) {
      unsigned char byte = tdi->GetRow(r)->ReadData(i);
      unsigned char keep = 0xFF;
      if (r == 1 && i == 0) byte ^= 0x01;
      if (r == 2 && i == 1) byte ^= 0x80;
      if (r == 4 && i == 1) {
        byte ^= 0x10;
        keep = 0xEF;  // not verified
      }
      read->WriteData(byte);
      verified->WriteData(keep);
    }
  }
  const std::string read_back = dir.Path("tdo.jed");
  ASSERT_GE(TDO2JEDEC(&data, &device, 1, read_back.c_str(), nullptr), 0);
  EXPECT_EQ(fnJEDFileCompare(read_back.c_str(), original.c_str(), dir.Path("r.txt").c_str()), 2)
      << ReadFile(dir.Path("r.txt"));
  EXPECT_EQ(TDO2JEDEC(nullptr, &device, 1, read_back.c_str(), nullptr), -100);
}

}  // namespace

namespace {

// Three devices of a chain, each file with its own notes, usercode and security: split of merge
// gives every file back fuse for fuse, with its fields and header lines.
TEST(TavrelChain, SplitOfMergeGivesEveryFileBack) {
  TempDir dir;
  std::list<std::string> inputs;
  const struct {
    std::size_t fuses;
    std::string fields;
    std::vector<std::string> notes;
  } files[] = {
      {64, "UH12345678*\n", {"NOTE first device", "NOTE pins 1 (a,b)"}},
      {96, "UHCAFEF00D*\nE0101*\n", {"NOTE second"}},
      {48, "", {}},
  };
  for (std::size_t i = 0; i < 3; ++i) {
    JedecBuilder b;
    b.design = "design " + std::to_string(i + 1);
    b.fuses = RandomFuses(files[i].fuses, 50 + static_cast<std::uint32_t>(i));
    b.notes = files[i].notes;
    b.qp = 44;
    b.g = static_cast<int>(i % 2);
    b.extra_fields = files[i].fields;
    inputs.push_back(dir.Write("d" + std::to_string(i + 1) + ".jed", b.Build()));
  }
  const std::string merged = dir.Path("chain.jed");
  ASSERT_EQ(MergeTavrelJedecFiles(inputs, merged.c_str()), 0);
  JEDECSummary chain;
  ASSERT_EQ(GetJEDECSummary(merged.c_str(), &chain), 0);
  EXPECT_EQ(chain.fuseCount, 64u + 96u + 48u);

  std::list<std::string> outputs;
  ASSERT_EQ(SplitTavrelJedecFiles(merged.c_str(), outputs), 0);
  ASSERT_EQ(outputs.size(), 3u);
  auto original = inputs.begin();
  for (const std::string& piece : outputs) {
    SCOPED_TRACE(piece);
    EXPECT_EQ(fnJEDFileCompare(piece.c_str(), original->c_str(), dir.Path("r.txt").c_str()), 0)
        << ReadFile(dir.Path("r.txt"));
    JEDECSummary a, b;
    ASSERT_EQ(GetJEDECSummary(piece.c_str(), &a), 0);
    ASSERT_EQ(GetJEDECSummary(original->c_str(), &b), 0);
    EXPECT_EQ(a.fuseCount, b.fuseCount);
    EXPECT_EQ(a.pinCount, b.pinCount);
    EXPECT_EQ(a.security, b.security);
    EXPECT_EQ(a.checksum, b.checksum);
    EXPECT_STREQ(a.usercode, b.usercode);
    EXPECT_EQ(a.eLength, b.eLength);
    std::vector<char> header_a(4096, '\0'), header_b(4096, '\0');
    ParseJEDECHeader(header_a.data(), piece.c_str(), false);
    ParseJEDECHeader(header_b.data(), original->c_str(), false);
    EXPECT_STREQ(header_a.data(), header_b.data());
    unsigned short computed = 0, stored = 0;
    EXPECT_EQ(ValidTransmissionChecksum(const_cast<char*>(piece.c_str()), &computed, &stored), 1);
    ++original;
  }
  EXPECT_EQ(outputs.front(), dir.Path("chain_1.jed"));

  // Named outputs must be one a device; a file that is no chain is refused.
  std::list<std::string> two = {dir.Path("x.jed"), dir.Path("y.jed")};
  EXPECT_EQ(SplitTavrelJedecFiles(merged.c_str(), two), -2);
  std::list<std::string> none;
  EXPECT_EQ(SplitTavrelJedecFiles(inputs.front().c_str(), none), -2);
  std::list<std::string> missing = {dir.Path("missing.jed")};
  EXPECT_EQ(MergeTavrelJedecFiles(missing, merged.c_str()), -1);
  std::list<std::string> empty;
  EXPECT_EQ(MergeTavrelJedecFiles(empty, merged.c_str()), -6);
}

}  // namespace

namespace {

// The fuse count the reader takes for a device of the database (the 2048-bit-row families
// size their files by their own rules).
std::uint64_t FusesReadFor(const DeviceInfo& device) {
  const std::string family = device.GetFamily();
  if (family == "CorvaneOrlanD6") return 0x580000;
  if (family == "CorvaneGrendMH") return 0xC00000;  // its user-flash image, with the note
  return device.GetFuseNumber();
}

TEST(JedecWriter, EveryDeviceOfTheBuiltInDatabaseRoundTrips) {
  TempDir dir;
  DeviceDatabase database;
  ASSERT_EQ(database.LoadDefault(), 0);
  int written_devices = 0;
  for (int i = 0; i < database.GetDeviceCount(); ++i) {
    DeviceInfo device = *database.GetDevice(i);
    SCOPED_TRACE(device.GetName());
    const std::string family = device.GetFamily();
    JedecBuilder b;
    // The whole Grend MH array is 112 million fuses; its user-flash image alone is read here.
    if (family == "CorvaneGrendMH") b.notes = {"NOTE USER MEMORY DATA UFM0"};
    b.fuses = RandomFuses(FusesReadFor(device), 60 + static_cast<std::uint32_t>(i));
    if (family == "CorvaneFendra2") {
      // The Padring section, which programming data does not hold, is written as 0.
      const std::uint64_t main = (33920 - 2176 - 1024);
      for (std::uint64_t f = main; f < main + 2176; ++f) b.fuses[f] = false;
    }
    const unsigned logical = device.GetjtagLogicalUESLength();
    std::string usercode = "UH";
    for (unsigned d = 0; d < logical / 4; ++d) usercode += "0123456789ABCDEF"[(d * 7 + i) % 16];
    if (IsDirectSPIDevice(device.GetFamily()) == 3 && device.GetARCHLength() != 0) {
      std::string e = "E";
      for (unsigned a = 0; a < device.GetARCHLength(); ++a) e += (a * 5 + i) % 3 == 0 ? '1' : '0';
      b.extra_fields = e + "*\n";
    }
    const bool v22 = std::string(device.GetCodeName()) == "22V10";
    if (v22) {
      // Its usercode is 64 more fuses of the list; its architecture fuses, which programming
      // data of this family does not hold, are written as 0.
      b.fuses = RandomFuses(5828 + 64, 60 + static_cast<std::uint32_t>(i));
      for (std::uint64_t f = 5808; f < 5828; ++f) b.fuses[f] = false;
    } else if (logical % 4 == 0 && logical != 0) {
      b.extra_fields += usercode + "*\n";
    }
    const std::string original = dir.Write("original.jed", b.Build());
    SVFPlusData first;
    ASSERT_EQ(Read(original, device, first), 0);
    const std::string written = dir.Path("written.jed");
    const int result = SVFPlus2JEDEC(&first, &device, 1, written.c_str(), nullptr);
    ASSERT_GE(result, 0);
    SVFPlusData second;
    ASSERT_EQ(Read(written, device, second), 0);
    EXPECT_EQ(Fields(second), Fields(first));
    EXPECT_EQ(fnJEDFileCompare(written.c_str(), original.c_str(), dir.Path("r.txt").c_str()), 0)
        << ReadFile(dir.Path("r.txt")).substr(ReadFile(dir.Path("r.txt")).size() - 600);
    ++written_devices;
  }
  EXPECT_EQ(written_devices, database.GetDeviceCount());
}

}  // namespace

namespace {

// ISC data file -> programming data -> JEDEC -> programming data -> ISC data file: the same
// bytes, the creation date aside.
TEST(JedecWriter, IscThroughJedecGivesTheSameIscFile) {
  TempDir dir;
  DeviceDatabase database;
  ASSERT_EQ(database.LoadDefault(), 0);
  for (const char* name : {"TV64", "PM2-1200", "TK4-25", "GL-4000"}) {
    SCOPED_TRACE(name);
    DeviceInfo device = *database.FindDevice(name);
    JedecBuilder b;
    b.fuses = RandomFuses(device.GetFuseNumber(), 70);
    b.extra_fields = "UH600DCAFE*\n";
    if (std::string(name) == "TK4-25")
      b.extra_fields = "E" + std::string(64, '1') + "*\n" + b.extra_fields;
    std::string jed = dir.Write("a.jed", b.Build());
    std::string isc = dir.Path("a.isc");
    char entity[] = "E";
    char option[] = "";
    ASSERT_GE(JEDEC2ISC(jed.data(), &device, 1, "", dir.Path("").c_str(), option, "", entity,
                        isc.data(), 0, "t"),
              0);
    SVFPlusData from_isc;
    DeviceInfo reading = device;
    char empty[] = "";
    ASSERT_GE(ISC2SVFPlus(isc.data(), &reading, 1, &from_isc, "", empty, "", empty,
                          static_cast<KvObjList*>(nullptr), nullptr, nullptr),
              0);
    const std::string back_jed = dir.Path("b.jed");
    ASSERT_GE(SVFPlus2JEDEC(&from_isc, &device, 1, back_jed.c_str(), nullptr), 0);
    SVFPlusData from_jedec;
    ASSERT_EQ(Read(back_jed, device, from_jedec), 0);
    const std::string first = dir.Path("first.isc");
    const std::string second = dir.Path("second.isc");
    ASSERT_GE(SVFPlus2ISC(&from_isc, "-- c\n", first.c_str(), "E", 0, 0, "t"), 0);
    ASSERT_GE(SVFPlus2ISC(&from_jedec, "-- c\n", second.c_str(), "E", 0, 0, "t"), 0);
    auto without_date = [](std::string text) {
      const std::size_t at = text.find("Creation_Date ");
      if (at != std::string::npos) text.erase(at, text.find('\n', at) - at);
      return text.substr(0, text.size() - 4);  // and the file checksum, which covers the date
    };
    EXPECT_EQ(without_date(ReadFile(second)), without_date(ReadFile(first)));
  }
}

}  // namespace
