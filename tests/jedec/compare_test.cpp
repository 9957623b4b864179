// fnJEDFileCompare: the report byte for byte, the results, and the field comparisons.
#include <cstdio>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

// The report with its dates (the C library's asctime form) replaced by "<date>", so that it
// can be compared whole.
std::string WithoutDates(const std::string& report) {
  static const std::regex date(
      "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}");
  return std::regex_replace(report, date, "<date>");
}

std::string Header(const std::string& read, const std::string& ref, const std::string& report) {
  return "\x02\nFILE NAME:   " + report +
         "\nCREATED BY:    Corvane Semiconductor Veltrix Deployment Tool\n"
         "CREATION DATE: <date>\n\n*\n// N => Verify fuse data in " +
         read + " against [" + ref + "]\n//Key:\n//\t'-' = read  LOW/0 value from " + read +
         ", but " + ref + " specified a HIGH/1\n\n//\t'+' = read HIGH/1 value from " + read +
         ", but " + ref + " specified a  LOW/0\n\n";
}

const std::string kReference =
    "\x02"
    "reference design*\n"
    "NOTE a note*\n"
    "QP24*\n"
    "QF16*\n"
    "G0*\n"
    "F0*\n"
    "L00000 01010101*\n"
    "L00008 00001111*\n"
    "C0123*\n"
    "\x03"
    "0000\n";

struct Compared {
  int result;
  std::string report;  // dates replaced
  std::string expected_header;
};

Compared Compare(const std::string& read_text, const std::string& ref_text) {
  TempDir dir;
  const std::string read = dir.Write("read.jed", read_text);
  const std::string ref = dir.Write("ref.jed", ref_text);
  const std::string report = dir.Path("report.txt");
  const int result = fnJEDFileCompare(read.c_str(), ref.c_str(), report.c_str());
  return {result, WithoutDates(ReadFile(report)), Header(read, ref, report)};
}

