// File checksums: the CCITT file CRC with its marker search, the data CRC text of ISC files, the
// JEDEC transmission checksum and the binary-file checksum.
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/crc_reference.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::TempDir;

std::uint16_t Ccitt(const std::string& text) {
  return fusekit::reference::CcittFalse(std::vector<std::uint8_t>(text.begin(), text.end()));
}

unsigned short Transmission(const std::string& path, const char* marker) {
  std::string name = path;
  std::string mark = marker != nullptr ? marker : "";
  return GetCRCTramission(name.data(), marker != nullptr ? mark.data() : nullptr);
}

TEST(FileCrc, MarkerSearchAndWhatIsFed) {
  struct Case {
    const char* what;
    std::string text;
    const char* marker;
    std::string fed;  // the text whose CCITT CRC is expected
  };
  const Case cases[] = {
      {"marker absent: whole file", "abc\ndef\n", "WXYZ", "abc\ndef\n"},
      {"marker at the very start: nothing", "ABCDrest", "ABCD", ""},
      {"marker in the middle", "head ABCD tail", "ABCD", "head "},
      {"first occurrence only", "xABCDyABCD", "ABCD", "x"},
      {"carriage returns are not fed", "ab\r\ncd\r\nABCD", "ABCD", "ab\ncd\n"},
      {"upper-case marker matches lower-case text", "text abcd more", "ABCD", "text "},
      {"lower-case marker does not match upper-case text", "text ABCD", "abcd", "text ABCD"},
      {"mismatch does not retest the character", "AABCD", "ABCD", "AABCD"},
      {"only the first four marker characters count", "12ABCD", "ABCDEFG", "12"},
      {"a byte 0xFF ends the text",
       std::string("ab\xFF"
                   "cdABCD",
                   9),
       "ABCD", "ab"},
      {"a byte 0xFF ends the search first",
       std::string("ab\xFF"
                   "ABCD",
                   7),
       "ABCD", "ab"},
  };
  TempDir dir;
  for (const Case& c : cases) {
    const std::string path = dir.Write("file.isc", c.text);
    EXPECT_EQ(Transmission(path, c.marker), Ccitt(c.fed)) << c.what;
  }
}

TEST(FileCrc, MarkerAcrossChunkBoundary) {
  // The file is read in chunks of 256 KiB; a marker that straddles one is still found.
  TempDir dir;
  std::string text(256 * 1024 - 2, 'x');
  const std::string head = text;
  text += "ABCD and after";
  const std::string path = dir.Write("big.isc", text);
  EXPECT_EQ(Transmission(path, "ABCD"), Ccitt(head));
  EXPECT_EQ(GetFileCRC16(path.c_str()), Ccitt(text));
}

TEST(FileCrc, MatchesTheCharacterAtATimeReferenceOnRandomTexts) {
  // Texts over a small alphabet, so that partial and whole markers occur often.
  std::mt19937 rng(11);
  const char alphabet[] = {'A', 'B', 'C', 'D', 'a', 'b', 'c', 'd', '\r', '\n', '\xFF', '\0'};
  const char* markers[] = {"ABCD", "abcd", "AbCd", "AAAB", "DCBA", "AB"};
  TempDir dir;
  for (int trial = 0; trial < 300; ++trial) {
    std::string text(rng() % 400, ' ');
    const std::size_t letters = trial % 3 == 0 ? std::size(alphabet) : 10;  // 0xFF only sometimes
    for (char& c : text) c = alphabet[rng() % letters];
    const std::string path = dir.Write("f.isc", text);
    const char* marker = markers[rng() % std::size(markers)];
    ASSERT_EQ(Transmission(path, marker), fusekit::reference::FileCrc(path, marker))
        << "trial " << trial << " marker " << marker;
    ASSERT_EQ(GetFileCRC16(path.c_str()), fusekit::reference::FileCrc(path, nullptr))
        << "trial " << trial;
  }
}

TEST(FileCrc, NoMarkerOrNoFile) {
  TempDir dir;
  const std::string path = dir.Write("f.isc", "abc");
  EXPECT_EQ(Transmission(path, nullptr), 0);
  EXPECT_EQ(Transmission(path, ""), 0);
  EXPECT_EQ(Transmission(dir.Path("missing.isc"), "ABCD"), 0xFFF3);
  EXPECT_EQ(GetFileCRC16(dir.Path("missing.isc").c_str()), 0xFFF3);
  EXPECT_EQ(GetFileCRC16(path.c_str()), Ccitt("abc"));
}

TEST(FileCrc, CrLfFileEqualsLfFile) {
  TempDir dir;
  const std::string lf = dir.Write("lf.isc", "line one\nline two\n");
  const std::string crlf = dir.Write("crlf.isc", "line one\r\nline two\r\n");
  EXPECT_EQ(GetFileCRC16(lf.c_str()), GetFileCRC16(crlf.c_str()));
}

