// The ISC readers: round trips through the writer, every status, and the narrow readers.
#include <cctype>
#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/jedec_builder.h"
#include "tests/support/memory_cap.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::JedecBuilder;
using fusekit::testing::RandomFuses;
using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;
using Bytes = std::vector<std::uint8_t>;

DeviceInfo Device(const char* family, unsigned rows, unsigned width) {
  return fusekit::testing::TestDevice(family, rows, width);
}

// The bits of a row that carry data: the spare high bits of byte 0 are 1 when read and 0 when
// written, so they are left out of comparisons.
Bytes Meaningful(const KvByteBuffer* row, unsigned width) {
  Bytes bytes(row->GetBuffer(), row->GetBuffer() + row->GetTotalSize());
  if (width % 8 != 0 && !bytes.empty())
    bytes[0] &= static_cast<std::uint8_t>((1u << (width % 8)) - 1);
  return bytes;
}

void ExpectSameField(const SVFPlusData& a, const SVFPlusData& b, const char* name) {
  const SVFDataField* x = a.GetDataField(name);
  const SVFDataField* y = b.GetDataField(name);
  ASSERT_NE(x, nullptr) << name;
  ASSERT_NE(y, nullptr) << name;
  ASSERT_EQ(x->GetRowCount(), y->GetRowCount()) << name;
  for (int r = 1; r <= x->GetRowCount(); ++r) {
    EXPECT_EQ(Meaningful(x->GetRow(r), x->GetRowWidth(r)),
              Meaningful(y->GetRow(r), y->GetRowWidth(r)))
        << name << " row " << r;
  }
}

int Read(const std::string& path, DeviceInfo& device, SVFPlusData& data, char* data_crc = nullptr,
         char* file_crc = nullptr, int* rows = nullptr) {
  std::string name = path;
  char empty[] = "";
  return ISC2SVFPlus(name.data(), &device, 1, &data, "", empty, "", empty,
                     static_cast<KvObjList*>(nullptr), data_crc, file_crc, rows);
}

TEST(IscReader, JedecToIscAndBackKeepsEveryField) {
  struct Geometry {
    const char* family;
    unsigned rows;
    unsigned width;
    unsigned fuses;
    unsigned e_length;
    std::vector<std::string> padring;
  };
  const Geometry geometries[] = {
      {"TestFamily", 5, 12, 60, 0, {}},
      {"TestFamily", 7, 16, 112, 0, {}},
      {"TestFamily", 3, 300, 900, 0, {}},
      {"CorvanePelmo2", 4, 128, 4 * 128 + 256, 256, {"1"}},
  };
  TempDir dir;
  for (const Geometry& g : geometries) {
    SCOPED_TRACE(std::string(g.family) + " " + std::to_string(g.width));
    DeviceInfo device = Device(g.family, g.rows, g.width);
    device.SetFuseNumber(g.fuses);
    device.SetELength(g.e_length);
    device.SetERow(g.e_length != 0 ? 2 : 0);
    device.SetPadring(g.padring);
    device.SaveDeviceBackupValue();
    JedecBuilder b;
    b.fuses = RandomFuses(g.fuses, g.width);
    b.extra_fields = "UH89ABCDEF*";
    SVFPlusData from_jedec;
    std::string jed = dir.Write("f.jed", b.Build());
    ASSERT_EQ(JEDEC2SVFPlus(jed.data(), &device, 1, &from_jedec, "", "", "", ""), 0);
    const std::string isc = dir.Path("f.isc");
    const int checksum = SVFPlus2ISC(&from_jedec, nullptr, isc.c_str(), "T", 0, 0, "test");
    ASSERT_GE(checksum, 0);

    SVFPlusData from_isc;
    char data_crc[16] = "";
    char file_crc[256] = "";
    int rows = 0;
    ASSERT_EQ(Read(isc, device, from_isc, data_crc, file_crc, &rows), 1);
    for (const char* name : {"FuseArray_TDI", "Usercode_TDI", "ID"})
      ExpectSameField(from_jedec, from_isc, name);
    if (g.e_length != 0) ExpectSameField(from_jedec, from_isc, "EFuseArray_TDI");
    if (!g.padring.empty()) ExpectSameField(from_jedec, from_isc, "PadringArray_TDI");
    char expected_crc[16];
    SVFDataField* array = from_jedec.GetDataField("FuseArray_TDI");
    array->ResetRowPointer();
    GetDataCRC(nullptr, array, nullptr, nullptr, true, expected_crc);
    if (g.width % 8 == 0) {
      EXPECT_STREQ(data_crc, expected_crc);  // with spare bits they are read as 1s
    }
    char checksum_text[8];
    std::snprintf(checksum_text, sizeof checksum_text, "%.4X", checksum);
    EXPECT_STREQ(file_crc, checksum_text);
    EXPECT_EQ(rows, static_cast<int>(from_jedec.GetDataField("FuseArray_TDI")->GetRowCount()));
  }
}

