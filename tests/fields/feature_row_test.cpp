// Feature-row files read into programming data and written back byte for byte, their notes; and
// device settings files applied to programming data, every problem named with its line.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;
using fusekit::testing::TestDevice;

std::vector<unsigned char> Row(SVFPlusData& data, const char* name) {
  SVFDataField* field = data.GetDataField(name);
  if (field == nullptr || field->GetRow(1) == nullptr) return {};
  const KvByteBuffer* row = field->GetRow(1);
  return {row->GetBuffer(), row->GetBuffer() + row->GetDataSize()};
}

unsigned Width(SVFPlusData& data, const char* name) {
  SVFDataField* field = data.GetDataField(name);
  if (field == nullptr) return 0;
  field->ResetRowPointer();
  return field->GetCurrentRowWidth();
}

const std::string kFeatureFile =
    "-- Feature row of a test design\n"
    "-- DEVICE NAME: T\n"
    "--\n"
    "FEATURE_ROW\n"
    "0000000000000000000000000000000000000000000000000000000101000011\n"
    "FEATURE_BITS\n"
    "1000000000010\n";

TEST(FeatureRow, FileToProgrammingDataToFileIsByteForByte) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  std::string in = dir.Write("in.fea", kFeatureFile);
  SVFPlusData data;
  ASSERT_EQ(FEA2SVFPlus(in.data(), &device, &data), 0);
  EXPECT_EQ(Width(data, "FeatureRow_TDI"), 64u);
  EXPECT_EQ(Row(data, "FeatureRow_TDI"),
            (std::vector<unsigned char>{0, 0, 0, 0, 0, 0, 0x01, 0x43}));
  // 13 bits: three padding bits of 1 lead byte 0.
  EXPECT_EQ(Width(data, "FeatureBits_TDI"), 13u);
  EXPECT_EQ(Row(data, "FeatureBits_TDI"), (std::vector<unsigned char>{0xF0, 0x02}));

  const std::string out = dir.Path("out.fea");
  ASSERT_EQ(SVFPlus2FEA(&data, &device, out.c_str()), 0);
  EXPECT_EQ(ReadFile(out), kFeatureFile);

  // Through an ISC feature section and back, the same file again.
  const std::string isc = dir.Path("f.isc");
  ASSERT_GE(ISCWriteFeatureInfo(&data, nullptr, isc.c_str(), "T", "me"), 0);
  SVFPlusData back;
  back.SetComment(data.GetComment());
  std::string isc_name = isc;
  ASSERT_EQ(ISCReadFeatureInfo(isc_name.data(), &device, &back), 2);
  const std::string again = dir.Path("again.fea");
  ASSERT_EQ(SVFPlus2FEA(&back, &device, again.c_str()), 0);
  EXPECT_EQ(ReadFile(again), kFeatureFile);

  // Other line ends and case read the same; the writer's form is the one above.
  std::string crlf = kFeatureFile;
  for (std::size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2)
    crlf.replace(at, 1, "\r\n");
  std::string crlf_in = dir.Write("crlf.fea", crlf);
  SVFPlusData from_crlf;
  ASSERT_EQ(FEA2SVFPlus(crlf_in.data(), nullptr, &from_crlf), 0);
  EXPECT_EQ(Row(from_crlf, "FeatureBits_TDI"), Row(data, "FeatureBits_TDI"));
  ASSERT_EQ(SVFPlus2FEA(&from_crlf, nullptr, out.c_str()), 0);
  EXPECT_EQ(ReadFile(out), kFeatureFile);

  // Without notes the writer names the device.
  SVFPlusData bare;
  bare.AddDataField()->SetFieldName("FeatureRow_TDI");
  bare.GetDataField("FeatureRow_TDI")->AddRow(4)->WriteData(0xF5);
  ASSERT_EQ(SVFPlus2FEA(&bare, &device, out.c_str()), 0);
  EXPECT_EQ(ReadFile(out), "-- DEVICE NAME: T\nFEATURE_ROW\n0101\n");
}

