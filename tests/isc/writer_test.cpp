// The ISC writer against golden texts written from the layout rules, and the comment blocks.
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/crc_reference.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;
using Bytes = std::vector<std::uint8_t>;

SVFDataField* AddField(SVFPlusData& data, const char* name, unsigned width,
                       const std::vector<Bytes>& rows) {
  SVFDataField* field = data.AddDataField();
  field->SetFieldName(name);
  for (const Bytes& bytes : rows) {
    KvByteBuffer* row = field->AddRow(width);
    for (std::uint8_t b : bytes) row->WriteData(b);
  }
  return field;
}

// The data CRC of rows fed one after the other, as eight upper-case hex digits.
std::string Crc(const std::vector<std::pair<unsigned, Bytes>>& rows) {
  std::uint32_t reg = 0;
  for (const auto& [width, bytes] : rows) {
    reg = fusekit::reference::DataCrcRow(reg, bytes.data(), bytes.size(), width);
  }
  char text[16];
  std::snprintf(text, sizeof text, "%.8X", reg);
  return text;
}

struct Written {
  int result;
  std::string text;        // the file without its last four characters, the date masked
  std::string checksum;    // the last four characters
  std::uint16_t computed;  // CCITT of the file without them, carriage returns left out
};

Written Write(SVFPlusData& data, const char* prefix, int usercode_from_crc = 0, int unprocessed = 0,
              int force_security = -1) {
  TempDir dir;
  const std::string path = dir.Path("out.isc");
  const int result = force_security < 0
                         ? SVFPlus2ISC(&data, prefix, path.c_str(), "TESTDEV", usercode_from_crc,
                                       unprocessed, "fusekit test")
                         : SVFPlus2ISC(&data, prefix, path.c_str(), "TESTDEV", usercode_from_crc,
                                       unprocessed, force_security, "fusekit test");
  const std::string file = ReadFile(path);
  Written w{result, {}, {}, 0};
  if (file.size() < 4) return w;
  const std::string body = file.substr(0, file.size() - 4);
  w.checksum = file.substr(file.size() - 4);
  std::vector<std::uint8_t> fed;
  for (char c : body) {
    if (c == '\xFF') break;
    if (c != '\r') fed.push_back(static_cast<std::uint8_t>(c));
  }
  w.computed = fusekit::reference::CcittFalse(fed);
  w.text = std::regex_replace(body, std::regex("Creation_Date [0-9]{8}\\.[0-9]{4}"),
                              "Creation_Date <date>");
  return w;
}

const std::string kHeader =
    "IEEE_1532_Data (\n\tHeader\t\t(\tSTD_Version STD_1532_2001\n\t\t\t\tCreation_Date <date>\n"
    "\t\t\t\tCreator  \"fusekit test\"\n\t\t\t\tEntity\tTESTDEV\n\t\t\t)\n";

TEST(IscWriter, GoldenFileWithTerminateAndPadring) {
  SVFPlusData data;
  AddField(data, "FuseArray_TDI", 12, {{0xFA, 0xBC}, {0xF1, 0x23}});
  AddField(data, "Usercode_TDI", 32, {{0x12, 0x34, 0x56, 0x78}});
  AddField(data, "ID", 32, {{0x01, 0x2B, 0x20, 0x43}});  // not an ISC block: skipped
  AddField(data, "ArchArray_TDI", 8, {{0x5A}});
  const Written w = Write(data, "-- a comment block\n\n");
  const std::string array_crc = Crc({{12, {0xFA, 0xBC}}, {12, {0xF1, 0x23}}, {8, {0x5A}}});
  const std::string padring_crc = Crc({{8, {0x5A}}});
  EXPECT_EQ(w.text,
            "-- a comment block\n\n" + kHeader +
                " data array (\n  repeat    \n-- ROW_WIDTH = 12\n-- COLUMN_WIDTH = 2\n"
                "   (\n     ABC,\n     123\n   )\n"
                "  terminate    \n-- ROW_WIDTH = 8\n-- COLUMN_WIDTH = 1\n   (\n     5A\n   )\n"
                "  data_CRC (\n   " +
                array_crc +
                "\n  )\n )"
                ",\n data usercode (\n  initialize  \n-- ROW_WIDTH = 32\n-- COLUMN_WIDTH = 1\n"
                "   (\n     12345678\n   )\n )"
                ",\n data padring (\n  initialize  \n-- ROW_WIDTH = 8\n-- COLUMN_WIDTH = 1\n"
                "   (\n     5A\n   )\n  data_CRC (\n   " +
                padring_crc +
                "\n  )\n )"
                "\n)\n");
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", w.computed);
  EXPECT_EQ(w.checksum, digits);
  EXPECT_EQ(w.result, w.computed);
}