// A small file of the writer's layout; cases change one thing in it.
const std::string kBase =
    "-- leading comment\n"
    "IEEE_1532_Data (\n\tHeader\t\t(\tSTD_Version STD_1532_2001\n\t\t\t\tCreation_Date "
    "20261121.1200\n"
    "\t\t\t\tCreator  \"a tool\"\n\t\t\t\tEntity\tDEV1 , DEV2\n\t\t\t)\n"
    "\toverride proc_program_security program ON\n"
    " data array (\n  repeat    \n-- ROW_WIDTH = 12\n-- COLUMN_WIDTH = 2\n   (\n     abc,\n     "
    "123\n   )\n"
    "  data_CRC (\n   12345678\n  )\n ),\n"
    " data usercode (\n  initialize  \n-- ROW_WIDTH = 32\n-- COLUMN_WIDTH = 1\n   (\n     "
    "89ABCDEF\n   )\n )\n"
    ")\nbeef";

std::string With(const std::string& from, const std::string& to) {
  std::string text = kBase;
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// text with every from replaced by to.
std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// Rows are read the same whatever the line ends, line lengths, blanks and comment lines
// between them.
TEST(IscReader, RowsReadAlikeInEveryLayout) {
  const std::string head =
      "IEEE_1532_Data (\n data array (\n  repeat    \n-- ROW_WIDTH = 1200\n"
      "-- COLUMN_WIDTH = 3\n   (\n";
  std::string rows[3];
  for (int r = 0; r < 3; ++r) {
    for (int i = 0; i < 300; ++i) rows[r] += "0123456789ABCDEFfedcba"[(i * 7 + r * 5) % 22];
  }
  auto file = [&](const std::string& eol, std::size_t per_line, const std::string& between) {
    std::string text = head;
    for (int r = 0; r < 3; ++r) {
      text += "     ";
      for (std::size_t i = 0; i < rows[r].size(); i += per_line) {
        if (i != 0) text += eol + between;
        text += rows[r].substr(i, per_line);
      }
      text += r == 2 ? eol + "   )" + eol + " )" + eol + ")" + eol : "," + eol;
    }
    return text;
  };
  const struct {
    const char* what;
    std::string text;
  } layouts[] = {
      {"LF, 70 digits a line", file("\n", 70, "")},
      {"CR LF", file("\r\n", 70, "")},
      {"lone CR", file("\r", 70, "")},
      {"a whole row a line, longer than 255 characters", file("\n", 300, "")},
      {"comment lines between the lines of a row", file("\n", 64, "-- a comment\n")},
      {"blank lines and tabs", file("\n", 50, "\t \n")},
      {"odd digits a line: bytes across lines", file("\n", 69, "")},
      {"blanks around the commas", Replaced(file("\n", 70, ""), ",\n", " \t, \n")},
      {"commas on lines of their own", Replaced(file("\n", 70, ""), ",\n", "\n  ,\n")},
      {"a blank inside a pair of digits", file("\n", 70, "").insert(head.size() + 6, " ")},
  };
  TempDir dir;
  SVFPlusData reference;
  DeviceInfo device = Device("TestFamily", 3, 1200);
  ASSERT_EQ(Read(dir.Write("ref.isc", layouts[0].text), device, reference), 1);
  const KvByteBuffer* first = reference.GetDataField("FuseArray_TDI")->GetRow(1);
  EXPECT_EQ(first->GetBuffer()[0], std::stoi(rows[0].substr(0, 2), nullptr, 16));
  EXPECT_EQ(first->GetBuffer()[149], std::stoi(rows[0].substr(298, 2), nullptr, 16));
  for (const auto& layout : layouts) {
    SVFPlusData data;
    DeviceInfo d = Device("TestFamily", 3, 1200);
    ASSERT_EQ(Read(dir.Write("f.isc", layout.text), d, data), 1) << layout.what;
    ExpectSameField(reference, data, "FuseArray_TDI");
  }
  for (const char* bad : {"G", "-", ")"}) {
    std::string text = layouts[0].text;
    text.replace(head.size() + 5 + 2, 1, bad);
    SVFPlusData data;
    DeviceInfo d = Device("TestFamily", 3, 1200);
    EXPECT_EQ(Read(dir.Write("bad.isc", text), d, data), -13) << bad;
  }
}

TEST(IscReader, StatusesOfTheFullReader) {
  const struct {
    const char* what;
    std::string text;
    int status;
  } cases[] = {
      {"valid", kBase, 1},
      {"unprocessed blocks are refused", With(" data array (", " unprocessed data array ("), -2},
      {"unknown block", With("data usercode (", "data userkode ("), -2},
      {"writer-only block", With("data usercode (", "data sed_crc_tdo ("), -2},
      {"no ( after the opening", With("IEEE_1532_Data (", "IEEE_1532_Data"), -2},
      {"no ( after a block name", With("data usercode (", "data usercode"), -2},
      {"wrong standard", With("STD_1532_2001", "STD_1532_1999"), -17},
      {"too many digits", With("abc,", "abcd,"), -13},
      {"too few digits", With("89ABCDEF", "89ABCDE"), -13},
      {"not a hex digit", With("123", "12G"), -13},
      {"unknown part", With("  data_CRC (", "  checksum ("), -13},
      {"block never closed", kBase.substr(0, kBase.find(" data usercode")), -16},
      // The last block's ")" must be followed by "," or the file's ")".
      {"no closing parenthesis", kBase.substr(0, kBase.size() - 6), -13},
      {"a block the device has no length for", With("data usercode (", "data sed_crc_tdi ("), -16},
      {"cfg blocks outside the Ombrel family", With("data usercode (", "data cfg_pgm ("), -16},
  };
  TempDir dir;
  for (const auto& c : cases) {
    DeviceInfo device = Device("TestFamily", 2, 12);
    SVFPlusData data;
    EXPECT_EQ(Read(dir.Write("f.isc", c.text), device, data), c.status) << c.what;
  }
  DeviceInfo device = Device("TestFamily", 2, 12);
  SVFPlusData data;
  EXPECT_EQ(Read(dir.Path("missing.isc"), device, data), -2);
  std::string name = dir.Write("f.isc", kBase);
  char empty[] = "";
  EXPECT_EQ(ISC2SVFPlus(name.data(), &device, 1, nullptr, "", empty, "", empty,
                        static_cast<KvObjList*>(nullptr), nullptr, nullptr),
            -13);
  DeviceInfo no_width = Device("TestFamily", 2, 0);
  EXPECT_EQ(Read(name, no_width, data), -16);
}

TEST(IscReader, ValuesOfTheBaseFile) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 5, 12);
  SVFPlusData data;
  char file_crc[256];
  ASSERT_EQ(Read(dir.Write("f.isc", kBase), device, data, nullptr, file_crc), 1);
  EXPECT_EQ(device.GetAddressLength(), 2u);  // COLUMN_WIDTH read into the device record
  EXPECT_STREQ(file_crc, "BEEF");
  EXPECT_EQ(data.GetSecurity(), 1);
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  ASSERT_EQ(array->GetRowCount(), 2);
  // A row of 12 bits starts with one digit, stored under a high nibble of ones.
  EXPECT_EQ(Bytes(array->GetRow(1)->GetBuffer(), array->GetRow(1)->GetBuffer() + 2),
            (Bytes{0xFA, 0xBC}));
  EXPECT_EQ(Bytes(array->GetRow(2)->GetBuffer(), array->GetRow(2)->GetBuffer() + 2),
            (Bytes{0xF1, 0x23}));
  EXPECT_EQ(data.GetDataField(data.GetDataFieldCount() - 1)->GetFieldName(), std::string("ID"));

  // A single row makes the device one row of ROW_WIDTH fuses.
  DeviceInfo single = Device("TestFamily", 9, 12);
  SVFPlusData one_row;
  const std::string text =
      With("-- ROW_WIDTH = 12\n-- COLUMN_WIDTH = 2\n   (\n     abc,\n     123\n",
           "-- ROW_WIDTH = 24\n-- COLUMN_WIDTH = 1\n   (\n     abc123\n");
  ASSERT_EQ(Read(dir.Write("g.isc", text), single, one_row), 1);
  EXPECT_EQ(single.GetAddressLength(), 1u);
  EXPECT_EQ(single.GetFuseNumber(), 24u);
}

