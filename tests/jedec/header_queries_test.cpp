// The JEDEC header queries: note markers, the field walk of C and G, the header size and text.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::TempDir;

const std::string kFpgaStyle =
    "\x02"
    "Created by a design tool\n"
    "Design: top*\n"
    "NOTE DEVICE NAME: OR-17*\n"
    "NOTE User Memory Data UFM1*\n"
    "NOTE FRAME CRC: 0x1A2B3C4D*\n"
    "NOTE DATA CRC: 5E6F*\n"
    "NOTE CHAIN FRAME CRC: 77*\n"
    "NOTE CHAIN DATA CRC: 88*\n"
    "NOTE SELVEX ENABLED*\n"
    "NOTE Selvex 0x00C0FFEE*\n"
    "NOTE END CONFIG DATA*\n"
    "L000128\n"
    "QF256*\nG1*\nF0*\n"
    "L000000 0101*\n"
    "C0005*\n\x03"
    "0000\n";

TEST(JedecNotes, MarkersAndValues) {
  TempDir dir;
  std::string path = dir.Write("f.jed", kFpgaStyle);
  EXPECT_EQ(GetJEDEC_UFM(path.data()), 1);  // lines are upper-cased before the search
  EXPECT_EQ(GetJEDEC_FirstFrameCRC(path.data()), 0x1A2B3C4D);
  EXPECT_EQ(GetJEDEC_FramesCRC(path.data()), 0x5E6F);
  EXPECT_EQ(GetJEDEC_FirstChainFrameCRC(path.data()), 0x77);
  EXPECT_EQ(GetJEDEC_ChainFramesCRC(path.data()), 0x88);
  EXPECT_EQ(GetJEDEC_Selvex(path.data()), 1);
  EXPECT_EQ(GetJEDEC_USERCODE(path.data()), 0x00C0FFEEu);
  EXPECT_EQ(GetJEDEC_Encrypted(path.data()), 0);
  EXPECT_EQ(GetJEDEC_ENDDATA_NOTE(path.data()), 128);
  EXPECT_EQ(GetJEDEC_EBRDATA_NOTE(path.data()), 0);
  EXPECT_EQ(IsEncryptedJEDEC_CRCUpdated(path.c_str()), 1);

  std::string plain = dir.Write("plain.jed", "\x02x*QF8*L0 00000000*\x03");
  EXPECT_EQ(GetJEDEC_UFM(plain.data()), -1);
  std::string empty = dir.Write("empty.jed", "");
  EXPECT_EQ(GetJEDEC_UFM(empty.data()), -1);
  std::string missing = dir.Path("missing.jed");
  EXPECT_EQ(GetJEDEC_UFM(missing.data()), 0);  // the same as UFM0, deliberately
  EXPECT_EQ(GetJEDEC_FirstFrameCRC(missing.data()), 0);
}

TEST(JedecNotes, DataNotesWantAJedName) {
  TempDir dir;
  const std::string text =
      "\x02x*\nnote tag data*\nL000640 1*\nNOTE EBR_INIT DATA*\n  L 77 *\n\x03";
  std::string upper = dir.Write("F.JED", text);
  EXPECT_EQ(GetJEDEC_TAGDATA_NOTE(upper.data()), 640);
  EXPECT_EQ(upper.substr(upper.size() - 4), ".jed");  // the extension is lower-cased in place
  std::string again = dir.Path("F.JED");
  EXPECT_EQ(GetJEDEC_EBRDATA_NOTE(again.data()), 77);
  std::string other = dir.Write("f.txt", text);
  EXPECT_EQ(GetJEDEC_TAGDATA_NOTE(other.data()), 0);
}

TEST(JedecNotes, ChainCrcUpdateNeedsTheTwoLinesTogether) {
  TempDir dir;
  std::string apart =
      dir.Write("a.jed", "NOTE CHAIN FRAME CRC: 1*\nNOTE other*\nNOTE CHAIN DATA CRC: 2*\n");
  EXPECT_EQ(IsEncryptedJEDEC_CRCUpdated(apart.c_str()), 0);
  EXPECT_EQ(IsEncryptedJEDEC_CRCUpdated(dir.Path("missing.jed").c_str()), 0);
}