TEST(FeatureRow, MalformedFilesGetTheirStatus) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  struct Case {
    const char* what;
    std::string text;
    int status;
  };
  const std::vector<Case> cases = {
      {"bits before any keyword", "0101\nFEATURE_ROW\n01\n", -13},
      {"a character that is not a bit", "FEATURE_ROW\n0120\n", -13},
      {"a keyword twice", "FEATURE_ROW\n01\nFEATURE_ROW\n01\n", -13},
      {"no feature row", "-- only notes\nFEATURE_BITS\n01\n", -13},
      {"an empty value", "FEATURE_ROW\nFEATURE_BITS\n01\n", -13},
      {"an empty file", "", -13},
      {"binary garbage", std::string("\x00\xFF\x01\n", 4), -13},
      {"another device", "-- DEVICE NAME: OTHER\nFEATURE_ROW\n01\n", -12},
      {"lower-case keywords and blanks in bits", "feature_row\n 01 10 \n", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::string path = dir.Write("bad.fea", c.text);
    SVFPlusData data;
    EXPECT_EQ(FEA2SVFPlus(path.data(), &device, &data), c.status);
  }
  std::string missing = dir.Path("missing.fea");
  SVFPlusData data;
  EXPECT_EQ(FEA2SVFPlus(missing.data(), &device, &data), -2);
  EXPECT_EQ(FEA2SVFPlus(missing.data(), &device, nullptr), -3);
  EXPECT_EQ(SVFPlus2FEA(&data, &device, dir.Path("x.fea").c_str()), -18);
  EXPECT_EQ(SVFPlus2FEA(nullptr, &device, dir.Path("x.fea").c_str()), -3);
}

TEST(FeatureRow, HeaderNotesWithAndWithoutDashes) {
  TempDir dir;
  const std::string path = dir.Write("n.fea", kFeatureFile);
  char out[256];
  EXPECT_EQ(ParseFEAHeader(out, path.c_str(), 1, sizeof out), 3);
  EXPECT_STREQ(out, "-- Feature row of a test design\n-- DEVICE NAME: T\n--\n");
  EXPECT_EQ(ParseFEAHeader(out, path.c_str(), 0, sizeof out), 3);
  EXPECT_STREQ(out, "Feature row of a test design\nDEVICE NAME: T\n\n");
  // Cut to the buffer, always ended.
  char small[8];
  EXPECT_EQ(ParseFEAHeader(small, path.c_str(), 1, sizeof small), 3);
  EXPECT_STREQ(small, "-- Feat");
  EXPECT_EQ(ParseFEAHeader(out, dir.Path("none.fea").c_str(), 1, sizeof out), -2);
  EXPECT_EQ(ParseFEAHeader(nullptr, path.c_str(), 1, 8), -6);
}