// The Grend PLD devices (vendor "Helvar") are read through a row file and a JEDEC file built by
// the legacy library; the read-back rows of the ISC file become the fuses.
DeviceInfo GrendDevice() {
  DeviceInfo device = Device("Grend", 4, 12);
  device.SetVendor("Helvar");
  PackageList packages;
  Package package;
  package.SetType("PLCC44");
  package.SetJDF("gr120.j44");
  packages.AddPackage(package);
  device.SetDevicePackage(packages);
  device.SaveDeviceBackupValue();
  return device;
}

std::string GrendIsc(const TempDir& dir, SVFPlusData& from_jedec) {
  DeviceInfo device = GrendDevice();
  JedecBuilder b;
  b.fuses = RandomFuses(48, 77);
  b.extra_fields = "UHCAFE0123*";
  std::string jed = dir.Write("g.jed", b.Build());
  EXPECT_EQ(JEDEC2SVFPlus(jed.data(), &device, 1, &from_jedec, "", dir.Path("").c_str(), "", ""),
            0);
  const std::string isc = dir.Path("g.isc");
  EXPECT_GE(SVFPlus2ISC(&from_jedec, nullptr, isc.c_str(), "GR", 0, 0, "test"), 0);
  return isc;
}

int ReadGrend(std::string path, DeviceInfo& device, SVFPlusData& data, std::string work,
              char* data_crc = nullptr) {
  char install[] = "C:\\Tools\\Grend";
  return ISC2SVFPlus(path.data(), &device, 1, &data, "", work.data(), "PLCC44", install,
                     static_cast<KvObjList*>(nullptr), data_crc, nullptr);
}