TEST(IscWriter, HexDigitsOfRowsAndLongRows) {
  // Leading digits by W mod 8: one digit for 1 to 4 bits, two for 0 and 5 to 7.
  const struct {
    unsigned width;
    Bytes row;
    std::string text;
  } cases[] = {
      {1, {0xFF}, "1"},  {4, {0xFA}, "A"},           {5, {0xFF}, "1F"},
      {8, {0x0F}, "0F"}, {16, {0x01, 0x02}, "0102"}, {20, {0xFE, 0xDC, 0xBA}, "EDCBA"},
  };
  for (const auto& c : cases) {
    SVFPlusData data;
    AddField(data, "Usercode_TDI", c.width, {c.row});
    const Written w = Write(data, nullptr);
    EXPECT_NE(w.text.find("   (\n     " + c.text + "\n   )\n"), std::string::npos)
        << "width " << c.width << "\n"
        << w.text;
  }
  // A 36-byte row breaks after its 35th byte and goes on after five blanks.
  Bytes long_row(36);
  for (std::size_t i = 0; i < long_row.size(); ++i) long_row[i] = static_cast<std::uint8_t>(i);
  SVFPlusData data;
  AddField(data, "Usercode_TDI", 288, {long_row});
  std::string expected = "     ";
  for (int i = 0; i < 35; ++i) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%.2X", i);
    expected += hex;
  }
  expected += "\n     23\n   )\n";
  EXPECT_NE(Write(data, nullptr).text.find(expected), std::string::npos);
}

TEST(IscWriter, SeparatorsFlagsAndForms) {
  SVFPlusData only_tdo;
  AddField(only_tdo, "FuseArray_TDO", 8, {{0x11}});
  Written w = Write(only_tdo, nullptr);
  EXPECT_NE(w.text.find(kHeader + ",\n data array_tdo ("), std::string::npos) << w.text;

  SVFPlusData skipped_first;
  AddField(skipped_first, "ID", 8, {{0x11}});
  AddField(skipped_first, "Usercode_TDI", 8, {{0x22}});
  EXPECT_NE(Write(skipped_first, nullptr).text.find(kHeader + ",\n data usercode ("),
            std::string::npos);

  SVFPlusData flags;
  flags.SetSecurity(1);
  flags.SetEncrypted(true);
  AddField(flags, "Usercode_TDI", 8, {{0x22}});
  EXPECT_NE(Write(flags, nullptr)
                .text.find("\t\t\t)\n\toverride proc_program_security program ON\n\t-- override "
                           "encryption ON\n data"),
            std::string::npos);

  SVFPlusData plain;
  AddField(plain, "Usercode_TDI", 8, {{0x22}});
  w = Write(plain, nullptr, 0, 1, 1);  // second form: forced security, "Entity \t", unprocessed
  EXPECT_NE(
      w.text.find("\t\t\t\tEntity \tTESTDEV\n\t\t\t)\n\toverride proc_program_security program ON\n"
                  " unprocessed data usercode (\n"),
      std::string::npos)
      << w.text;
}

