// The call frame: the one-shot log file name, the format tables, the status words and the text
// reader every text format is read through.
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "core/file_io.h"
#include "core/log_name.h"
#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(LogFileName, SetReplaceAndConsume) {
  EXPECT_STREQ(GetLogFileName(), "");
  std::string name = "first.log";
  SetLogFileName(name.c_str());
  name[0] = 'X';  // the library keeps its own copy
  EXPECT_STREQ(GetLogFileName(), "first.log");
  SetLogFileName("second.log");
  EXPECT_STREQ(GetLogFileName(), "second.log");
  // An operation that builds a bitstream model uses the name once.
  fusekit::core::ConsumeLogFileName();
  EXPECT_STREQ(GetLogFileName(), "");
  SetLogFileName("third.log");
  SetLogFileName(nullptr);
  EXPECT_STREQ(GetLogFileName(), "");
}

TEST(OutputFormatNames, TwoTablesInTheirOrder) {
  const char* expected[] = {"Binary", "C-Code", "Intel Hex", "Text (Debug Only)"};
  for (int table = 0; table < 2; ++table) {
    for (int i = 0; i < kOutputFormatCount; ++i) {
      ASSERT_NE(GetOutputFormatName(table, i), nullptr);
      EXPECT_STREQ(GetOutputFormatName(table, i), expected[i]);
    }
    EXPECT_EQ(GetOutputFormatName(table, 4), nullptr);
    EXPECT_EQ(GetOutputFormatName(table, -1), nullptr);
  }
  EXPECT_EQ(GetOutputFormatName(2, 0), nullptr);
}

TEST(StatusText, EveryNamedStatusHasItsOwnWords) {
  using namespace fusekit;
  const int statuses[] = {kStatusOk,
                          kStatusOpenFailed,
                          kStatusReadFailed,
                          kStatusNoMemory,
                          kStatusNoFuseData,
                          kStatusNullArgument,
                          kStatusCannotOpenFile,
                          kStatusChecksumMismatch,
                          kStatusFieldMissing,
                          kStatusInvalidDatabase,
                          kStatusNullModel,
                          kStatusNoFuseArray,
                          kStatusRowWriteFailed,
                          kStatusJedecSyntax};
  const int values[] = {0, -1, -2, -3, -4, -6, -13, -14, -18, -30, -100, -1000, -1010, 8195};
  std::set<std::string> words;
  for (std::size_t i = 0; i < std::size(statuses); ++i) {
    EXPECT_EQ(statuses[i], values[i]);
    words.insert(StatusText(statuses[i]));
  }
  EXPECT_EQ(words.size(), std::size(statuses));
  EXPECT_STREQ(StatusText(-12345), "failure");
}

TEST(TextReader, LineEndsFoldToLineFeed) {
  const struct {
    std::string text;
    std::string expected;
  } cases[] = {
      {"a\r\nb\r\n", "a\nb\n"}, {"a\rb\r", "a\nb\n"}, {"a\nb", "a\nb"},
      {"\r\r\n\n", "\n\n\n"},   {"x\r", "x\n"},       {"", ""},
  };
  for (const auto& c : cases) {
    fusekit::core::TextReader reader(c.text);
    std::string got;
    for (int ch; (ch = reader.Get()) != EOF;) got += static_cast<char>(ch);
    EXPECT_EQ(got, c.expected);
  }
}

TEST(TextReader, FileAcrossChunksReadsAsMemory) {
  // A CR LF pair split by the chunk boundary still reads as one line feed.
  std::string text(fusekit::core::kReadChunkBytes - 1, 'z');
  text += "\r\nend";
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  std::fwrite(text.data(), 1, text.size(), file);
  std::rewind(file);
  fusekit::core::TextReader from_file(file);
  fusekit::core::TextReader from_memory(text);
  for (;;) {
    const int a = from_file.Get();
    ASSERT_EQ(a, from_memory.Get());
    if (a == EOF) break;
  }
  std::fclose(file);
}

TEST(TextReader, ReadLineBehavesLikeFgets) {
  fusekit::core::TextReader reader(std::string_view("short\r\n0123456789\nlast"));
  char line[8];
  EXPECT_EQ(reader.ReadLine(line, sizeof line), 6u);
  EXPECT_STREQ(line, "short\n");
  EXPECT_EQ(reader.ReadLine(line, sizeof line), 7u);  // cut at the buffer, rest follows
  EXPECT_STREQ(line, "0123456");
  EXPECT_EQ(reader.ReadLine(line, sizeof line), 4u);
  EXPECT_STREQ(line, "789\n");
  EXPECT_EQ(reader.ReadLine(line, sizeof line), 4u);
  EXPECT_STREQ(line, "last");
  EXPECT_EQ(reader.ReadLine(line, sizeof line), 0u);
  EXPECT_EQ(reader.ReadLine(line, 1), 0u);
}

}  // namespace

namespace {

// A file compared with bytes shown to it in pieces of any size, from its start or from an offset,
// and two files read side by side: same only for every byte alike and both ending together.
TEST(FileBytesMatch, SameOnlyForTheWholeFileAlike) {
  fusekit::testing::TempDir dir;
  std::string bytes(3 * (1 << 20) + 77, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 4096);
  const std::size_t half = bytes.size() / 2;
  std::string flipped_first = bytes, flipped_middle = bytes, flipped_last = bytes;
  flipped_first[0] ^= 1;
  flipped_middle[half] ^= 0x40;
  flipped_last[bytes.size() - 1] ^= 0x80;
  const struct {
    const char* what;
    std::string file;  // the file on disk; the bytes shown are always bytes
    bool exists;
    bool same;
    bool same_from_half;
  } cases[] = {
      {"the same bytes", bytes, true, true, true},
      {"first byte flipped", flipped_first, true, false, true},
      {"middle byte flipped", flipped_middle, true, false, false},
      {"last byte flipped", flipped_last, true, false, false},
      {"file shorter by a byte", bytes.substr(0, bytes.size() - 1), true, false, false},
      {"file longer by a byte", bytes + "x", true, false, false},
      {"empty file", "", true, false, false},
      {"no file", "", false, false, false},
  };
  const auto* shown_bytes = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = c.exists ? dir.Write("file", c.file) : dir.Path("none");
    const std::string shown = dir.Write("shown", bytes);
    EXPECT_EQ(fusekit::core::SameFileBytes(shown.c_str(), path.c_str()), c.same);
    EXPECT_EQ(fusekit::core::SameFileBytes(path.c_str(), shown.c_str()), c.same);
    EXPECT_EQ(fusekit::core::SameFileBytes(path.c_str(), shown.c_str(), half), c.same_from_half);
    for (const std::size_t piece : {std::size_t{1} << 20, std::size_t{4093}, bytes.size()}) {
      fusekit::core::FileBytesMatch match(path.c_str(), 0);
      for (std::size_t at = 0; at < bytes.size(); at += piece)
        match.Next(shown_bytes + at, std::min(piece, bytes.size() - at));
      EXPECT_EQ(match.SameToEnd(), c.same) << "pieces of " << piece;
      fusekit::core::FileBytesMatch from_half(path.c_str(), half);
      for (std::size_t at = half; at < bytes.size(); at += piece)
        from_half.Next(shown_bytes + at, std::min(piece, bytes.size() - at));
      EXPECT_EQ(from_half.SameToEnd(), c.same_from_half) << "pieces of " << piece;
    }
  }
  // Nothing shown matches an empty file.
  EXPECT_TRUE(fusekit::core::FileBytesMatch(dir.Write("empty", "").c_str(), 0).SameToEnd());
}

}  // namespace