TEST(IscReader, GrendDevicesKeepTheirFusesThroughTheLegacyLibrary) {
  TempDir dir;
  SVFPlusData from_jedec;
  const std::string isc = GrendIsc(dir, from_jedec);
  DeviceInfo device = GrendDevice();
  SVFPlusData from_isc;
  char data_crc[16] = "";
  ASSERT_EQ(ReadGrend(isc, device, from_isc, dir.Path(""), data_crc), 1);
  for (const char* name :
       {"FuseArray_TDI", "Usercode_TDI", "FuseArray_TDO", "Usercode_TDO", "FuseArray_MASK", "ID"})
    ExpectSameField(from_jedec, from_isc, name);
  char expected[16];
  SVFDataField* tdo = from_isc.GetDataField("FuseArray_TDO");
  tdo->ResetRowPointer();
  GetDataCRC(nullptr, nullptr, tdo, nullptr, true, expected);
  EXPECT_STREQ(data_crc, expected);
  for (const char* work : {"tvex.tdo", "result.txt", "gr120.jed"})
    EXPECT_FALSE(std::filesystem::exists(dir.Path(work))) << work;
}

TEST(IscReader, StatusesOfTheGrendPath) {
  TempDir dir;
  SVFPlusData from_jedec;
  const std::string isc = GrendIsc(dir, from_jedec);
  {
    DeviceInfo device = GrendDevice();
    SVFPlusData data;
    EXPECT_EQ(ReadGrend(isc, device, data, dir.Path("no/such/folder")), -1);
  }
  {
    // Comments that declare a geometry far past any device of the legacy library.
    std::string text = ReadFile(isc);
    const std::size_t at = text.find("-- COLUMN_WIDTH = 4");
    ASSERT_NE(at, std::string::npos);
    text.replace(at, 19, "-- COLUMN_WIDTH = 40000000");
    DeviceInfo device = GrendDevice();
    SVFPlusData data;
    EXPECT_EQ(ReadGrend(dir.Write("huge.isc", text), device, data, dir.Path("")), -1);
  }
  {
    // The base file has no array_tdo block.
    DeviceInfo device = GrendDevice();
    SVFPlusData data;
    EXPECT_EQ(ReadGrend(dir.Write("base.isc", kBase), device, data, dir.Path("")), -3);
  }
  {
    // An array of no rows: the legacy library finds no array rows (its result 4).
    std::string text = ReadFile(isc);
    for (std::size_t at = 0; (at = text.find("COLUMN_WIDTH = 4", at)) != std::string::npos;)
      text.replace(at, 16, "COLUMN_WIDTH = 0");
    DeviceInfo device = GrendDevice();
    SVFPlusData data;
    EXPECT_EQ(ReadGrend(dir.Write("empty.isc", text), device, data, dir.Path("")), -8);
  }
  {
    // The JEDEC file cannot be written (its result 7): a folder of its name is in the way.
    std::filesystem::create_directory(dir.Path("gr120.jed"));
    DeviceInfo device = GrendDevice();
    SVFPlusData data;
    EXPECT_EQ(ReadGrend(isc, device, data, dir.Path("")), -11);
    std::filesystem::remove(dir.Path("gr120.jed"));
  }
  {
    // The JEDEC file does not fit the device: its fuse count is not the device's.
    DeviceInfo device = GrendDevice();
    device.SetFuseNumber(50);
    device.SaveDeviceBackupValue();
    SVFPlusData data;
    EXPECT_EQ(ReadGrend(isc, device, data, dir.Path("")), -13);
    EXPECT_FALSE(std::filesystem::exists(dir.Path("gr120.jed")));
  }
  {
    // The usercode reader takes the same path, and never has the array it needs.
    DeviceInfo device = GrendDevice();
    SVFPlusData data;
    std::string path = isc;
    std::string work = dir.Path("");
    char install[] = "";
    EXPECT_EQ(USERCODEISC2SVFPlus(path.data(), &device, 1, &data, "", work.data(), "PLCC44",
                                  install, nullptr, nullptr, nullptr),
              -3);
  }
}