TEST(CrcDataText, FindsTheStoredDataCrc) {
  struct Case {
    const char* what;
    std::string text;
    const char* expected;
  };
  const Case cases[] = {
      {"header line: from the last blank, line end included",
       "HEADER\n-- DATA_CRC 1A2B3C4D\nmore\n", " 1A2B3C4D\n"},
      {"block keyword: the whole next line", "\tdata_CRC\n\t\t(89ABCDEF);\n", "\t\t(89ABCDEF);\n"},
      {"the first of either kind wins", "x data_CRC y\n  (11111111)\n-- DATA_CRC 22222222\n",
       "  (11111111)\n"},
      {"CR LF reads as LF", "-- DATA_CRC ABCDEF01\r\n", " ABCDEF01\n"},
      {"neither kind", "nothing here\n", ""},
      {"keyword on the last line, nothing after", "data_CRC", ""},
      {"prefix must start the line", " -- DATA_CRC 1234\n", ""},
  };
  TempDir dir;
  for (const Case& c : cases) {
    const std::string path = dir.Write("f.isc", c.text);
    char text[256] = "junk";
    EXPECT_EQ(GetCRCData(path.c_str(), text), 0) << c.what;
    EXPECT_STREQ(text, c.expected) << c.what;
  }
}

TEST(CrcDataText, FileThatCannotBeOpenedForWriting) {
  TempDir dir;
  char text[256] = "junk";
  EXPECT_EQ(GetCRCData(dir.Path("missing.isc").c_str(), text), -13);
  EXPECT_STREQ(text, "");
  if (geteuid() != 0) {  // permissions do not bind the superuser
    const std::string path = dir.Write("ro.isc", "-- DATA_CRC 1\n");
    chmod(path.c_str(), 0444);
    EXPECT_EQ(GetCRCData(path.c_str(), text), -13);
  }
}

TEST(CrcDataText, LongLinesAreReadIn255CharacterPieces) {
  // "data_CRC" near the end of the first 255 characters of a 290-character line: the "next
  // line" is the rest of the same line.
  TempDir dir;
  const std::string line = std::string(240, ' ') + "data_CRC" + std::string(42, 'z') + "\n";
  const std::string path = dir.Write("f.isc", line + "next\n");
  char text[256];
  ASSERT_EQ(GetCRCData(path.c_str(), text), 0);
  EXPECT_EQ(std::string(text), std::string(35, 'z') + "\n");
}

TEST(TransmissionChecksum, Verdicts) {
  struct Case {
    const char* what;
    std::string bytes;
    int valid;
    unsigned short computed;
    unsigned short stored;
  };
  const Case cases[] = {
      {"worked value",
       "\x02\x2A\x03"
       "002F",
       1, 0x002F, 0x002F},
      {"text before STX is not summed",
       "junk\x02\x2A\x03"
       "002F\r\n",
       1, 0x002F, 0x002F},
      {"lower-case digits",
       "\x02\xFA\x03"
       "00ff",
       1, 0x00FF, 0x00FF},
      {"0000 is accepted whatever the sum",
       "\x02\x2A\x03"
       "0000",
       1, 0x002F, 0},
      {"wrong stored value",
       "\x02\x2A\x03"
       "0030",
       0, 0x002F, 0x0030},
      {"no ETX",
       "\x02\x2A"
       "002F",
       0, 0, 0},
      {"no STX",
       "\x2A\x03"
       "002F",
       0, 0, 0},
      {"digits cut short read as zero",
       "\x02\x2A\x03"
       "2F",
       0, 0x002F, 0x2F00},
      {"nothing after ETX counts as not given", "\x02\x2A\x03", 1, 0x002F, 0},
  };
  TempDir dir;
  for (const Case& c : cases) {
    std::string path = dir.Write("f.jed", c.bytes);
    unsigned short computed = 1;
    unsigned short stored = 1;
    EXPECT_EQ(ValidTransmissionChecksum(path.data(), &computed, &stored), c.valid) << c.what;
    EXPECT_EQ(computed, c.computed) << c.what;
    EXPECT_EQ(stored, c.stored) << c.what;
  }
  std::string missing = dir.Path("missing.jed");
  unsigned short computed = 1;
  unsigned short stored = 1;
  EXPECT_EQ(ValidTransmissionChecksum(missing.data(), &computed, &stored), 0);
  EXPECT_EQ(computed, 0);
  EXPECT_EQ(stored, 0);
}

TEST(TransmissionChecksum, SumWrapsAtSixteenBits) {
  // 300 bytes 0xFF between STX and ETX: 2 + 300 * 255 + 3 = 76505, 0x2AD9 after wrapping.
  TempDir dir;
  std::string path = dir.Write("f.jed", "\x02" + std::string(300, '\xFF') +
                                            "\x03"
                                            "2AD9");
  unsigned short computed = 0;
  unsigned short stored = 0;
  EXPECT_EQ(ValidTransmissionChecksum(path.data(), &computed, &stored), 1);
  EXPECT_EQ(computed, 0x2AD9);
}

TEST(BinaryChecksum, WorkedValues) {
  struct Case {
    std::string bytes;
    bool reverse;
    unsigned short expected;
  };
  const Case cases[] = {
      {"\x01\x02", false, 0xFFFD},
      {"\x01\x02", true, 0xFF40},
      {std::string(1, '\0'), false, 0x0000},
      {"\xFF", false, 0xFF01},
      {"", false, 0x0000},
      {std::string(0x101, '\xFF'), false, 0x0001},
  };
  TempDir dir;
  for (const Case& c : cases) {
    const std::string path = dir.Write("f.bin", c.bytes);
    EXPECT_EQ(GetBinaryFileChecksum16(path.c_str(), c.reverse), c.expected)
        << c.bytes.size() << " bytes, reverse " << c.reverse;
  }
  EXPECT_EQ(GetBinaryFileChecksum16(dir.Path("missing.bin").c_str(), false), 0xFFFF);
}

}  // namespace
