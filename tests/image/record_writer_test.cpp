// WriteImageRuns against its inverse, ReadImageRuns, and against srec_cat: runs written in each
// record format read back as the same runs; srec_cat reads our files to the same bytes, and we
// read srec_cat's files to the same runs.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

std::vector<unsigned char> Bytes(std::size_t count, unsigned seed) {
  std::vector<unsigned char> bytes(count);
  for (unsigned char& b : bytes)
    b = static_cast<unsigned char>((seed = seed * 1103515245 + 12345) >> 16);
  return bytes;
}

bool SameRuns(const std::vector<ImageRun>& a, const std::vector<ImageRun>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].address != b[i].address || a[i].bytes != b[i].bytes) return false;
  }
  return true;
}

// Images that exercise each address width and segment boundary: S1, S2 and S3 ranges, a run
// across a 64 KiB boundary, gaps between runs.
std::vector<std::vector<ImageRun>> Images() {
  return {
      {{0, Bytes(100, 1)}},
      {{0x10, Bytes(5, 2)}, {0x40, Bytes(70, 3)}},
      {{0xFFF0, Bytes(40, 4)}},                                   // across 64 KiB: S2, two segments
      {{0x123456, Bytes(33, 5)}, {0x200000, Bytes(1, 6)}},        // S2
      {{0x08000000, Bytes(300, 7)}, {0x08010000, Bytes(20, 8)}},  // S3
  };
}

TEST(ImageRecords, WrittenRunsReadBackAsTheSameRuns) {
  TempDir dir;
  for (const char format : {'i', 'm', 't'}) {
    for (const int per_record : {0, 1, 7, 16}) {
      int n = 0;
      for (const std::vector<ImageRun>& runs : Images()) {
        SCOPED_TRACE(std::string(1, format) + " " + std::to_string(per_record) + " image " +
                     std::to_string(n++));
        const std::string path = dir.Path("image.rec");
        ASSERT_EQ(WriteImageRuns(path.c_str(), format, runs, per_record), 0);
        std::vector<ImageRun> back;
        ASSERT_EQ(ReadImageRuns(path.c_str(), &back), 0) << ReadFile(path).substr(0, 400);
        EXPECT_TRUE(SameRuns(back, runs)) << ReadFile(path).substr(0, 400);
      }
    }
  }
}

TEST(ImageRecords, WorkedRecordsAndStatuses) {
  TempDir dir;
  const std::vector<ImageRun> runs = {{0x10, {0x12, 0x34, 0x56, 0x78}}};
  const std::string path = dir.Path("w.rec");
  ASSERT_EQ(WriteImageRuns(path.c_str(), 'i', runs, 0), 0);
  EXPECT_EQ(ReadFile(path), ":020000040000FA\n:0400100012345678D8\n:00000001FF\n");
  ASSERT_EQ(WriteImageRuns(path.c_str(), 'm', runs, 0), 0);
  EXPECT_EQ(ReadFile(path),
            "S00A0000667573656B6974FA\nS107001012345678D4\nS5030001FB\nS9030000FC\n");
  ASSERT_EQ(WriteImageRuns(path.c_str(), 't', runs, 0), 0);
  EXPECT_EQ(ReadFile(path), "%1663A80000001012345678\n");  // as srec_cat writes it
  EXPECT_EQ(WriteImageRuns(path.c_str(), 'x', runs, 0), -6);
  EXPECT_EQ(WriteImageRuns(path.c_str(), 't', runs, 121), -6);
  EXPECT_EQ(WriteImageRuns(dir.Path("no/w.rec").c_str(), 'i', runs, 0), -13);
  EXPECT_EQ(WriteImageRuns("/dev/full", 'i', runs, 0), -19);
  std::vector<ImageRun> back;
  EXPECT_EQ(ReadImageRuns(dir.Path("none").c_str(), &back), -1);
  EXPECT_EQ(ReadImageRuns(path.c_str(), nullptr), -6);
  const std::string bin = dir.Write("b.bin", std::string("\x01\x02\x03", 3));
  ASSERT_EQ(ReadImageRuns(bin.c_str(), &back), 0);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(back[0].bytes, (std::vector<unsigned char>{1, 2, 3}));
}