TEST(IscReader, NarrowReaders) {
  TempDir dir;
  std::string path = dir.Write("f.isc", kBase);
  DeviceInfo device = Device("TestFamily", 2, 12);
  SVFPlusData usercode;
  char empty[] = "";
  ASSERT_EQ(USERCODEISC2SVFPlus(path.data(), &device, 1, &usercode, "", empty, "", empty, nullptr,
                                nullptr, nullptr),
            1);
  ASSERT_EQ(usercode.GetDataFieldCount(), 2);
  EXPECT_STREQ(usercode.GetDataField(0)->GetFieldName(), "Usercode_TDI");
  EXPECT_STREQ(usercode.GetDataField(1)->GetFieldName(), "ID");

  const std::string control_text = With(" data usercode (",
                                        " data control_register_1 (\n  initialize  \n   (\n     "
                                        "0000ABCD\n   )\n ),\n data usercode (");
  std::string control_path = dir.Write("c.isc", control_text);
  SVFPlusData control;
  ASSERT_EQ(CONTROLISC2SVFPlus(control_path.data(), &device, 1, &control, "", "", ""), 1);
  ASSERT_EQ(control.GetDataFieldCount(), 2);
  EXPECT_STREQ(control.GetDataField(0)->GetFieldName(), "Control_Register_1_TDI");
  SVFPlusData none;
  ASSERT_EQ(CONTROLISC2SVFPlus(control_path.data(), &device, 0, &none, "", "", ""), 1);
  EXPECT_EQ(none.GetDataFieldCount(), 0);  // no control_register_0 block: no ID either
}

TEST(IscHeaderQueries, EntityNames) {
  TempDir dir;
  std::string path = dir.Write("f.isc", kBase);
  std::list<std::string> names = {"nothing like it"};
  EXPECT_EQ(ISCEntityNameCheck(path.data(), names), 0);  // a mismatch does not count
  KvObjList list;
  list.AddTail(new DeviceStrElement("dev1"));
  EXPECT_EQ(ISCEntityNameCheck(path.data(), &list), 0);
  std::string wrong = dir.Write("w.isc", With("STD_1532_2001", "STD_X"));
  EXPECT_EQ(ISCEntityNameCheck(wrong.data(), names), -17);
  std::string headless = dir.Write("h.isc", "IEEE_1532_Data (\n data array (\n");
  EXPECT_EQ(ISCEntityNameCheck(headless.data(), names), -2);
  std::string empty = dir.Write("e.isc", "-- only a comment\n");
  EXPECT_EQ(ISCEntityNameCheck(empty.data(), names), 1);
  std::string missing = dir.Path("missing.isc");
  EXPECT_EQ(ISCEntityNameCheck(missing.data(), names), -2);

  std::list<std::string> found;
  char comments[256] = "";
  EXPECT_EQ(ISCEntityNameReturn(path.data(), found, comments), 0);
  EXPECT_EQ(found, (std::list<std::string>{"DEV1", "DEV2"}));
  EXPECT_STREQ(comments, "-- leading comment\n");
}