TEST(JedecFieldWalk, ChecksumAndSecurity) {
  const struct {
    const char* what;
    std::string text;
    int checksum_status;
    unsigned long checksum;
    int security;
  } cases[] = {
      {"both fields", kFpgaStyle, 0, 0x5, 1},
      {"no C, G1", "\x02x*QF8*G1*L0 00000000*\x03", 0, 0, 1},
      {"no G", "\x02x*QF8*L0 00000000*C0000*\x03", 0, 0, 0},
      {"C before G, D among its digits", "\x02x*C1D2F*G3*\x03", 0, 0x1D2F, 3},
      {"G inside a U field's text is taken", "\x02x*UAbG7*G1*\x03", 0, 0, 7},
      {"no STX", "QF8*G1*C12*", -4, 0, -4},
      {"0xFF before STX", "\xFF\x02x*G1*\x03", -4, 0, -4},
      {"lower-case letters", "\x02x*g2*c00ff*\x03", 0, 0xFF, 2},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const std::string path = dir.Write("f.jed", c.text);
    unsigned long checksum = 99;
    EXPECT_EQ(Jedec_read_Checksum(path.c_str(), &checksum), c.checksum_status) << c.what;
    EXPECT_EQ(checksum, c.checksum) << c.what;
    EXPECT_EQ(Jedec_read_Secure(path.c_str()), c.security) << c.what;
  }
  unsigned long checksum = 99;
  EXPECT_EQ(Jedec_read_Checksum(dir.Path("missing.jed").c_str(), &checksum), -1);
  EXPECT_EQ(Jedec_read_Secure(dir.Path("missing.jed").c_str()), -1);
}

TEST(JedecHeader, TextOfTheHeader) {
  const struct {
    const char* what;
    std::string text;
    bool prefix;
    const char* expected;
  } cases[] = {
      {"the worked example",
       "\x02"
       "Design*\nNOTE A*\nQF100*\nL0000 0*\x03",
       true, "-- Design\n-- NOTE A\n"},
      {"without the prefix",
       "\x02"
       "Design*\nNOTE A*\nQF100*\nL0000 0*\x03",
       false, "Design\nNOTE A\n"},
      {"lines before STX, empty lines left out",
       "Banner line\n\nSecond\n\x02"
       "D*\nL0 1*\x03",
       false, "Banner line\nSecond\nD\n"},
      {"CR LF reads as LF",
       "Banner\r\n\x02"
       "D*\r\nNOTE x*\r\nL0 1*\x03",
       true, "-- Banner\n-- D\n-- NOTE x\n"},
      {"a note over two lines stays one line",
       "\x02"
       "D*\nNOTE one\ntwo*\nL0 1*",
       false, "D\nNOTE one\ntwo\n"},
      {"a note over several lines: every line a comment of its own",
       "\x02"
       "D*\r\nNOTE\r\n0    0   0 *\r\nNOTE x\n\n y*\nL0 1*",
       true, "-- D\n-- NOTE\n-- 0    0   0 \n-- NOTE x\n--  y\n"},
      {"two notes on one line",
       "\x02"
       "D*\nN a* N b*\nL0 1*",
       false, "D\nN a N b\n"},
      {"a line not ended is dropped",
       "\x02"
       "D*\nNOTE last*",
       false, "D\n"},
      {"fields are dropped",
       "\x02"
       "D*\nQP24* F0* G1*\nNOTE n*\nL0 1*",
       false, "D\n  \nNOTE n\n"},
  };
  TempDir dir;
  for (const auto& c : cases) {
    const std::string path = dir.Write("f.jed", c.text);
    char out[512] = "kept:";
    ParseJEDECHeader(out, path.c_str(), c.prefix);
    EXPECT_EQ(std::string(out), std::string("kept:") + c.expected) << c.what;
  }
  char out[16] = "kept";
  ParseJEDECHeader(out, dir.Path("missing.jed").c_str(), true);
  EXPECT_STREQ(out, "kept");
}

TEST(JedecHeader, Size) {
  TempDir dir;
  // "\x02" "D*" + "\n" + "QF8*" + "\n" + "L": 1 + 2 + 1 + 4 + 1 + 1 = 10.
  EXPECT_EQ(GetJEDECHeaderSize(dir.Write("a.jed",
                                         "\x02"
                                         "D*\nQF8*\nL0 00000000*\x03")
                                   .c_str()),
            10);
  EXPECT_EQ(GetJEDECHeaderSize(dir.Write("b.jed",
                                         "\x02"
                                         "D*\r\nQF8*\r\nL0 1*")
                                   .c_str()),
            10);
  EXPECT_EQ(GetJEDECHeaderSize(dir.Write("c.jed",
                                         "\x02"
                                         "D*QF8*")
                                   .c_str()),
            7);
  EXPECT_EQ(GetJEDECHeaderSize(dir.Path("missing.jed").c_str()), 0);
}

}  // namespace