TEST(SettingsFile, EverySettingIsAppliedAndReadableThroughTheExtractors) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  std::string path = dir.Write("s.ini",
                               "; settings of a test design\n"
                               "[Device]\nName = t\n\n"
                               "[Usercode]\r\nValue = 0x1234ABCD\r\n"
                               "[SECURITY]\nenabled = On\n"
                               "# the feature row\n[Feature]\nRow = 0101000011\nBits = 0x8002\n");
  SVFPlusData data;
  char messages[512] = "untouched";
  ASSERT_EQ(Ini2SVFPlus(path.data(), &device, &data, messages, sizeof messages), 4) << messages;
  EXPECT_STREQ(messages, "");
  EXPECT_EQ(data.GetSecurity(), 1);
  char usercode[64];
  ASSERT_EQ(SVFPlus2USERCODE(&device, 1, &data, usercode), 1);
  EXPECT_STREQ(usercode, "0x1234ABCD");
  EXPECT_EQ(Width(data, "FeatureRow_TDI"), 10u);
  EXPECT_EQ(Row(data, "FeatureRow_TDI"), (std::vector<unsigned char>{0xFD, 0x43}));
  EXPECT_EQ(Width(data, "FeatureBits_TDI"), 16u);
  EXPECT_EQ(Row(data, "FeatureBits_TDI"), (std::vector<unsigned char>{0x80, 0x02}));

  // A hex feature value takes the width of the field the data holds when it fits.
  path = dir.Write("h.ini",
                   "[feature]\nrow = 0x043\n[usercode]\nvalue = 7\n[security]\nenabled=off\n");
  ASSERT_EQ(Ini2SVFPlus(path.data(), &device, &data, messages, sizeof messages), 3) << messages;
  EXPECT_EQ(Width(data, "FeatureRow_TDI"), 10u);
  EXPECT_EQ(Row(data, "FeatureRow_TDI"), (std::vector<unsigned char>{0xFC, 0x43}));
  ASSERT_EQ(SVFPlus2USERCODE(&device, 1, &data, usercode), 1);
  EXPECT_STREQ(usercode, "0x00000007");
  EXPECT_EQ(data.GetSecurity(), 0);
  EXPECT_EQ(data.GetDataFieldCount(), 3);  // replaced, never doubled
}

TEST(SettingsFile, ProblemsAreNamedWithTheirLineAndNothingIsApplied) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  std::string path = dir.Write("bad.ini",
                               "Value = 1\n"                 // 1: before any section
                               "[Usercode]\n"                // 2
                               "Value = 0x1FFFFFFFF\n"       // 3: wider than 32 bits
                               "Colour = blue\n"             // 4: unknown key
                               "just words\n"                // 5: malformed
                               "[Timing]\n"                  // 6: unknown section
                               "Delay = 5\n"                 // 7: in an unknown section
                               "[Security]\n"                // 8
                               "Enabled = maybe\n"           // 9: not on or off
                               "[Device]\nName = OTHER\n"    // 10, 11: another device
                               "[Security]\nEnabled = on\n"  // 12, 13: given twice
                               "[Feature]\nRow = 0x12G\n"    // 14, 15: not bits or hex
                               "Bits =\n"                    // 16: no value
                               "[Usercode\n");               // 17: unclosed section
  SVFPlusData data;
  data.SetSecurity(0);
  char messages[1024];
  EXPECT_EQ(Ini2SVFPlus(path.data(), &device, &data, messages, sizeof messages), -13);
  EXPECT_STREQ(messages,
               "line 1: key \"Value\" before any section\n"
               "line 3: usercode 0x1FFFFFFFF is wider than 32 bits\n"
               "line 4: unknown key \"Colour\" in [usercode]\n"
               "line 5: not a section, key = value or comment\n"
               "line 6: unknown section [Timing]\n"
               "line 9: \"maybe\" is not on or off\n"
               "line 11: the settings are for OTHER, not T\n"
               "line 13: \"Enabled\" in [security] given twice (first on line 9)\n"
               "line 15: \"0x12G\" is neither bits nor 0x and hex digits\n"
               "line 16: no value for \"Bits\"\n"
               "line 17: a section name without its closing \"]\"\n");
  EXPECT_EQ(data.GetDataFieldCount(), 0);
  EXPECT_EQ(data.GetSecurity(), 0);
  // The messages are cut to the buffer.
  char small[12];
  EXPECT_EQ(Ini2SVFPlus(path.data(), &device, &data, small, sizeof small), -13);
  EXPECT_STREQ(small, "line 1: key");
  EXPECT_EQ(Ini2SVFPlus(path.data(), &device, &data, nullptr, 0), -13);
  std::string missing = dir.Path("none.ini");
  EXPECT_EQ(Ini2SVFPlus(missing.data(), &device, &data, messages, sizeof messages), -2);
  EXPECT_EQ(Ini2SVFPlus(path.data(), nullptr, &data, messages, sizeof messages), -3);
}

}  // namespace
