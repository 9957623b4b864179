// The ISC summary reader read through a window that slides over the file, against the same
// reader over the whole text: whatever the window's size and wherever it cuts a row, a comment
// or a word, the two see the same header, blocks, CRCs, file checksum and rows, and fail alike.
#include <cctype>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "isc/summary.h"
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

}  // namespace
}  // namespace fusekit::isc
