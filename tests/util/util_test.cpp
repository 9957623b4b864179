// The utility library: texts, bounded copies, hex digits, the owning list, rows and the log.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(KvCString, FindCutTrimCase) {
  const KvCString text("  Hello, World \t\r\n");
  EXPECT_EQ(text.Find("World"), 9);
  EXPECT_EQ(text.Find('o'), 6);
  EXPECT_EQ(text.Find('o', 7), 10);
  EXPECT_EQ(text.Find("world"), -1);  // with regard to case
  EXPECT_EQ(text.Find("o", 100), -1);

  KvCString trimmed = text;
  trimmed.Trim();
  EXPECT_STREQ(trimmed, "Hello, World");
  EXPECT_STREQ(trimmed.Left(5), "Hello");
  EXPECT_STREQ(trimmed.Right(5), "World");
  EXPECT_STREQ(trimmed.Left(100), "Hello, World");
  EXPECT_STREQ(trimmed.Right(-1), "");
  EXPECT_STREQ(trimmed.Mid(7, 2), "Wo");
  EXPECT_STREQ(trimmed.Mid(50), "");
  EXPECT_STREQ(KvCString(trimmed).MakeUpper(), "HELLO, WORLD");

  KvCString left("  x ");
  EXPECT_STREQ(left.TrimLeft(), "x ");
  EXPECT_STREQ(left.TrimRight(), "x");
}

TEST(KvCString, CompareAndBuild) {
  const KvCString abc("abc");
  EXPECT_EQ(abc.Compare("abc"), 0);
  EXPECT_LT(abc.Compare("abd"), 0);
  EXPECT_GT(abc.Compare("ab"), 0);
  EXPECT_NE(abc.Compare("ABC"), 0);
  EXPECT_EQ(abc.CompareNoCase("ABC"), 0);
  EXPECT_LT(abc.CompareNoCase("ABD"), 0);
  EXPECT_TRUE(abc == "abc");
  EXPECT_EQ(KvCString(nullptr).GetLength(), 0);

  KvString built;
  built = "fuse";
  built += "kit";
  EXPECT_STREQ(built, "fusekit");
}

TEST(BoundedCopies, NeverOverrunAndAlwaysTerminate) {
  char buffer[8];
  std::memset(buffer, 'x', sizeof buffer);
  util_strncpy(buffer, "0123456789", sizeof buffer);
  EXPECT_STREQ(buffer, "0123456");
  util_strncpy(buffer, nullptr, sizeof buffer);
  EXPECT_STREQ(buffer, "");
  util_strncpy(buffer, "ab", sizeof buffer);
  util_strncat(buffer, "cdefghij", sizeof buffer);
  EXPECT_STREQ(buffer, "abcdefg");
  util_strncat(buffer, "more", sizeof buffer);  // full: unchanged
  EXPECT_STREQ(buffer, "abcdefg");

  char unterminated[4] = {'a', 'b', 'c', 'd'};
  util_strncat(unterminated, "x", sizeof unterminated);
  EXPECT_STREQ(unterminated, "abc");
  EXPECT_EQ(util_strncpy(nullptr, "x", 4), nullptr);
}

TEST(HexDigits, BothDirections) {
  const struct {
    char digit;
    unsigned char value;
  } cases[] = {{'0', 0}, {'9', 9}, {'A', 10}, {'F', 15}, {'a', 10},  {'f', 15},
               {'G', 0}, {'g', 0}, {' ', 0},  {'\0', 0}, {'\xFF', 0}};
  for (const auto& c : cases) EXPECT_EQ(util_HexAnsi2Hex(c.digit), c.value) << c.digit;
  const std::string digits = "0123456789ABCDEF";
  for (unsigned v = 0; v < 16; ++v) {
    EXPECT_EQ(util_Hex2HexAnsi(static_cast<unsigned char>(v)), digits[v]);
    EXPECT_EQ(util_Hex2HexAnsi(static_cast<unsigned char>(v | 0xF0)), digits[v]);
    EXPECT_EQ(util_HexAnsi2Hex(util_Hex2HexAnsi(static_cast<unsigned char>(v))), v);
  }
}

TEST(FindSubString, PositionsWithRegardToCase) {
  EXPECT_EQ(FindSubString("design.hex", ".hex"), 6);
  EXPECT_EQ(FindSubString("design.HEX", ".hex"), -1);
  EXPECT_EQ(FindSubString("design.HeX", ".HEX"), -1);
  EXPECT_EQ(FindSubString("abc", ""), 0);
  EXPECT_EQ(FindSubString(nullptr, "a"), -1);
  EXPECT_EQ(FindSubString("a", nullptr), -1);
}

struct Counted : KvObject {
  explicit Counted(int& alive) : alive_(alive) { ++alive_; }
  ~Counted() override { --alive_; }
  int& alive_;
};

TEST(KvObjList, OwnsItsObjects) {
  int alive = 0;
  {
    KvObjList list;
    EXPECT_TRUE(list.IsEmpty());
    auto* first = new Counted(alive);
    list.AddTail(first);
    list.AddTail(new Counted(alive));
    list.AddTail(new DeviceStrElement("entity"));
    EXPECT_EQ(list.GetCount(), 3);
    EXPECT_EQ(list.GetAt(0), first);
    EXPECT_EQ(list.GetAt(3), nullptr);
    EXPECT_EQ(list.GetAt(-1), nullptr);
    EXPECT_STREQ(dynamic_cast<DeviceStrElement*>(list.GetAt(2))->GetString(), "entity");
    EXPECT_EQ(alive, 2);
  }
  EXPECT_EQ(alive, 0);
}

TEST(KvByteBuffer, AppendReadOverwrite) {
  KvByteBuffer row;
  EXPECT_EQ(row.GetDataSize(), 0);
  EXPECT_EQ(row.GetBuffer(), nullptr);
  for (unsigned char b : {0x12, 0x34, 0x56}) EXPECT_NE(row.WriteData(b), 0);
  EXPECT_EQ(row.GetTotalSize(), 3u);
  EXPECT_NE(row.WriteData(1, 0xAB), 0);
  EXPECT_EQ(row.ReadData(1), 0xAB);
  // Past the end: the row keeps its size and the write still reports success.
  EXPECT_NE(row.WriteData(6, 0xCD), 0);
  EXPECT_EQ(row.GetDataSize(), 3);
  EXPECT_EQ(row.ReadData(6), 0);
  EXPECT_EQ(row.ReadData(-1), 0);
  EXPECT_EQ(row.GetBuffer()[2], 0x56);
}

TEST(KvLog, WritesWhenOpenAndIsSilentOtherwise) {
  fusekit::testing::TempDir dir;
  const std::string path = dir.Path("run.log");
  {
    KvLog log;
    EXPECT_FALSE(log.Open("", "a"));
    log.WriteMessage("dropped %d\n", 1);  // nowhere to go: no crash, no file
    ASSERT_TRUE(log.Open(path.c_str(), "a"));
    log.WriteMessage("model %s: %d frames\n", "config", 12);
  }
  {
    KvLog log;
    ASSERT_TRUE(log.Open(path.c_str(), "a"));
    log.WriteMessage("second run\n");
  }
  EXPECT_EQ(fusekit::testing::ReadFile(path), "model config: 12 frames\nsecond run\n");
}

}  // namespace