TEST(IscWriter, UsercodeFromTheArrayCrc) {
  SVFPlusData data;
  AddField(data, "Usercode_TDI", 32, {{0x12, 0x34, 0x56, 0x78}});
  AddField(data, "FuseArray_TDI", 8, {{0xC3}});
  AddField(data, "Usercode_TDO", 32, {{0x12, 0x34, 0x56, 0x78}});
  const Written w = Write(data, nullptr, 1);
  // Before any array block the saved text is empty; after it, the array's data CRC.
  EXPECT_NE(w.text.find(" data usercode (\n  initialize  \n-- ROW_WIDTH = 32\n-- COLUMN_WIDTH = 1\n"
                        "   (\n   \n  )\n )"),
            std::string::npos)
      << w.text;
  EXPECT_NE(
      w.text.find(" data usercode_tdo (\n  initialize  \n-- ROW_WIDTH = 32\n-- COLUMN_WIDTH = 1\n"
                  "   (\n   " +
                  Crc({{8, {0xC3}}}) + "\n  )\n )"),
      std::string::npos)
      << w.text;
}

TEST(IscWriter, ChecksumConsistency) {
  SVFPlusData data;
  AddField(data, "FuseArray_TDI", 16, {{0x12, 0x34}, {0x56, 0x78}});
  TempDir dir;
  std::string path = dir.Path("f.isc");
  const int checksum = SVFPlus2ISC(&data, "-- prefix\n", path.c_str(), "DEV", 0, 0, "c");
  const std::string file = ReadFile(path);
  std::string marker = file.substr(file.size() - 4);
  // The checksum's own digits end the text it covers, unless they stand earlier too (the date
  // and the data CRC change the checksum, and may hold its digits): the text then ends there.
  if (file.find(marker) == file.size() - 4) {
    EXPECT_EQ(GetCRCTramission(path.data(), marker.data()), checksum);
  }
  ISCSummary summary;
  ASSERT_EQ(GetISCSummary(path.c_str(), &summary), 0);
  EXPECT_EQ(summary.computedFileChecksum, checksum);
  EXPECT_EQ(summary.storedFileChecksum, checksum);
  char crc_text[256];
  ASSERT_EQ(GetCRCData(path.c_str(), crc_text), 0);
  EXPECT_EQ(std::string(crc_text), "   " + Crc({{16, {0x12, 0x34}}, {16, {0x56, 0x78}}}) + "\n");
  EXPECT_EQ(GetBlockCRCRegister(),
            std::stoul(Crc({{16, {0x12, 0x34}}, {16, {0x56, 0x78}}}), nullptr, 16));

  // One character changed anywhere changes the checksum.
  for (std::size_t at : {std::size_t{0}, file.size() / 2, file.size() - 6}) {
    std::string edited = file.substr(0, file.size() - 4);
    edited[at] = edited[at] == 'x' ? 'y' : 'x';
    std::vector<std::uint8_t> bytes(edited.begin(), edited.end());
    EXPECT_NE(fusekit::reference::CcittFalse(bytes), checksum) << at;
  }
}

TEST(IscWriter, Statuses) {
  TempDir dir;
  EXPECT_EQ(SVFPlus2ISC(nullptr, nullptr, dir.Path("a.isc").c_str(), "D", 0, 0, "c"), -3);
  SVFPlusData data;
  EXPECT_EQ(SVFPlus2ISC(&data, nullptr, dir.Path("no/such/dir/a.isc").c_str(), "D", 0, 0, "c"),
            -13);
  // A byte 0xFF in the prefix ends the checksum there.
  const std::string path = dir.Path("ff.isc");
  const int checksum = SVFPlus2ISC(&data,
                                   "ab\xFF"
                                   "cd",
                                   path.c_str(), "D", 0, 0, "c");
  EXPECT_EQ(checksum, fusekit::reference::CcittFalse({'a', 'b'}));
}

