// fnISCFileCompare against files the ISC writer makes: one flipped bit anywhere (a block row, the
// usercode, a stored CRC, the file checksum) is counted once and located by row and column;
// masked bits and header texts are not counted; files of another device are refused.
#include <cctype>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

constexpr unsigned kWidth = 20;  // not whole bytes: the row's first byte holds 4 pad bits

// Flips column c of a row in the row layout (column c is bit pad + width - 1 - c).
void FlipColumn(KvByteBuffer& row, unsigned width, unsigned c) {
  const unsigned pad = (8 - width % 8) % 8;
  const unsigned p = pad + width - 1 - c;
  const int index = static_cast<int>(p / 8);
  row.WriteData(index, static_cast<unsigned char>(row.ReadData(index) ^ (0x80u >> (p % 8))));
}

struct Changes {
  bool mask = false;  // a FuseArray_MASK whose column 3 of every row is 0
  int flip_row = 0;   // FuseArray_TDI row to flip a column of (0: none)
  unsigned flip_column = 0;
  bool flip_usercode = false;  // usercode column 9
  bool security = false;
};

void AddField(SVFPlusData& data, const char* name, int rows, unsigned width,
              const std::function<unsigned char(int, int)>& byte) {
  SVFDataField* field = data.AddDataField();
  field->SetFieldName(name);
  for (int r = 1; r <= rows; ++r) {
    KvByteBuffer* row = field->AddRow(width);
    for (unsigned i = 0; i < (width + 7) / 8; ++i)
      row->WriteData(static_cast<unsigned char>(byte(r, static_cast<int>(i))));
  }
}

std::string WriteIsc(TempDir& dir, const std::string& name, const Changes& changes,
                     const char* entity = "TESTDEV", const char* creator = "fusekit test") {
  SVFPlusData data;
  AddField(data, "FuseArray_TDI", 4, kWidth, [](int r, int i) { return (r * 37 + i * 11) & 0x0F; });
  if (changes.mask)
    AddField(data, "FuseArray_MASK", 4, kWidth, [](int, int i) { return i == 2 ? 0xF7 : 0xFF; });
  AddField(data, "Usercode_TDI", 1, 32, [](int, int i) { return 0xA0 + i; });
  if (changes.flip_row != 0)
    FlipColumn(*data.GetDataField("FuseArray_TDI")->GetRow(changes.flip_row), kWidth,
               changes.flip_column);
  if (changes.flip_usercode) FlipColumn(*data.GetDataField("Usercode_TDI")->GetRow(1), 32, 9);
  data.SetSecurity(changes.security ? 1 : 0);
  const std::string path = dir.Path(name);
  EXPECT_GE(SVFPlus2ISC(&data, "-- test file\n", path.c_str(), entity, 0, 0, creator), 0);
  return path;
}

// The file with one hex digit changed: the one offset characters after the first occurrence of
// what.
std::string Edited(TempDir& dir, const std::string& path, const std::string& what, int offset) {
  std::string text = ReadFile(path);
  const std::size_t at = what == "(end)" ? text.size() - 4 : text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  if (at == std::string::npos) return path;
  char& c = text[at + static_cast<std::size_t>(offset)];
  c = c == '0' ? '1' : '0';
  return dir.Write("edited.isc", text);
}

// The text with the first hex digit from at on one bit off (its lowest), its checksum left.
std::string WithDigitChanged(std::string text, std::size_t at) {
  while (at < text.size() && !std::isxdigit(static_cast<unsigned char>(text[at]))) ++at;
  const char c = text.at(at);
  const int value = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (c | 0x20) - 'a' + 10;
  text[at] = "0123456789ABCDEF"[value ^ 1];
  return text;
}

// How far after the first occurrence of what its first hex digit stands.
int DigitAfter(const std::string& text, const std::string& what) {
  const std::size_t at = text.find(what);
  const std::size_t digit = text.find_first_of("0123456789ABCDEF", at + what.size());
  return static_cast<int>(digit - at);
}