std::string With(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

TEST(JedecCompare, IdenticalFilesGiveZero) {
  const Compared c = Compare(kReference, kReference);
  EXPECT_EQ(c.result, 0);
  EXPECT_EQ(c.report, c.expected_header +
                          "QP24*\nQF16*\nG0*\nF0*\n"
                          "\nL00000000 \n01010101*\nL00000008 00001111*\n"
                          "N Checksum*\nC0123*\n"
                          "\x02"
                          "0000\n*<date>\n*\n% Error count:  0*\n");
}

TEST(JedecCompare, DifferingFusesAreMarked) {
  // Read 1 where the reference has 0 is "+", read 0 where it has 1 is "-".
  const Compared c = Compare(With(kReference, "L00008 00001111", "L00008 10001110"), kReference);
  EXPECT_EQ(c.result, 2);
  EXPECT_NE(c.report.find("L00000008 +000111-*\n"), std::string::npos) << c.report;
  EXPECT_NE(c.report.find("% Error count:  2*\n"), std::string::npos) << c.report;
}

// Long lines go sixteen digits at a time: a difference in any block of sixteen, in the digits
// after the last whole block and on both sides of a block boundary is marked where it stands,
// the digits around it kept.
TEST(JedecCompare, LongLinesAreMarkedWhereTheyDiffer) {
  std::string line;
  for (int i = 0; i < 90; ++i) line += static_cast<char>('0' + (i * 7 / 3) % 2);
  const std::string reference = "\x02\nQF180*\nF0*\nL00000 " + line + "*\nL00090 " + line +
                                "*\n\x03"
                                "0000\n";
  for (int fuse : {0, 15, 16, 37, 63, 64, 85, 89, 90, 150, 179}) {
    SCOPED_TRACE("fuse " + std::to_string(fuse));
    std::string read = reference;
    const std::size_t at =
        reference.find(fuse < 90 ? "L00000 " : "L00090 ") + 7 + static_cast<std::size_t>(fuse % 90);
    read[at] = read[at] == '0' ? '1' : '0';
    std::string marked = line;
    marked[static_cast<std::size_t>(fuse % 90)] = read[at] == '1' ? '+' : '-';
    const Compared c = Compare(read, reference);
    EXPECT_EQ(c.result, 1);
    const std::string expected = fuse < 90 ? "\nL00000000 \n" + marked + "*\nL00000090 " + line
                                           : "\nL00000000 \n" + line + "*\nL00000090 " + marked;
    EXPECT_NE(c.report.find(expected), std::string::npos) << c.report;
  }
}

// Lines that end and start alike in both files are passed over whole; the report must be the
// one a walk character by character writes, which files with CR LF line ends always take. Each
// pair, with a difference next to a line's turn or in the turn itself, reports the same either
// way.
TEST(JedecCompare, LineTurnsReportAsTheWalkWrites) {
  std::string lines;
  for (int l = 0; l < 5; ++l) {
    char address[16];
    std::snprintf(address, sizeof address, "L%08d ", l * 40);
    lines += address;
    for (int i = 0; i < 40; ++i) lines += static_cast<char>('0' + (i * 5 + l * 3) / 4 % 2);
    lines += "*\n";
  }
  const std::string base = "\x02\nQF200*\nF0*\n" + lines +
                           "\x03"
                           "0000\n";
  const auto flipped = [&](std::size_t at) {
    std::string text = base;
    text[at] = text[at] == '0' ? '1' : '0';
    return text;
  };
  const std::size_t line2 = base.find("L00000040 ");
  const std::size_t line3 = base.find("L00000080 ");
  const struct {
    const char* what;
    std::string read;
    std::string ref;
  } pairs[] = {
      {"alike", base, base},
      {"last fuse of a line", flipped(line3 - 3), base},
      {"first fuse of a line", flipped(line3 + 10), base},
      {"another address in the reference", base, With(base, "L00000080", "L00000081")},
      {"an address of seven digits", With(base, "L00000080", "L0000080"), base},
      {"an address of nine digits", With(base, "L00000080", "L000000080"), base},
      {"two blanks after an address", With(base, "L00000080 ", "L00000080  "), base},
      {"an address run into its fuses", With(base, "L00000080 ", "L00000080"), base},
      {"a note between lines", With(base, "*\nL00000080", "*\nN a note*\nL00000080"),
       With(base, "*\nL00000080", "*\nN a note*\nL00000080")},
      {"a blank before a line feed", With(base, "*\nL00000040", "* \nL00000040"), base},
      {"the reference's list ends a line early", base,
       With(base, "*\nL00000160", "*\nC0000*\nL00000160")},
      {"a lower-case letter", With(base, "\nL00000120", "\nl00000120"), base},
  };
  const auto crlf = [](const std::string& text) {
    std::string out;
    for (const char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out;
  };
  for (const auto& pair : pairs) {
    SCOPED_TRACE(pair.what);
    const Compared lf = Compare(pair.read, pair.ref);
    const Compared walked = Compare(crlf(pair.read), crlf(pair.ref));
    ASSERT_EQ(lf.report.rfind(lf.expected_header, 0), 0u) << lf.report;
    ASSERT_EQ(walked.report.rfind(walked.expected_header, 0), 0u) << walked.report;
    EXPECT_EQ(lf.result, walked.result);
    EXPECT_EQ(lf.report.substr(lf.expected_header.size()),
              walked.report.substr(walked.expected_header.size()));
  }
  EXPECT_EQ(Compare(base, base).result, 0);
  EXPECT_EQ(Compare(flipped(line2 + 10), base).result, 1);
}

TEST(JedecCompare, ListsSplitDifferentlyAndLineBreaksOfTheReadFile) {
  // The file under test has one L field over two lines, the reference two L fields.
  const std::string read =
      With(kReference, "L00000 01010101*\nL00008 00001111*", "L00000 0101\r\n0101\r\n00001111*");
  const Compared c = Compare(read, kReference);
  EXPECT_EQ(c.result, 0);
  EXPECT_NE(c.report.find("\nL00000000 \n0101\n0101\n*\nL00000008 00001111*\n"), std::string::npos)
      << c.report;
}

TEST(JedecCompare, HeaderFieldMismatches) {
  const Compared checksum = Compare(With(kReference, "C0123", "C0124"), kReference);
  EXPECT_EQ(checksum.result, 0);  // reported, not counted
  EXPECT_NE(checksum.report.find("read C0124 from ["), std::string::npos) << checksum.report;
  EXPECT_NE(checksum.report.find("specified C0123*\nN Checksum*\nC0124*\n"), std::string::npos);

  const Compared pins = Compare(With(kReference, "QP24", "QP28"), kReference);
  EXPECT_EQ(pins.result, 0);
  EXPECT_NE(pins.report.find("specified QP24*\n"), std::string::npos) << pins.report;

  const Compared count = Compare(With(kReference, "QF16", "QF17"), kReference);
  EXPECT_EQ(count.result, -2);
  EXPECT_EQ(count.report,
            count.expected_header + "QP24*\nread QF17 from [" +
                count.expected_header.substr(count.expected_header.find("in ") + 3,
                                             count.expected_header.find(" against") -
                                                 count.expected_header.find("in ") - 3) +
                "], but [" +
                count.expected_header.substr(
                    count.expected_header.find("[") + 1,
                    count.expected_header.find("]") - count.expected_header.find("[") - 1) +
                "] specified QF16*\n\x02"
                "0000\n");

  const Compared address = Compare(With(kReference, "L00000 0101", "L00001 0101"), kReference);
  EXPECT_EQ(address.result, -2);
  EXPECT_NE(address.report.find("read L00000001 from ["), std::string::npos) << address.report;
}

TEST(JedecCompare, AbandonedComparisons) {
  const struct {
    const char* what;
    std::string read;
    std::string ref;
    const char* line;
  } cases[] = {
      {"syntax error in the list", With(kReference, "01010101*", "0101x101*"), kReference,
       "\nread [X] value from file1, but file2 specified a [0]* \n"},
      {"no ETX", kReference.substr(0, kReference.find('\x03')), kReference,
       "Cannot read end jedec character. Invalid Jedec file.\n"},
      {"no fuse list in the reference", kReference, "\x02x*QP24*QF16*G0*F0*C0123*\x03",
       "cannot find L field. Invalid Jedec*\n"},
      {"E field in one file only", With(kReference, "C0123*", "C0123*\nE0101*"), kReference,
       "Cannot read E field from ["},
      {"a G field after the list", With(kReference, "C0123*", "G1*"), kReference, nullptr},
  };
  for (const auto& c : cases) {
    const Compared compared = Compare(c.read, c.ref);
    EXPECT_EQ(compared.result, -2) << c.what;
    if (c.line != nullptr) {
      EXPECT_NE(compared.report.find(c.line), std::string::npos) << c.what << "\n"
                                                                 << compared.report;
    }
    // No fuse differed: the closing lines are the STX line alone.
    EXPECT_EQ(compared.report.substr(compared.report.size() - 6),
              "\x02"
              "0000\n")
        << c.what;
  }
}

TEST(JedecCompare, AbandonedAfterDifferencesKeepsTheBitsCount) {
  const std::string read =
      With(kReference, "01010101*\nL00008 00001111*", "11010101*\nL00008 0000x111*");
  const Compared c = Compare(read, kReference);
  EXPECT_EQ(c.result, -2);
  EXPECT_NE(c.report.find("*<date>\n*\n% Bits Error count:  1*\n"), std::string::npos) << c.report;
}

TEST(JedecCompare, UsercodeAndArchitectureFields) {
  const std::string with_u = With(kReference, "C0123*", "C0123*\nUH12AB*\nE0110*");
  const Compared same = Compare(with_u, with_u);
  EXPECT_EQ(same.result, 0);
  EXPECT_NE(same.report.find("\nUH12AB*\n\nE0110*\n"), std::string::npos) << same.report;

  const Compared bits = Compare(With(with_u, "E0110", "E1111"), with_u);
  EXPECT_EQ(bits.result, 2);
  EXPECT_NE(bits.report.find("\nE+11+*\n"), std::string::npos) << bits.report;

  const Compared text = Compare(With(with_u, "UH12AB", "UH12AC"), with_u);
  EXPECT_EQ(text.result, -2);
  EXPECT_NE(text.report.find("read [C] value from file1, but file2 specified a [B]* "),
            std::string::npos);

  const Compared missing_u = Compare(kReference, With(kReference, "C0123*", "C0123*\nU0101*"));
  EXPECT_EQ(missing_u.result, 0);  // only a warning
  EXPECT_NE(missing_u.report.find("Warning: Cannot read U field from ["), std::string::npos);
}

TEST(JedecCompare, FilesThatCannotBeRead) {
  TempDir dir;
  const std::string ref = dir.Write("ref.jed", kReference);
  const std::string report = dir.Path("report.txt");
  const std::string missing = dir.Path("missing.jed");
  EXPECT_EQ(fnJEDFileCompare(missing.c_str(), ref.c_str(), report.c_str()), -1);
  const std::string text = WithoutDates(ReadFile(report));
  EXPECT_EQ(text, Header(missing, ref, report) + "Cannot open file " + missing + " to read*\n");

  const std::string no_stx = dir.Write("nostx.jed", "QF16*\n");
  EXPECT_EQ(fnJEDFileCompare(ref.c_str(), no_stx.c_str(), report.c_str()), -4);
  EXPECT_EQ(WithoutDates(ReadFile(report)),
            Header(ref, no_stx, report) + "File " + no_stx + " Invalid Jedec file*\n");
  EXPECT_EQ(fnJEDFileCompare(ref.c_str(), ref.c_str(), dir.Path("no/such/dir/r.txt").c_str()), -1);
}

}  // namespace

namespace {

// Fields placed where real writers put them: E and U right after the fuse list, C before QF,
// a QP that the reference lacks.
TEST(JedecCompare, FieldsAnywhereInTheFileAreComparedWithTheirCounterparts) {
  const std::string list = "L0 0101010101010101*\n";
  const struct {
    const char* what;
    std::string read;
    std::string ref;
    int result;
    const char* must_hold;  // in the report
    const char* must_lack;  // never in the report
  } cases[] = {
      {"E after the list", "QF16*\n" + list + "E0101*\n", "QF16*\n" + list + "E0101*\n", 0,
       "*\n\nE0101*\n", "Cannot read E field"},
      {"U after the list", "QF16*\n" + list + "UH12*\n", "QF16*\n" + list + "UH12*\n", 0,
       "\nUH12*\n", "Warning"},
      {"E and U after the list", "QF16*\n" + list + "E01*\nU00001111*\n",
       "QF16*\n" + list + "E01*\nU00001111*\n", 0, "\nU00001111*\n", "Cannot read"},
      {"U differs after the list", "QF16*\n" + list + "UH13*\n", "QF16*\n" + list + "UH12*\n", -2,
       "read [3] value from file1, but file2 specified a [2]* \n", "Error count:  0*"},
      {"E bit differs after the list", "QF16*\n" + list + "E0111*\n", "QF16*\n" + list + "E0101*\n",
       1, "E01+1*\n", "Cannot read"},
      {"C before QF", "C00AA*\nQF16*\n" + list, "C00AA*\nQF16*\n" + list, 0,
       "N Checksum*\nC00AA*\nQF16*\n", "specified C"},
      {"C before QF, differing", "C00AA*\nQF16*\n" + list, "C00AB*\nQF16*\n" + list, 0,
       "read C00AA from [", "specified QF"},
      {"C after the list only in the reference", "QF16*\n" + list + "C00AA*\n",
       "C00AA*\nQF16*\n" + list, 0, "C00AA*\n", "specified C"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Compared got = Compare(
        "\x02"
        "d*\n" +
            c.read +
            "\x03"
            "0000",
        "\x02"
        "d*\n" +
            c.ref +
            "\x03"
            "0000");
    EXPECT_EQ(got.result, c.result) << got.report;
    EXPECT_NE(got.report.find(c.must_hold), std::string::npos) << got.report;
    EXPECT_EQ(got.report.find(c.must_lack), std::string::npos) << got.report;
  }
  const Compared qp = Compare(
      "\x02"
      "d*\nQP24*\nQF16*\n" +
          list + "\x03",
      "\x02"
      "d*\nQF16*\n" +
          list + "\x03");
  EXPECT_EQ(qp.result, 0);
  EXPECT_NE(qp.report.find("] missing QP field\nQF16*\n"), std::string::npos) << qp.report;
}

}  // namespace
