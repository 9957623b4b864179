// The ISC summary reader read through a window that slides over the file, against the same
// reader over the whole text: whatever the window's size and wherever it cuts a row, a comment
// or a word, the two see the same header, blocks, CRCs, file checksum and rows, and fail alike.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "isc/flat_rows.h"
#include "isc/summary.h"
#include "tests/support/crc_reference.h"
#include "tests/support/temp_dir.h"

namespace fusekit::isc {
namespace {

using fusekit::testing::TempDir;

// Every row and part mark a reader hands over, in order.
class Collected final : public RowSink {
 public:
  void Rows(const unsigned char* bytes, std::size_t count) override {
    stream.insert(stream.end(), bytes, bytes + count);
  }
  void PartEnd(bool terminate, unsigned long width, std::size_t count) override {
    marks.push_back((terminate ? "T" : "R") + std::to_string(width) + "x" + std::to_string(count));
  }
  std::vector<unsigned char> stream;
  std::vector<std::string> marks;
};

// The rows kept by the whole-text reader, in the order the file gives them.
std::vector<unsigned char> KeptRows(const IscFileRows& rows) {
  std::vector<unsigned char> bytes;
  for (const IscBlockRows& block : rows.blocks) {
    for (const FlatRows* part : {&block.rows, &block.terminate}) {
      std::vector<unsigned char> scratch(part->RowBytes());
      for (std::size_t r = 0; r < part->count; ++r) {
        const unsigned char* row = part->Row(r, scratch.data());
        bytes.insert(bytes.end(), row, row + part->RowBytes());
      }
    }
  }
  return bytes;
}

std::string Hex(unsigned seed, std::size_t digits, bool lower) {
  static const char kUpper[] = "0123456789ABCDEF";
  static const char kLower[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < digits; ++i)
    text += (lower ? kLower : kUpper)[(seed * 7 + i * 13 + (i * i) % 11) & 15];
  return text;
}

// A file of two blocks: rows of width bits, laid out by style; a terminate part; a usercode.
std::string IscText(unsigned width, int rows, int style) {
  const std::size_t digits = (width + 3) / 4;
  std::string text =
      "-- made for a test\n--\nIEEE_1532_Data (\n Header ( STD_Version STD_1532_2001\n"
      "  Creation_Date 20261123.1200\n  Creator \"a test tool\"\n  Entity DEV ),\n"
      " data array (\n  repeat\n-- ROW_WIDTH = " +
      std::to_string(width) + "\n-- COLUMN_WIDTH = " + std::to_string(rows) + "\n   (\n";
  for (int r = 0; r < rows; ++r) {
    std::string row = Hex(static_cast<unsigned>(r), digits, style == 2 && r % 3 == 0);
    if (style == 1 && r % 7 == 3)
      row = row.substr(0, digits / 2) + "\n      " + row.substr(digits / 2);
    if (style == 3 && r % 5 == 2) row = "-- a note on this row\n     " + row;
    const char* end = r + 1 < rows ? (style == 4 ? ",\r\n" : ",\n") : "\n";
    text += (style == 5 ? "            " : "     ") + row + end;
  }
  text +=
      "   )\n  terminate\n-- ROW_WIDTH = 12\n   ( ABC, 123 )\n  data_CRC ( 1234ABCD )\n ),\n"
      " data usercode ( initialize ( FFFFFFFF ) )\n)\n";
  return text + "0F0F";
}

void ExpectSameSummaries(const ISCSummary& a, const ISCSummary& b) {
  EXPECT_EQ(a.comments, b.comments);
  EXPECT_EQ(a.standard, b.standard);
  EXPECT_EQ(a.date, b.date);
  EXPECT_EQ(a.creator, b.creator);
  EXPECT_EQ(a.entities, b.entities);
  EXPECT_EQ(a.security, b.security);
  EXPECT_EQ(a.hasFileChecksum, b.hasFileChecksum);
  EXPECT_EQ(a.storedFileChecksum, b.storedFileChecksum);
  EXPECT_EQ(a.computedFileChecksum, b.computedFileChecksum);
  ASSERT_EQ(a.blocks.size(), b.blocks.size());
  for (std::size_t i = 0; i < a.blocks.size(); ++i) {
    EXPECT_EQ(a.blocks[i].name, b.blocks[i].name);
    EXPECT_EQ(a.blocks[i].keyword, b.blocks[i].keyword);
    EXPECT_EQ(a.blocks[i].rowWidth, b.blocks[i].rowWidth);
    EXPECT_EQ(a.blocks[i].rowCount, b.blocks[i].rowCount);
    EXPECT_EQ(a.blocks[i].terminateRows, b.blocks[i].terminateRows);
    EXPECT_EQ(a.blocks[i].hasStoredCRC, b.blocks[i].hasStoredCRC);
    EXPECT_EQ(a.blocks[i].storedCRC, b.blocks[i].storedCRC);
    EXPECT_EQ(a.blocks[i].computedCRC, b.blocks[i].computedCRC);
  }
}

TEST(IscStream, EveryWindowReadsAsTheWholeText) {
  TempDir dir;
  const struct {
    const char* what;
    unsigned width;
    int rows;
    int style;
  } files[] = {{"even rows", 128, 300, 0},
               {"rows over two lines", 128, 300, 1},
               {"some rows in lower case", 20, 400, 2},
               {"notes between rows", 130, 200, 3},
               {"CR LF line ends", 64, 300, 4},
               {"rows of two 32-digit pieces", 256, 300, 0},
               {"32-digit rows, some in lower case", 128, 300, 2},
               {"rows indented past a word", 128, 300, 5},
               {"rows wider than the window", 5000, 12, 0},
               {"rows of 1 to 4 bits", 3, 500, 0}};
  for (const auto& file : files) {
    const std::string text = IscText(file.width, file.rows, file.style);
    const std::string path = dir.Write("f.isc", text);
    ISCSummary whole;
    IscFileRows kept;
    std::optional<std::uint32_t> whole_crc;
    ASSERT_EQ(ReadIscFile(path.c_str(), whole, &kept, whole_crc), 0) << file.what;
    EXPECT_EQ(whole.blocks.at(0).rowCount, static_cast<unsigned long>(file.rows));
    EXPECT_EQ(whole.blocks.at(0).terminateRows, 2u);
    for (std::size_t window : {std::size_t{2}, std::size_t{7}, std::size_t{37}, std::size_t{64},
                               std::size_t{1000}, TextWindow::kWindowBytes}) {
      SCOPED_TRACE(std::string(file.what) + ", window " + std::to_string(window));
      ISCSummary streamed;
      Collected rows;
      std::optional<std::uint32_t> streamed_crc;
      ASSERT_EQ(StreamIscFile(path.c_str(), streamed, &rows, streamed_crc, window), 0);
      ExpectSameSummaries(whole, streamed);
      EXPECT_EQ(streamed_crc, whole_crc);
      EXPECT_EQ(rows.stream.size(), KeptRows(kept).size());
      EXPECT_TRUE(rows.stream == KeptRows(kept));
      const std::vector<std::string> marks = {
          "R" + std::to_string(file.width) + "x" + std::to_string(file.rows), "T12x2", "R32x1"};
      EXPECT_EQ(rows.marks, marks);
    }
  }
}

// A file cut anywhere, with a stray character anywhere or with any one comma left out fails
// with the same status through any window as through the whole text.
TEST(IscStream, DamagedFilesFailAlikeThroughAnyWindow) {
  TempDir dir;
  const std::string text = IscText(128, 40, 1);
  std::vector<std::pair<std::string, std::string>> damaged;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (at % 37 == 0) {
      damaged.emplace_back("cut at " + std::to_string(at), text.substr(0, at));
      damaged.emplace_back("stray character at " + std::to_string(at), text);
      damaged.back().second[at] = 'G';
    }
    if (text[at] == ',' && std::isxdigit(static_cast<unsigned char>(text[at - 1]))) {
      damaged.emplace_back("no comma at " + std::to_string(at), text);
      damaged.back().second[at] = ' ';
    }
  }
  int refused = 0;
  for (const auto& [what, file] : damaged) {
    const std::string path = dir.Write("f.isc", file);
    ISCSummary whole;
    IscFileRows kept;
    std::optional<std::uint32_t> crc;
    const int expected = ReadIscFile(path.c_str(), whole, &kept, crc);
    refused += expected != 0;
    // Two rows without a comma between them read as one row of twice the digits.
    if (what.rfind("no comma", 0) == 0) {
      EXPECT_EQ(expected, -13) << what;
    }
    for (std::size_t window : {std::size_t{5}, std::size_t{64}, TextWindow::kWindowBytes}) {
      ISCSummary streamed;
      EXPECT_EQ(StreamIscFile(path.c_str(), streamed, nullptr, crc, window), expected)
          << what << ", window " << window;
    }
  }
  EXPECT_GT(refused, static_cast<int>(damaged.size()) / 2);
}

// Two data blocks of rows of one layout, the second's rows placed (by the blanks before them)
// a whole number of rows' text after the first's: a split of the first block's run that falls
// in the second block's rows is taken up there.
std::string TwoBlocksInStep(int first_rows, int second_rows) {
  const std::string head =
      "IEEE_1532_Data (\n Header ( STD_Version STD_1532_2001\n  Entity DEV ),\n"
      " data one ( repeat\n-- ROW_WIDTH = 64\n (\n";
  const auto rows = [](int count, unsigned seed) {
    std::string text;
    for (int r = 0; r < count; ++r)
      text += (r == 0 ? "" : ",\n ") + Hex(seed + static_cast<unsigned>(r), 16, false);
    return text;
  };
  const std::string step_text = ",\n " + Hex(0, 16, false);
  std::string first = head + " " + rows(first_rows, 0);
  const std::size_t first_row_end = head.size() + 1 + 16;
  std::string between = "\n ) ),\n data two ( repeat\n-- ROW_WIDTH = 64\n (\n";
  while ((first.size() + between.size() + 16 - first_row_end) % step_text.size() != 0)
    between += ' ';
  return first + between + rows(second_rows, 7) + "\n ) )\n)\n0F0F";
}

// The summary read beside a compare of the same bytes, its file split between two threads,
// reads as the file read alone, through any window and wherever the split falls.
TEST(IscStream, ASummaryBesideTheSameBytesReadsAsAlone) {
  TempDir dir;
  const struct {
    const char* what;
    std::string text;
  } files[] = {
      {"even rows", IscText(128, 3000, 0)},
      {"CR LF line ends", IscText(64, 3000, 4)},
      {"rows of 1 to 4 bits", IscText(3, 5000, 0)},
      {"rows of 12 bits", IscText(12, 5000, 0)},
      {"rows of two 32-digit pieces", IscText(256, 1000, 0)},
      {"rows over two lines", IscText(128, 2000, 1)},
      {"some rows in lower case", IscText(128, 2000, 2)},
      {"rows wider than the window", IscText(5000, 30, 0)},
      {"a short run then a long one in step", TwoBlocksInStep(20, 3000)},
      {"the split in another block", TwoBlocksInStep(2000, 3000)},
      {"a few rows", IscText(128, 3, 0)},
      {"more text after the checksum than before", IscText(128, 300, 0) + std::string(40000, ' ')},
      {"a damaged row past the middle",
       IscText(128, 3000, 0).replace(IscText(128, 3000, 0).size() * 2 / 3, 1, "G")},
      {"cut in the middle", IscText(128, 3000, 0).substr(0, IscText(128, 3000, 0).size() / 2)},
  };
  for (const auto& file : files) {
    const std::string path = dir.Write("f.isc", file.text);
    const std::string copy = dir.Write("copy.isc", file.text);
    for (std::size_t window : {std::size_t{64}, std::size_t{1000}, TextWindow::kWindowBytes}) {
      SCOPED_TRACE(std::string(file.what) + ", window " + std::to_string(window));
      ISCSummary alone;
      std::optional<std::uint32_t> alone_crc;
      const int status = StreamIscFile(path.c_str(), alone, nullptr, alone_crc, window);
      ISCSummary beside;
      std::optional<std::uint32_t> beside_crc;
      bool same = false;
      EXPECT_EQ(SummarizeComparing(path.c_str(), copy.c_str(), beside, beside_crc, same, 0, window),
                status);
      if (status != 0) continue;
      EXPECT_TRUE(same);
      ExpectSameSummaries(alone, beside);
      EXPECT_EQ(beside_crc, alone_crc);
    }
  }
}

// Any one byte changed, on either side of the split or at it, and a file one byte longer or
// shorter, are told from the same bytes, whichever of the two files is read.
TEST(IscStream, ADifferenceAnywhereIsToldBesideTheSummary) {
  TempDir dir;
  const std::string text = IscText(64, 400, 0);
  const std::string path = dir.Write("f.isc", text);
  std::vector<std::string> others = {text + " ", text.substr(0, text.size() - 1)};
  const std::size_t middle = text.size() / 2;
  for (std::size_t at = 0; at<text.size(); at += at + 40> middle && at < middle + 40 ? 1 : 13) {
    others.push_back(text);
    others.back()[at] = static_cast<char>(text[at] ^ 0x01);
  }
  for (const std::string& other : others) {
    const std::string other_path = dir.Write("other.isc", other);
    for (const auto& [read, reference] :
         {std::pair{path, other_path}, std::pair{other_path, path}}) {
      ISCSummary summary;
      std::optional<std::uint32_t> crc;
      bool same = true;
      SummarizeComparing(read.c_str(), reference.c_str(), summary, crc, same, 0, 256);
      EXPECT_FALSE(same) << "size " << other.size() << ", first difference at "
                         << std::mismatch(text.begin(), text.end(), other.begin()).first -
                                text.begin();
    }
  }
}

// A block whose terminate rows stand before its rows: the data CRC covers the rows, then the
// terminate rows, as in a block that gives them in that order, whether the rows are kept or not.
TEST(IscStream, TerminateRowsBeforeTheRowsCountAfterThem) {
  TempDir dir;
  const std::string head =
      "IEEE_1532_Data (\n Header ( STD_Version STD_1532_2001 Entity DEV ),\n data array (\n";
  const std::string rows = "  repeat\n-- ROW_WIDTH = 8\n ( 12, 34, 56 )\n";
  const std::string terminate = "  terminate\n-- ROW_WIDTH = 12\n ( ABC, 123 )\n";
  const std::string terminate_first = dir.Write("t.isc", head + terminate + rows + " )\n)\n");
  const std::string in_order = dir.Write("r.isc", head + rows + terminate + " )\n)\n");
  std::uint32_t expected = 0;
  for (const std::uint8_t row : {0x12, 0x34, 0x56})
    expected = fusekit::reference::DataCrcRow(expected, &row, 1, 8);
  for (const std::uint16_t value : {0x0ABC, 0x0123}) {
    const std::uint8_t row[] = {static_cast<std::uint8_t>(value >> 8),
                                static_cast<std::uint8_t>(value & 0xFF)};
    expected = fusekit::reference::DataCrcRow(expected, row, 2, 12);
  }
  for (const std::string& path : {terminate_first, in_order}) {
    SCOPED_TRACE(path);
    ISCSummary summary;
    ASSERT_EQ(GetISCSummary(path.c_str(), &summary), 0);
    ASSERT_EQ(summary.blocks.size(), 1u);
    EXPECT_EQ(summary.blocks[0].rowCount, 3u);
    EXPECT_EQ(summary.blocks[0].terminateRows, 2u);
    EXPECT_EQ(summary.blocks[0].computedCRC, expected);
    IscFileRows kept;
    std::optional<std::uint32_t> crc;
    ASSERT_EQ(ReadIscFile(path.c_str(), summary, &kept, crc), 0);
    EXPECT_EQ(crc, expected);
  }
}

// Rows laid out evenly, decoded by whichever vector path the processor takes, against the
// digits decoded one by one: every row before the first that breaks the layout is decoded, and
// the count stops exactly there, whether that row is the first or the second of a pair.
TEST(IscFlatRows, EvenRowsStopAtTheFirstRowThatStandsOtherwise) {
  struct Case {
    std::size_t digits;
    bool short_lead;
    std::size_t rows;
    std::size_t broken_row;  // rows when none is broken
    std::size_t broken_at;   // a digit's index, or digits + i for the separator's byte i
  };
  const Case cases[] = {
      {32, false, 9, 9, 0},  {32, false, 9, 0, 0},  {32, false, 9, 1, 31},   {32, false, 9, 4, 17},
      {32, false, 9, 5, 32}, {32, false, 9, 8, 33}, {32, false, 2, 1, 0},    {32, false, 1, 0, 5},
      {64, false, 5, 3, 40}, {64, false, 5, 5, 0},  {31, true, 6, 2, 0},     {31, true, 6, 6, 0},
      {8, false, 7, 6, 7},   {96, false, 4, 2, 95}, {32, false, 33, 30, 12},
  };
  const std::string separator = ",\n     ";
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << c.digits << " digits, row " << c.broken_row << " at " << c.broken_at);
    const std::size_t step = c.digits + separator.size();
    std::string text;
    unsigned seed = 7;
    for (std::size_t r = 0; r < c.rows; ++r) {
      for (std::size_t d = 0; d < c.digits; ++d)
        text += "0123456789abcdefABCDEF"[(seed = seed * 1103515245 + 12345) >> 16 & 0xF];
      text += separator;
    }
    text += std::string(8, ' ');
    if (c.broken_row < c.rows) text[c.broken_row * step + c.broken_at] = 'g';
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < separator.size() && i < 8; ++i)
      word |= std::uint64_t{static_cast<unsigned char>(separator[i])} << (8 * i);
    const std::size_t row_bytes = (c.digits + (c.short_lead ? 1 : 0)) / 2;
    std::vector<unsigned char> out(row_bytes * c.rows + 64, 0xEE);
    const std::size_t decoded =
        DecodeEvenRows(text.data(), step, c.digits, c.short_lead, word,
                       std::min<std::size_t>(separator.size(), 8), c.rows, out.data());
    EXPECT_EQ(decoded, std::min(c.broken_row, c.rows));
    std::vector<unsigned char> expected(row_bytes);
    for (std::size_t r = 0; r < decoded; ++r) {
      ASSERT_TRUE(DecodeRow(text.data() + r * step, c.digits, c.short_lead, expected.data()));
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.begin() + r * row_bytes))
          << "row " << r;
    }
  }
}

}  // namespace
}  // namespace fusekit::isc