TEST(IscCompare, OneFlippedBitAnywhereIsCountedOnceAndLocated) {
  TempDir dir;
  const std::string reference = WriteIsc(dir, "reference.isc", {});
  const std::string report = dir.Path("report.txt");
  const struct {
    const char* what;
    std::function<std::string()> read;
    int count;
    const char* located;
  } cases[] = {
      {"itself", [&] { return reference; }, 0, "Differences: 0"},
      {"the same data written again", [&] { return WriteIsc(dir, "again.isc", {}); }, 0,
       "Differences: 0"},
      {"array row 3, column 5",
       [&] {
         return WriteIsc(dir, "r.isc", {false, 3, 5});
       },
       1, "  row 3: 5"},
      {"array row 1, column 19 (the row's first digit)",
       [&] {
         return WriteIsc(dir, "r.isc", {false, 1, 19});
       },
       1, "  row 1: 19"},
      {"the usercode",
       [&] {
         return WriteIsc(dir, "r.isc", {false, 0, 0, true});
       },
       1, "block usercode: 1 row of 32 bits\n  row 1: 9"},
      {"the security setting",
       [&] {
         return WriteIsc(dir, "r.isc", {false, 0, 0, false, true});
       },
       1, "security: read ON, reference OFF"},
      {"a stored data_CRC",
       [&] {
         return Edited(dir, reference, "data_CRC", DigitAfter(ReadFile(reference), "data_CRC"));
       },
       1, "data_CRC does not match the rows"},
      {"the file checksum",
       [&] {
         return Edited(dir, reference, ReadFile(reference).substr(ReadFile(reference).size() - 4),
                       3);
       },
       1, "file checksum does not match"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string read = c.read();
    EXPECT_EQ(fnISCFileCompare(read.c_str(), reference.c_str(), report.c_str()), c.count);
    const std::string text = ReadFile(report);
    EXPECT_NE(text.find(c.located), std::string::npos) << text;
    EXPECT_NE(text.find("Differences: " + std::to_string(c.count)), std::string::npos) << text;
  }
}

TEST(IscCompare, MaskedBitsAndHeadersAreNotCounted) {
  TempDir dir;
  const std::string reference = WriteIsc(dir, "reference.isc", {true});
  // Column 3 of each row is masked out (mask byte 0xF7 at the last byte): a flip there is not
  // a difference, a flip next to it is.
  const std::string masked = WriteIsc(dir, "masked.isc", {true, 2, 3});
  const std::string unmasked = WriteIsc(dir, "unmasked.isc", {true, 2, 4});
  const std::string report = dir.Path("report.txt");
  EXPECT_EQ(fnISCFileCompare(masked.c_str(), reference.c_str(), report.c_str()), 0)
      << ReadFile(report);
  EXPECT_EQ(fnISCFileCompare(unmasked.c_str(), reference.c_str(), report.c_str()), 1);
  EXPECT_NE(ReadFile(report).find("  row 2: 4+"), std::string::npos) << ReadFile(report);

  const std::string other_creator = WriteIsc(dir, "creator.isc", {true}, "TESTDEV", "another tool");
  EXPECT_EQ(fnISCFileCompare(other_creator.c_str(), reference.c_str(), report.c_str()), 0);
  EXPECT_NE(ReadFile(report).find("header Creator: read another tool, reference fusekit test "
                                  "(not counted)"),
            std::string::npos)
      << ReadFile(report);
}

TEST(IscCompare, Statuses) {
  TempDir dir;
  const std::string reference = WriteIsc(dir, "reference.isc", {});
  const std::string other_device = WriteIsc(dir, "other.isc", {}, "OTHERDEV");
  const std::string not_isc = dir.Write("not.isc", "hello\n");
  const std::string report = dir.Path("report.txt");
  const struct {
    const char* what;
    std::string read;
    std::string report;
    int status;
    const char* cause;
  } cases[] = {
      {"another device", other_device, report, -2,
       "not compared: the files are for different devices: read OTHERDEV, reference TESTDEV"},
      {"not an ISC data file", not_isc, report, -2, "cannot be read as an ISC data file"},
      {"a file that is not there", dir.Path("none.isc"), report, -1, nullptr},
      {"a report that cannot be written", reference, dir.Path("no/such/report.txt"), -19, nullptr},
      {"no report name", reference, "", -6, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::remove(report.c_str());
    EXPECT_EQ(fnISCFileCompare(c.read.c_str(), reference.c_str(), c.report.c_str()), c.status);
    if (c.cause != nullptr) {
      EXPECT_NE(ReadFile(report).find(c.cause), std::string::npos) << ReadFile(report);
    }
  }
}

// A copy of the same bytes is compared by reading both side by side and summarizing one: its
// report is the report of the file against itself, and the block CRC register is left as the
// reference's summary leaves it. A copy that differs only in its last digit, the file checksum,
// and two copies of a file that does not parse take the long way and say so.
TEST(IscCompare, ACopyOfTheSameBytesReportsAsTheFileItself) {
  TempDir dir;
  const std::string reference = WriteIsc(dir, "reference.isc", {});
  const std::string copy = dir.Write("copy.isc", ReadFile(reference));
  const std::string report = dir.Path("report.txt");
  const auto compare = [&](const std::string& read) {
    const int result = fnISCFileCompare(read.c_str(), reference.c_str(), report.c_str());
    std::string text = ReadFile(report);
    const std::string line = "read:      " + read + "\n";
    if (const std::size_t at = text.find(line); at != std::string::npos)
      text.replace(at, line.size(), "read:      READ\n");
    return std::pair{result, text};
  };
  const auto itself = compare(reference);
  ISCSummary summary;
  ASSERT_EQ(GetISCSummary(reference.c_str(), &summary), 0);
  const unsigned reference_register = GetBlockCRCRegister();
  const auto by_bytes = compare(copy);
  EXPECT_EQ(by_bytes.first, 0);
  EXPECT_EQ(by_bytes.second, itself.second);
  EXPECT_EQ(GetBlockCRCRegister(), reference_register);

  const auto last_digit = compare(Edited(dir, reference, "(end)", 3));
  EXPECT_EQ(last_digit.first, 1) << last_digit.second;
  EXPECT_NE(last_digit.second.find("file checksum does not match the file's text"),
            std::string::npos)
      << last_digit.second;

  const std::string cut = ReadFile(reference).substr(0, ReadFile(reference).size() / 2);
  const std::string half = dir.Write("half.isc", cut);
  const std::string half_copy = dir.Write("half2.isc", cut);
  EXPECT_EQ(fnISCFileCompare(half.c_str(), half_copy.c_str(), report.c_str()), -2);
  EXPECT_NE(ReadFile(report).find("the read file cannot be read as an ISC data file (status -16)"),
            std::string::npos)
      << ReadFile(report);
}

// Long files are compared row by row as both are read, and read again to locate what differs:
// the same rows in lower case or two to a line compare equal; one flipped bit among hundreds of
// rows is found, counted once and located.
TEST(IscCompare, LongFilesInOtherLayoutsAndOneFlippedBit) {
  TempDir dir;
  constexpr int kRows = 30000;  // 480 KB of rows, 1.2 MB of text: more than a window, many batches
  const auto write = [&](const std::string& name, int flip_row) {
    SVFPlusData data;
    AddField(data, "FuseArray_TDI", kRows, 128,
             [](int r, int i) { return (r * 31 + i * 7) & 0xFF; });
    AddField(data, "Usercode_TDI", 1, 32, [](int, int i) { return 0xA0 + i; });
    if (flip_row != 0) FlipColumn(*data.GetDataField("FuseArray_TDI")->GetRow(flip_row), 128, 77);
    const std::string path = dir.Path(name);
    EXPECT_GE(SVFPlus2ISC(&data, "-- long file\n", path.c_str(), "TESTDEV", 0, 0, "t"), 0);
    return path;
  };
  const std::string reference = write("reference.isc", 0);
  const std::string text = ReadFile(reference);
  // The rows' text from the first block on, without the file checksum (which the edits would
  // break), the header left as it is.
  const std::size_t blocks = text.find(" data ");
  ASSERT_NE(blocks, std::string::npos);
  std::string lower = text.substr(0, text.size() - 4);
  for (std::size_t i = blocks; i < lower.size(); ++i)
    lower[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(lower[i])));
  std::string paired = text.substr(0, text.size() - 4);
  for (std::size_t at = paired.find(",\n", blocks), n = 0; at != std::string::npos && n < 300;
       at = paired.find(",\n", at + 2), n += 2)
    paired.replace(at, 2, ", ");
  const std::string report = dir.Path("report.txt");
  const struct {
    const char* what;
    std::string read;
    int count;
    const char* located;
  } cases[] = {
      {"a copy", dir.Write("copy.isc", text), 0, "block array: 30000 rows of 128 bits\n"},
      {"a copy with one digit changed",
       dir.Write("digit.isc", WithDigitChanged(text, text.size() * 3 / 4)), 1, "Differences: 1"},
      {"lower case", dir.Write("lower.isc", lower), 0, "block array: 30000 rows of 128 bits\n"},
      {"two rows a line", dir.Write("paired.isc", paired), 0, "Differences: 0"},
      {"row 450 flipped", write("flipped.isc", 450), 1, "  row 450: 77-\n"},
      {"row 20000 flipped", write("middle.isc", 20000), 1, "  row 20000: 77"},
      {"row 30000 flipped", write("last.isc", 30000), 1, "  row 30000: 77"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(fnISCFileCompare(c.read.c_str(), reference.c_str(), report.c_str()), c.count);
    EXPECT_NE(ReadFile(report).find(c.located), std::string::npos) << ReadFile(report);
  }
  // A copy, read in two halves on two threads, gives the data CRCs and the file checksum the
  // writer stored.
  ASSERT_EQ(fnISCFileCompare(reference.c_str(), cases[0].read.c_str(), report.c_str()), 0);
  const std::string copy_report = ReadFile(report);
  EXPECT_EQ(copy_report.find("(BAD)"), std::string::npos) << copy_report;
  EXPECT_NE(copy_report.find("file checksum: read stored"), std::string::npos) << copy_report;
  EXPECT_NE(copy_report.find("computed"), std::string::npos) << copy_report;
}

}  // namespace