TEST(IscHeaderBlocks, AllThreeBuilders) {
  TempDir dir;
  const std::string jed = dir.Write("design.JeD",
                                    "\x02"
                                    "Design*\nNOTE A*\nQF8*\nL0 00000000*\x03");
  char out[4096] = "old text";
  BuildISCHeader(out, "1.0", 100, "DEV", jed.c_str(), 0x12AB, "00C0FFEE");
  EXPECT_EQ(std::string(out),
            "-- CREATED BY: Corvane Semiconductor 1.0\n-- DEVICE NAME: DEV\n"
            "-- TOTAL_FUSES = 100\n-- DATA_CRC = 00C0FFEE\n"
            "-- JEDEC_FILENAME = " +
                jed +
                "\n-- JEDEC_CHECKSUM = 0x12AB\n--\n"
                "-- Design\n-- NOTE A\n\n");
  BuildISCHeader(out, nullptr, 0, nullptr, "image.bin", 0, nullptr);
  EXPECT_STREQ(out, "-- DATA_FILENAME = image.bin\n\n");
  BuildISCHeader(out, nullptr, 0, nullptr, "archive.jed.bak", 5, nullptr);
  EXPECT_STREQ(out, "-- DATA_FILENAME = archive.jed.bak\n\n");
  BuildISCHeader(nullptr, "x", 1, "y", "z", 0, "w");  // nothing to write to: no crash

  const std::string comments =
      dir.Write("comments.txt", "first line\r\n\n" + std::string(1030, 'z'));
  BuildISCHeaderFromBitstream(out, 64, "ABCD0123", comments.c_str());
  EXPECT_EQ(std::string(out), "-- first line\n-- \n-- " + std::string(1023, 'z') +
                                  "\n-- zzzzzzz\n"
                                  "-- TOTAL_FUSES = 64\n-- DATA_CRC = ABCD0123\n\n");
  BuildISCHeaderFromBitstream(out, 0, nullptr, dir.Path("missing.txt").c_str());
  EXPECT_STREQ(out, "\n");

  std::vector<const char*> sources = {"a.bit", nullptr, "b.rbk"};
  BuildISCHeaderFromBitstream(out, "2.0", 0, "DEV", sources, 99, nullptr);
  EXPECT_STREQ(out,
               "-- CREATED BY: Corvane Semiconductor 2.0\n-- DEVICE NAME: DEV\n"
               "-- DATA_FILENAME = a.bit\n-- DATA_FILENAME = b.rbk\n\n");
}

}  // namespace

// A file of several megabytes leaves the writer in many pieces: they must arrive in order and
// the checksum must cover them all.
TEST(IscWriter, LargeFileKeepsItsOrderAndChecksum) {
  constexpr unsigned kWidth = 1024;
  constexpr int kRows = 20000;  // about 5.3 MB of text
  std::vector<Bytes> rows(kRows, Bytes(kWidth / 8));
  std::vector<std::pair<unsigned, Bytes>> fed;
  std::uint32_t seed = 1532;
  for (Bytes& row : rows) {
    for (std::uint8_t& b : row)
      b = static_cast<std::uint8_t>((seed = seed * 1103515245 + 12345) >> 16);
    fed.emplace_back(kWidth, row);
  }
  SVFPlusData data;
  AddField(data, "FuseArray_TDI", kWidth, rows);
  const Written w = Write(data, nullptr);
  char digits[8];
  std::snprintf(digits, sizeof digits, "%.4X", w.computed);
  EXPECT_EQ(w.checksum, digits);
  EXPECT_EQ(w.result, w.computed);
  ASSERT_GT(w.text.size(), std::size_t{5} << 20);
  // Every row's digits, in order: the first 35 bytes on the row's first line.
  std::size_t at = 0;
  for (int r = 0; r < kRows; r += 997) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string head;
    for (int i = 0; i < 35; ++i) {
      head += kDigits[rows[r][i] >> 4];
      head += kDigits[rows[r][i] & 0xF];
    }
    const std::size_t found = w.text.find("     " + head + "\n", at);
    ASSERT_NE(found, std::string::npos) << "row " << r;
    at = found;
  }
  EXPECT_NE(w.text.find("  data_CRC (\n   " + Crc(fed) + "\n  )\n )\n)\n"), std::string::npos);
}