TEST(IscSummary, HeaderBlocksAndChecksumsOfTheBaseFile) {
  TempDir dir;
  const std::string path = dir.Write("f.isc", kBase);
  ISCSummary s;
  ASSERT_EQ(GetISCSummary(path.c_str(), &s), 0);
  EXPECT_EQ(s.comments, "-- leading comment\n");
  EXPECT_EQ(s.standard, "STD_1532_2001");
  EXPECT_EQ(s.date, "20261121.1200");
  EXPECT_EQ(s.creator, "a tool");
  EXPECT_EQ(s.entities, (std::vector<std::string>{"DEV1", "DEV2"}));
  EXPECT_TRUE(s.security);
  ASSERT_EQ(s.blocks.size(), 2u);
  EXPECT_EQ(s.blocks[0].name, "array");
  EXPECT_EQ(s.blocks[0].keyword, "repeat");
  EXPECT_EQ(s.blocks[0].rowWidth, 12u);
  EXPECT_EQ(s.blocks[0].rowCount, 2u);
  EXPECT_TRUE(s.blocks[0].hasStoredCRC);
  EXPECT_EQ(s.blocks[0].storedCRC, 0x12345678u);
  // The rows 0xABC and 0x123, twelve bits each, least significant bit first.
  SVFDataField rows;
  for (const Bytes& row : {Bytes{0x0A, 0xBC}, Bytes{0x01, 0x23}}) {
    KvByteBuffer* added = rows.AddRow(12);
    for (std::uint8_t b : row) added->WriteData(b);
  }
  GetDataCRC(nullptr, &rows, nullptr, nullptr, false, nullptr);
  EXPECT_EQ(s.blocks[0].computedCRC, GetBlockCRCRegister());
  EXPECT_EQ(s.blocks[1].name, "usercode");
  EXPECT_EQ(s.blocks[1].rowWidth, 32u);
  EXPECT_FALSE(s.blocks[1].hasStoredCRC);
  EXPECT_TRUE(s.hasFileChecksum);
  EXPECT_EQ(s.storedFileChecksum, 0xBEEF);
  EXPECT_NE(s.computedFileChecksum, 0xBEEF);
}

TEST(IscSummary, AgreesWithTheWriter) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 6, 20);
  JedecBuilder b;
  b.fuses = RandomFuses(120, 9);
  std::string jed = dir.Write("f.jed", b.Build());
  SVFPlusData data;
  ASSERT_EQ(JEDEC2SVFPlus(jed.data(), &device, 1, &data, "", "", "", ""), 0);
  const std::string isc = dir.Path("f.isc");
  const int checksum = SVFPlus2ISC(&data, "-- one\n--\n", isc.c_str(), "E1", 0, 0, "me");
  ASSERT_GE(checksum, 0);
  ISCSummary s;
  ASSERT_EQ(GetISCSummary(isc.c_str(), &s), 0);
  EXPECT_EQ(s.comments, "-- one\n--\n");
  EXPECT_EQ(s.creator, "me");
  ASSERT_FALSE(s.blocks.empty());
  EXPECT_EQ(s.blocks[0].rowCount, 6u);
  EXPECT_EQ(s.blocks[0].rowWidth, 20u);
  EXPECT_TRUE(s.blocks[0].hasStoredCRC);
  EXPECT_EQ(s.blocks[0].computedCRC, s.blocks[0].storedCRC);
  EXPECT_EQ(s.storedFileChecksum, checksum);
  EXPECT_EQ(s.computedFileChecksum, checksum);
}

// The hex digits of row bytes, upper case; a width of 1 to 4 bits past a whole byte starts
// with one digit.
std::string DigitsOf(const Bytes& row, unsigned width) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string digits;
  for (std::uint8_t b : row) {
    digits += kDigits[b >> 4];
    digits += kDigits[b & 15];
  }
  if (width % 8 >= 1 && width % 8 <= 4) digits.erase(0, 1);
  return digits;
}

// A row's text from its digits and its index.
using RowLayout = std::function<std::string(const std::string&, std::size_t)>;

// A file of one block whose rows are laid out by layout.
std::string OneBlockFile(const std::vector<Bytes>& rows, unsigned width, const RowLayout& layout,
                         const std::string& size_comments) {
  std::string text = "IEEE_1532_Data (\n data array (\n  repeat\n" + size_comments + "   (\n";
  for (std::size_t r = 0; r < rows.size(); ++r)
    text += layout(DigitsOf(rows[r], width), r) + (r + 1 < rows.size() ? ",\n" : "\n");
  return text + "   )\n )\n)\n0000";
}