// An Intel hex data record for address of bytes, with its checksum.
std::string IntelRecord(unsigned address, const std::vector<unsigned char>& bytes) {
  std::vector<unsigned> fields = {static_cast<unsigned>(bytes.size()), address >> 8 & 0xFF,
                                  address & 0xFF, 0};
  fields.insert(fields.end(), bytes.begin(), bytes.end());
  unsigned sum = 0;
  std::string line = ":";
  char hex[3];
  for (unsigned field : fields) {
    std::snprintf(hex, sizeof hex, "%02X", field);
    line += hex;
    sum += field;
  }
  std::snprintf(hex, sizeof hex, "%02X", (0x100 - sum % 0x100) % 0x100);
  return line + hex + "\n";
}

// Records as other tools write them: out of address order, a later record over part of an
// earlier one, records that meet across a 4 KiB boundary, a gap. The runs read back hold the
// last byte written at each address, one run for each stretch without a gap.
TEST(ImageRecords, LaterRecordsOverEarlierOnesAndRunsAcrossPages) {
  TempDir dir;
  const std::string text = IntelRecord(0x1002, {0x21, 0x22, 0x23}) +
                           IntelRecord(0x0FFC, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06}) +
                           IntelRecord(0x0FFE, {0xAA, 0xBB}) + IntelRecord(0x2000, {0x77}) +
                           IntelRecord(0x1004, {0x99}) + ":00000001FF\n";
  const std::string path = dir.Write("overlap.hex", text);
  std::vector<ImageRun> back;
  ASSERT_EQ(ReadImageRuns(path.c_str(), &back), 0) << text;
  ASSERT_EQ(back.size(), 2u) << text;
  EXPECT_EQ(back[0].address, 0x0FFCu);
  EXPECT_EQ(back[0].bytes,
            (std::vector<unsigned char>{0x01, 0x02, 0xAA, 0xBB, 0x05, 0x06, 0x21, 0x22, 0x99}));
  EXPECT_EQ(back[1].address, 0x2000u);
  EXPECT_EQ(back[1].bytes, (std::vector<unsigned char>{0x77}));
}

bool HaveSrecCat() {
  return std::system("srec_cat --version >/dev/null 2>&1") == 0;
}

TEST(ImageRecords, SrecCatReadsOursAndWeReadItsToTheSameBytes) {
  if (!HaveSrecCat()) GTEST_SKIP() << "srec_cat (Debian srecord) is not installed";
  TempDir dir;
  const struct {
    char format;
    const char* srec_cat_name;
  } formats[] = {{'i', "-intel"}, {'m', "-motorola"}, {'t', "-tektronix_extended"}};
  int n = 0;
  for (const std::vector<ImageRun>& runs : Images()) {
    for (const auto& f : formats) {
      SCOPED_TRACE(std::string(f.srec_cat_name) + " image " + std::to_string(n));
      const std::string ours = dir.Path("ours.rec");
      ASSERT_EQ(WriteImageRuns(ours.c_str(), f.format, runs, 0), 0);
      // srec_cat's reading of our file, written back in the same format by srec_cat, read by us.
      const std::string theirs = dir.Path("theirs.rec");
      const std::string command = "srec_cat " + ours + " " + f.srec_cat_name + " -o " + theirs +
                                  " " + f.srec_cat_name + " >/dev/null 2>&1";
      ASSERT_EQ(std::system(command.c_str()), 0) << command;
      std::vector<ImageRun> back;
      ASSERT_EQ(ReadImageRuns(theirs.c_str(), &back), 0) << ReadFile(theirs).substr(0, 300);
      EXPECT_TRUE(SameRuns(back, runs)) << ReadFile(theirs).substr(0, 300);
    }
    ++n;
  }
}

}  // namespace