// Rows of any width and any layout of their digits read as the same bits: the data CRC of the
// block is that of the rows themselves, and a stray character anywhere in a row is refused.
TEST(IscSummary, RowsOfEveryLayoutReadAlike) {
  const auto as_is = [](const std::string& d, std::size_t) { return "     " + d; };
  const auto lower = [](const std::string& d, std::size_t) {
    std::string text = d;
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  const auto split = [](const std::string& d, std::size_t) {
    return d.size() < 2 ? d : d.substr(0, d.size() / 2) + "\n  " + d.substr(d.size() / 2);
  };
  const auto commented = [](const std::string& d, std::size_t) { return "-- a note\n" + d + " "; };
  // Rows evenly laid out, but for one row a blank further on, or a note after one row: the
  // rows before and after it are read alike.
  const auto out_of_step = [](const std::string& d, std::size_t r) {
    return (r == 6 ? "      " : "     ") + d;
  };
  const auto one_note = [](const std::string& d, std::size_t r) {
    return "     " + d + (r == 4 ? " -- a note\n" : "");
  };
  const auto crlf = [](const std::string& d, std::size_t) { return "\r     " + d + "\r"; };
  const struct {
    const char* what;
    RowLayout layout;
    bool sizes;  // ROW_WIDTH and COLUMN_WIDTH comments before the rows
  } layouts[] = {{"one word a row", as_is, true},
                 {"lower case", lower, true},
                 {"no size comments", as_is, false},
                 {"rows over two lines", split, true},
                 {"comments between rows", commented, true},
                 {"one row out of step", out_of_step, true},
                 {"a note after one row", one_note, true},
                 {"carriage returns", crlf, true}};
  constexpr unsigned kRows = 12;
  TempDir dir;
  for (unsigned width : {8u, 12u, 20u, 128u, 130u, 200u, 261u, 1000u}) {
    std::vector<Bytes> rows;
    SVFDataField field;
    for (unsigned r = 0; r < kRows; ++r) {
      Bytes row((width + 7) / 8);
      for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = static_cast<std::uint8_t>((r * 131 + i * 29 + width) & 0xFF);
      if (width % 8 != 0) row[0] &= static_cast<std::uint8_t>((1u << (width % 8)) - 1);
      rows.push_back(row);
      KvByteBuffer* added = field.AddRow(static_cast<int>(width));
      for (std::uint8_t b : row) added->WriteData(b);
    }
    GetDataCRC(nullptr, &field, nullptr, nullptr, false, nullptr);
    const unsigned expected = GetBlockCRCRegister();
    const std::string sizes = "-- ROW_WIDTH = " + std::to_string(width) +
                              "\n-- COLUMN_WIDTH = " + std::to_string(kRows) + "\n";
    for (const auto& layout : layouts) {
      const std::string text = OneBlockFile(rows, width, layout.layout, layout.sizes ? sizes : "");
      ISCSummary s;
      ASSERT_EQ(GetISCSummary(dir.Write("f.isc", text).c_str(), &s), 0) << layout.what << width;
      ASSERT_EQ(s.blocks.size(), 1u);
      EXPECT_EQ(s.blocks[0].rowCount, kRows) << layout.what << width;
      // Without a size comment the width is four bits a digit.
      const unsigned read_width = layout.sizes ? width : DigitsOf(rows[0], width).size() * 4;
      EXPECT_EQ(s.blocks[0].rowWidth, read_width) << layout.what << width;
      if (read_width == width) {
        EXPECT_EQ(s.blocks[0].computedCRC, expected) << layout.what << width;
      }
    }
    // A stray character at either end or in the middle of a row, in the second row, in one
    // of the evenly laid out rows after it, or in the last.
    const std::string good = OneBlockFile(rows, width, as_is, sizes);
    const std::size_t first = good.find("     ") + 5;
    const std::size_t digits = DigitsOf(rows[0], width).size();
    for (std::size_t row : {1u, 2u, 7u, kRows - 1}) {
      for (std::size_t at : {std::size_t{0}, digits / 2, digits - 1}) {
        std::string bad = good;
        bad[first + row * (digits + 7) + at] = 'G';
        ISCSummary s;
        EXPECT_EQ(GetISCSummary(dir.Write("f.isc", bad).c_str(), &s), -13)
            << width << " row " << row << " at " << at;
      }
    }
  }
}

// The file checksum leaves carriage returns out: a file with CR LF line ends checks as the same
// file with LF line ends.
TEST(IscSummary, FileChecksumLeavesCarriageReturnsOut) {
  TempDir dir;
  const std::string lf = dir.Write("lf.isc", kBase);
  const std::string crlf = dir.Write("crlf.isc", Replaced(kBase, "\n", "\r\n"));
  ISCSummary a, b;
  ASSERT_EQ(GetISCSummary(lf.c_str(), &a), 0);
  ASSERT_EQ(GetISCSummary(crlf.c_str(), &b), 0);
  EXPECT_EQ(a.computedFileChecksum, b.computedFileChecksum);
  const std::string prefix = kBase.substr(0, kBase.rfind("beef"));
  EXPECT_EQ(a.computedFileChecksum, GetFileCRC16(dir.Write("prefix.txt", prefix).c_str()));
}

TEST(IscSummary, Statuses) {
  const struct {
    const char* what;
    std::string text;
    int status;
  } cases[] = {
      {"no opening keyword", "HEADER (\n)\n", -2},
      {"no ( after the opening", With("IEEE_1532_Data (", "IEEE_1532_Data"), -2},
      {"unknown keyword", With(" data array (", " frobnicate data array ("), -2},
      {"too many digits", With("abc,", "abcd,"), -13},
      {"not a hex digit", With("123", "12G"), -13},
      {"unknown part", With("  data_CRC (", "  checksum ("), -13},
      {"block never closed", kBase.substr(0, kBase.find(" data usercode")), -16},
      {"empty file", "", -2},
  };
  TempDir dir;
  for (const auto& c : cases) {
    ISCSummary s;
    EXPECT_EQ(GetISCSummary(dir.Write("f.isc", c.text).c_str(), &s), c.status) << c.what;
  }
  ISCSummary s;
  EXPECT_EQ(GetISCSummary(dir.Path("missing.isc").c_str(), &s), -2);
  EXPECT_EQ(GetISCSummary(dir.Path("missing.isc").c_str(), nullptr), -6);
}

}  // namespace

namespace {

// A comment ends with its physical line, however long: the lines a writer of long notes (a
// bitstream's comment, a JEDEC note) makes read back, with the rows they frame.
TEST(IscReader, CommentsOfAnyLengthEndWithTheirLine) {
  TempDir dir;
  DeviceInfo device = Device("TestFamily", 2, 16);
  SVFPlusData data;
  SVFDataField* array = data.AddDataField();
  array->SetFieldName("FuseArray_TDI");
  for (int r = 0; r < 2; ++r) {
    KvByteBuffer* row = array->AddRow(16);
    row->WriteData(static_cast<unsigned char>(0x12 + r));
    row->WriteData(0x34);
  }
  const std::string long_text(2000, 'x');
  const std::string parens = "-- (" + std::string(600, ')') + ",(\n";
  const struct {
    const char* what;
    std::string prefix;
  } cases[] = {
      {"a 2000-character comment line", "-- " + long_text + "\n"},
      {"a comment of exactly the line length", "-- " + std::string(252, 'y') + "\n"},
      {"a comment of parentheses and commas", parens + parens},
      {"a JEDEC note over several lines", "-- NOTE\n-- 0    0   0 \n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = dir.Path("long.isc");
    ASSERT_GE(SVFPlus2ISC(&data, c.prefix.c_str(), path.c_str(), "T", 0, 0, "t"), 0);
    // The same comment after tokens, inside the array block.
    std::string text = ReadFile(path);
    const std::size_t open = text.find("   (\n");
    ASSERT_NE(open, std::string::npos);
    text.insert(open + 4, " -- " + long_text);
    dir.Write("long.isc", text);
    SVFPlusData back;
    EXPECT_EQ(Read(path, device, back), 1);
    ExpectSameField(data, back, "FuseArray_TDI");
    std::string name = path;
    EXPECT_EQ(ISCEntityNameCheck(name.data(), static_cast<KvObjList*>(nullptr)), 0);
  }
}

}  // namespace

namespace {

// ISC files that declare rows far wider and more numerous than they hold: read within a 64 MB
// cap by every reader, the legacy-library path of the Grend devices included.
TEST(IscReader, DeclaredGeometryBeyondTheRowsCostsNothing) {
  TempDir dir;
  SVFPlusData rows;
  for (const char* name : {"FuseArray_TDI", "FuseArray_TDO"}) {
    SVFDataField* field = rows.AddDataField();
    field->SetFieldName(name);
    for (int r = 0; r < 2; ++r) field->AddRow(8)->WriteData(static_cast<unsigned char>(0x0F + r));
  }
  const std::string path = dir.Path("wide.isc");
  ASSERT_GE(SVFPlus2ISC(&rows, nullptr, path.c_str(), "T", 0, 0, "t"), 0);
  std::string text = ReadFile(path);
  for (std::size_t at; (at = text.find("-- COLUMN_WIDTH = 2\n")) != std::string::npos;)
    text.replace(at, 20, "-- COLUMN_WIDTH = 4294967295\n");
  dir.Write("wide.isc", text);
  for (const char* vendor : {"Corvane", "Helvar"}) {
    SCOPED_TRACE(vendor);
    const int ended = fusekit::testing::RunWithMemoryCap(64, [&] {
      DeviceInfo device = Device("TestFamily", 2, 8);
      device.SetVendor(vendor);
      SVFPlusData data;
      std::string name = path;
      std::string work = dir.Path("");
      char empty[] = "";
      const int status = ISC2SVFPlus(name.data(), &device, 1, &data, "", work.data(), "", empty,
                                     static_cast<KvObjList*>(nullptr), nullptr, nullptr);
      return status == -3 ? 1 : 0;  // out of memory would mean the file decided what was taken
    });
    EXPECT_EQ(ended, 0);
  }
}

}  // namespace
