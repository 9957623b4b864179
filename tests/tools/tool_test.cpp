// The fusekit tool end to end: outputs and exit statuses.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace {

struct ToolRun {
  int status;
  std::string out;  // standard output and standard error together
};

ToolRun RunTool(const std::string& arguments) {
  const std::string command = std::string(FUSEKIT_TOOL_PATH) + " " + arguments + " 2>&1";
  ToolRun run{-1, {}};
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, got);
  const int raw = pclose(pipe);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return run;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

const std::string kSample = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.jed";

TEST(Tool, VersionAndUsage) {
  ToolRun run = RunTool("--version");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "fusekit 0.1.0")) << run.out;
  EXPECT_EQ(RunTool("").status, 2);
  EXPECT_EQ(RunTool("no-such-command").status, 2);
  EXPECT_EQ(RunTool("crc").status, 2);
  run = RunTool("crc --help");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "FILE")) << run.out;
}

TEST(Tool, Devices) {
  ToolRun run = RunTool("devices");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "FD2-2000")) << run.out;
  EXPECT_TRUE(Contains(run.out, "0x012D3043")) << run.out;
  EXPECT_TRUE(Contains(run.out, "SPLD22V10")) << run.out;

  fusekit::testing::TempDir dir;
  const std::string db =
      dir.Write("db.json",
                R"({"format":"fusekit-devices","version":1,"devices":[{"name":"ONLY","family":"X",)"
                R"("fuse_number":77,"id_length":8,"isp_device_id":"0x2C"}]})");
  run = RunTool("devices --device-db " + db);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "ONLY")) << run.out;
  EXPECT_TRUE(Contains(run.out, "0x2C")) << run.out;
  EXPECT_FALSE(Contains(run.out, "FD2-2000")) << run.out;

  run = RunTool("devices --device-db " + dir.Write("bad.json", "{\"format\": 1}"));
  EXPECT_EQ(run.status, 3);
  EXPECT_TRUE(Contains(run.out, "bad.json")) << run.out;
  EXPECT_TRUE(Contains(run.out, "status -30")) << run.out;
  EXPECT_EQ(RunTool("devices --device-db " + dir.Path("missing.json")).status, 3);
}

TEST(Tool, CrcOfTheSampleFile) {
  ToolRun run = RunTool("crc " + kSample);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "CRC-16 (as the ISC writer computes it): 29BD")) << run.out;
  EXPECT_TRUE(Contains(run.out, "16-bit binary checksum:                 05B3")) << run.out;
  EXPECT_TRUE(Contains(run.out, "computed F951, stored F951: valid")) << run.out;

  run = RunTool("crc - < " + kSample);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "standard input")) << run.out;
  EXPECT_TRUE(Contains(run.out, "stored F951: valid")) << run.out;
}

TEST(Tool, CrcVerdicts) {
  fusekit::testing::TempDir dir;
  ToolRun run = RunTool("crc " + dir.Write("bad.jed",
                                           "\x02\x2A\x03"
                                           "0030"));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Contains(run.out, "computed 002F, stored 0030: invalid")) << run.out;
  run = RunTool("crc " + dir.Write("plain.txt", "no frame"));
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "none")) << run.out;
  run = RunTool("crc " + dir.Path("missing.jed"));
  EXPECT_EQ(run.status, 3);
  EXPECT_TRUE(Contains(run.out, "missing.jed")) << run.out;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(Tool, CheckJedecFiles) {
  fusekit::testing::TempDir dir;
  const std::string sample = fusekit::testing::ReadFile(kSample);
  ToolRun run = RunTool("check " + kSample);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "fuses 2304, pins 44, security 0, usercode 1A2B3C4D")) << run.out;
  EXPECT_EQ(RunTool("check --device TV64 " + kSample).status, 0);
  EXPECT_EQ(RunTool("check --device NOPE " + kSample).status, 2);
  EXPECT_EQ(RunTool("check --device QL256 " + kSample).status, 3);  // another fuse count

  std::string lf;
  for (char c : sample)
    if (c != '\r') lf += c;
  run = RunTool("check " + dir.Write("lf.jed", lf));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Contains(run.out, "line ends converted LF to CR LF")) << run.out;

  run = RunTool("check " + dir.Write("c.jed", Replaced(sample, "L00096 0", "L00096 1")));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Contains(run.out, "fuse checksum (C field) does not match")) << run.out;
  EXPECT_EQ(RunTool("check " + dir.Write("junk.jed", "\x02\x01junk")).status, 3);
  // A note in UTF-8 ends the fields: the message names the byte and where it stands.
  const std::string utf8 = Replaced(sample, "\x02", "\x02NOTE caf\xC3\xA9*");
  for (const char* command : {"check ", "check --device TV64 ", "info "}) {
    run = RunTool(command + dir.Write("utf8.jed", utf8));
    EXPECT_EQ(run.status, 3) << command;
    EXPECT_TRUE(Contains(
        run.out, "byte 0xC3 at offset " + std::to_string(utf8.find('\xC3')) + " ends the fields"))
        << command << run.out;
  }
  EXPECT_EQ(RunTool("check " + dir.Path("missing.jed")).status, 3);
}

TEST(Tool, CompareJedecFiles) {
  fusekit::testing::TempDir dir;
  const std::string sample = fusekit::testing::ReadFile(kSample);
  ToolRun run = RunTool("compare " + kSample + " " + kSample);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "% Error count:  0*")) << run.out;
  EXPECT_TRUE(Contains(run.out, "0 fuses differ")) << run.out;

  const std::string changed = dir.Write("changed.jed", Replaced(sample, "L00096 0", "L00096 1"));
  const std::string report = dir.Path("report.txt");
  run = RunTool("compare " + changed + " " + kSample + " -o " + report);
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Contains(run.out, "1 fuse differs")) << run.out;
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(report), "L00000096 +")) << run.out;
  EXPECT_EQ(RunTool("compare " + dir.Path("missing.jed") + " " + kSample).status, 3);
}

TEST(Tool, ConvertJedecToIsc) {
  fusekit::testing::TempDir dir;
  const std::string isc = dir.Path("tv64.isc");
  ToolRun run = RunTool("convert " + kSample + " " + isc + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "written for TV64, file checksum ")) << run.out;
  EXPECT_TRUE(Contains(run.out, "data CRC 22B60D55")) << run.out;
  const std::string text = fusekit::testing::ReadFile(isc);
  EXPECT_TRUE(Contains(text, "\t\t\t\tEntity\tTV64\n")) << text;
  EXPECT_TRUE(Contains(text, "     1A2B3C4D\n")) << text;
  EXPECT_EQ(RunTool("convert " + kSample + " " + isc).status, 2);  // --device is required
  EXPECT_EQ(RunTool("convert " + kSample + " " + isc + " --device NOPE").status, 2);
  EXPECT_EQ(RunTool("convert " + kSample + " " + isc + " --device QL256").status, 3);
  EXPECT_EQ(RunTool("convert " + kSample + " " + dir.Path("x.bin") + " --device TV64").status, 2);
}

TEST(Tool, ExtractValues) {
  fusekit::testing::TempDir dir;
  ToolRun run = RunTool("extract " + kSample + " --device TV64 --id");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "01B01043\n");
  run = RunTool("extract " + kSample + " --device TV64 --usercode");
  EXPECT_EQ(run.out, "0x1A2B3C4D\n");
  const std::string isc = dir.Path("s.isc");
  ASSERT_EQ(RunTool("convert " + kSample + " " + isc + " --device TV64").status, 0);
  run = RunTool("extract " + isc + " --device TV64 --usercode");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "0x1A2B3C4D\n");  // the same value through the ISC file
  const std::string fuses = dir.Path("fuses.txt");
  ASSERT_EQ(RunTool("extract " + kSample + " --device TV64 --fuses " + fuses).status, 0);
  const std::string text = fusekit::testing::ReadFile(fuses);
  EXPECT_EQ(text.size(), 24u * 97u);  // 24 rows of 96 fuses, each with its line feed
  const std::string sample = fusekit::testing::ReadFile(kSample);
  const std::size_t first_row = sample.find("L00000 ") + 7;
  EXPECT_EQ(text.substr(0, 96), sample.substr(first_row, 96));
  EXPECT_EQ(RunTool("extract " + kSample + " --device TV64").status, 2);
  EXPECT_EQ(RunTool("extract " + kSample + " --device TV64 --control 0").status, 3);
}

TEST(Tool, InfoOfAJedecFile) {
  ToolRun run = RunTool("info " + kSample);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "QF (fuses)              2304")) << run.out;
  EXPECT_TRUE(Contains(run.out, "C (fuse checksum)       59ED")) << run.out;
  EXPECT_TRUE(Contains(run.out, "-- Sample fuse map for the TV64 device")) << run.out;
  fusekit::testing::TempDir dir;
  EXPECT_EQ(RunTool("info " + dir.Write("x.dat", "no frame here")).status, 3);
}

TEST(Tool, InfoOfAnIscFile) {
  fusekit::testing::TempDir dir;
  const std::string isc = dir.Path("tv64.isc");
  ASSERT_EQ(RunTool("convert " + kSample + " " + isc + " --device TV64").status, 0);
  ToolRun run = RunTool("info " + isc + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* part :
       {"standard                STD_1532_2001", "entities                TV64",
        "    -- TOTAL_FUSES = 2304",
        "array                  main         repeat         24 rows x 96 bits, "
        "data CRC 22B60D55 stored, 22B60D55 computed: match",
        "usercode               main         initialize      1 row  x 32 bits", ": valid",
        "read for TV64            3 fields, 24 array rows, data CRC 22B60D55"})
    EXPECT_TRUE(Contains(run.out, part)) << part << "\n" << run.out;

  // One digit of the array changed: the block's CRC and the file checksum no longer agree.
  std::string text = fusekit::testing::ReadFile(isc);
  const std::size_t row = text.find("     ", text.find(" data array"));
  text[row + 5] = text[row + 5] == '0' ? '1' : '0';
  run = RunTool("info " + dir.Write("edited.isc", text));
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_TRUE(Contains(run.out, "MISMATCH")) << run.out;
  EXPECT_TRUE(Contains(run.out, "INVALID")) << run.out;

  run = RunTool("info " + dir.Write("cut.isc", text.substr(0, text.size() / 2)));
  EXPECT_EQ(run.status, 3) << run.out;
  EXPECT_TRUE(Contains(run.out, "-16")) << run.out;
}

TEST(Tool, ImagesToBinariesAndIscFiles) {
  fusekit::testing::TempDir dir;
  // Two records at 0x10010 with a gap: plain bytes, as srec_cat and objcopy write them, or
  // mirrored as the library stores images (0x01 -> 0x80) with --bit-order device.
  const std::string hex =
      dir.Write("a.hex", ":020000040001F9\r\n:0200100001F0FD\r\n:0100130002EA\r\n:00000001FF\r\n");
  ToolRun run = RunTool("convert " + hex + " " + dir.Path("a.bin"));
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "start address 0x00010010, 4 bytes")) << run.out;
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("a.bin")), std::string("\x01\xF0\xFF\x02", 4));
  run = RunTool("convert " + hex + " " + dir.Path("m.bin") + " --bit-order device");
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("m.bin")), std::string("\x80\x0F\xFF\x40", 4));
  run = RunTool("convert " + hex + " " + dir.Path("b.bin") + " --align 65536");
  EXPECT_TRUE(Contains(run.out, "start address 0x00010000, 20 bytes")) << run.out;
  const std::string s19 = dir.Write("a.s19", "S1050000A55AFA\n");
  run = RunTool("convert " + s19 + " " + dir.Path("c.bin"));
  EXPECT_EQ(run.status, 1) << run.out;  // the checksum is wrong; the file is still written
  EXPECT_EQ(RunTool("convert " + dir.Path("none.hex") + " " + dir.Path("d.bin")).status, 3);
  EXPECT_EQ(RunTool("convert " + dir.Write("x.txt", "") + " " + dir.Path("d.bin")).status, 3);
  EXPECT_EQ(RunTool("convert " + dir.Write("y.txt", "text\n") + " " + dir.Path("d.bin")).status, 2);

  run = RunTool("info " + s19);
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_TRUE(Contains(run.out, "Motorola S-record image")) << run.out;
  EXPECT_TRUE(Contains(run.out, "bad records at lines: 1")) << run.out;
  run = RunTool("info " + hex);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "address range                    0x00010010 to 0x00010013"))
      << run.out;

  const std::string isc = dir.Path("a.isc");
  run = RunTool("convert " + dir.Path("a.bin") + " " + isc + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "written for TV64")) << run.out;
  EXPECT_EQ(RunTool("info " + isc).status, 0);
  EXPECT_EQ(RunTool("convert " + dir.Path("a.bin") + " " + isc).status, 2);  // no --device
}

TEST(Tool, Bitstreams) {
  fusekit::testing::TempDir dir;
  const std::string bit = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.bit";
  ToolRun run = RunTool("info " + bit + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* part :
       {"Design: demo", "usercode                DEADBEEF", "length in bits          3408",
        "Data Frame                                     24"})
    EXPECT_TRUE(Contains(run.out, part)) << part << "\n" << run.out;
  run = RunTool("info " + bit);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "need --device")) << run.out;

  // binary -> ASCII -> binary gives the file back.
  const std::string rbt = dir.Path("a.rbt");
  const std::string back = dir.Path("b.bit");
  EXPECT_EQ(RunTool("convert " + bit + " " + rbt).status, 0);
  EXPECT_EQ(RunTool("convert " + rbt + " " + back).status, 0);
  EXPECT_EQ(fusekit::testing::ReadFile(back), fusekit::testing::ReadFile(bit));
  run = RunTool("info " + rbt + " --device TV64");
  EXPECT_TRUE(Contains(run.out, "ASCII bitstream")) << run.out;

  run = RunTool("convert " + bit + " " + dir.Path("a.isc") + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(RunTool("info " + dir.Path("a.isc")).status, 0);
  run = RunTool("convert --config " + bit + " " + dir.Path("m.isc") + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(dir.Path("m.isc")),
                       "override proc_program_security program ON"));
  EXPECT_EQ(RunTool("convert --config " + bit + " " + dir.Path("m.isc")).status, 2);

  run = RunTool("dump " + bit);
  EXPECT_TRUE(Contains(run.out, "00000000   FF 00 44 65 73 69 67 6E")) << run.out;
  run = RunTool("dump " + bit + " --device TV64 -o " + dir.Path("l.txt"));
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(dir.Path("l.txt")),
                       "// Usercode Frame\n 000000  DEADBEEF \n"));
  EXPECT_EQ(RunTool("dump " + dir.Path("none.bit")).status, 3);
}

// The user's files are never destroyed: an output that is an input is refused before anything
// is opened for writing, and a conversion that fails leaves an existing output as it was.
TEST(Tool, OutputsNeverDestroyInputsOrOlderFiles) {
  fusekit::testing::TempDir dir;
  const std::string jed = dir.Write("a.jed", fusekit::testing::ReadFile(kSample));
  const std::string bit = dir.Write(
      "s.bit",
      fusekit::testing::ReadFile(std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.bit"));
  const std::string hex = dir.Write("x.hex", ":0400000001020304F2\n:00000001FF\n");
  const std::string link = dir.Path("link.bin");
  const std::string hard = dir.Path("hard.jed");
  ASSERT_EQ(symlink(hex.c_str(), link.c_str()), 0);
  ASSERT_EQ(::link(jed.c_str(), hard.c_str()), 0);
  const std::string commands[] = {
      "compare " + jed + " " + kSample + " -o " + jed,
      "compare " + jed + " " + kSample + " -o " + hard,
      "dump " + jed + " -o " + jed,
      "extract " + jed + " --device TV64 --fuses " + jed,
      "convert " + hex + " " + link,
      "convert " + bit + " " + bit,
  };
  for (const std::string& command : commands) {
    const ToolRun run = RunTool(command);
    EXPECT_EQ(run.status, 2) << command << "\n" << run.out;
    EXPECT_TRUE(Contains(run.out, "refusing to overwrite it") ||
                Contains(run.out, "names the same form"))
        << run.out;
  }
  EXPECT_EQ(fusekit::testing::ReadFile(jed), fusekit::testing::ReadFile(kSample));
  EXPECT_EQ(fusekit::testing::ReadFile(hex), ":0400000001020304F2\n:00000001FF\n");
  // A binary stream converted under another binary name would be the ASCII form misnamed.
  EXPECT_EQ(RunTool("convert " + bit + " " + dir.Path("b.bit")).status, 2);

  // A conversion that fails leaves the older output whole.
  const std::string old_isc = dir.Write("old.isc", "an older file\n");
  const ToolRun failed =
      RunTool("convert " + dir.Write("junk.jed", "\x02junk") + " " + old_isc + " --device TV64");
  EXPECT_EQ(failed.status, 3) << failed.out;
  EXPECT_EQ(fusekit::testing::ReadFile(old_isc), "an older file\n");
  // A successful one replaces it, and the report names the file asked for.
  EXPECT_EQ(RunTool("convert " + jed + " " + old_isc + " --device TV64").status, 0);
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(old_isc), "IEEE_1532_Data ("));
  EXPECT_EQ(RunTool("compare " + jed + " " + kSample + " -o " + dir.Path("r.txt")).status, 0);
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(dir.Path("r.txt")),
                       "\nFILE NAME:   " + dir.Path("r.txt") + "\n"));
  // Nothing is left beside the outputs.
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path("")))
    EXPECT_EQ(entry.path().filename().string().rfind(".fusekit", 0), std::string::npos)
        << entry.path();
}

// A write that fails is never a success: outputs on a full device, and standard output on one.
TEST(Tool, FailedWritesExitThreeNamingTheOutput) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full on this system";
  fusekit::testing::TempDir dir;
  const std::string bit = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.bit";
  const std::string hex = dir.Write("x.hex", ":0400000001020304F2\n:00000001FF\n");
  const std::string commands[] = {
      "convert " + kSample + " /dev/full --device TV64",
      "convert " + bit + " /dev/full --device TV64",
      "convert " + hex + " /dev/full",
      "compare " + kSample + " " + kSample + " -o /dev/full",
      "dump " + bit + " -o /dev/full",
      "extract " + kSample + " --device TV64 --fuses /dev/full",
  };
  for (const std::string& command : commands) {
    const ToolRun run = RunTool(command);
    EXPECT_EQ(run.status, 3) << command << "\n" << run.out;
    EXPECT_TRUE(Contains(run.out, "/dev/full: cannot be written")) << command << "\n" << run.out;
    EXPECT_FALSE(Contains(run.out, "written for")) << run.out;
  }
  for (const std::string& command : {"dump " + bit, "info " + kSample, "check " + kSample,
                                     "compare " + kSample + " " + kSample}) {
    // The group's standard error reaches the test; its standard output goes to the full device.
    const ToolRun run = RunTool("--version >/dev/null; { " + std::string(FUSEKIT_TOOL_PATH) + " " +
                                command + " >/dev/full; }");
    EXPECT_EQ(run.status, 3) << command << "\n" << run.out;
    EXPECT_TRUE(Contains(run.out, "standard output: cannot be written")) << run.out;
  }
}

// Temporary files go under TMPDIR, never through a fixed name, and go away however the tool
// ends: a link planted where a fixed name would be is not followed, and a closed pipe leaves
// nothing behind.
TEST(Tool, TemporaryFilesStayUnderTmpdirAndGoAway) {
  fusekit::testing::TempDir dir;
  const std::string tmp = dir.Path("tmp");
  std::filesystem::create_directory(tmp);
  const std::string victim = dir.Write("victim.txt", "keep me\n");
  ASSERT_EQ(symlink(victim.c_str(), (tmp + "/fusekit-dump.txt").c_str()), 0);
  const std::string big = dir.Write("big.bin", std::string(1 << 20, 'x'));
  const std::string tool = "TMPDIR=" + tmp + " " + FUSEKIT_TOOL_PATH;
  // Each run is a shell group whose standard error reaches the test.
  const auto run_in_tmp = [&](const std::string& pipeline) {
    return RunTool("--version >/dev/null; { " + pipeline + "; }");
  };
  // A dump to standard output whose reader goes away after 100 bytes, twice at once.
  run_in_tmp(tool + " dump " + big + " | head -c 100 >/dev/null & " + tool + " dump " + big +
             " | head -c 100 >/dev/null; wait");
  EXPECT_EQ(fusekit::testing::ReadFile(victim), "keep me\n");
  ToolRun run = run_in_tmp("cat " + kSample + " | " + tool + " info -");
  EXPECT_TRUE(Contains(run.out, "JEDEC fuse map")) << run.out;
  run = run_in_tmp(tool + " compare " + kSample + " " + kSample + " >/dev/null");
  EXPECT_EQ(run.status, 0) << run.out;
  run = run_in_tmp(tool + " convert " + kSample + " " + dir.Path("t.isc") + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(tmp))
    left.push_back(entry.path().filename().string());
  EXPECT_EQ(left, std::vector<std::string>{"fusekit-dump.txt"}) << "only the planted link stays";
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;  // the sanitizer's shadow memory needs more address space
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// Intel hex records: a linear base of 0 and of 0xFFFF in turn, four bytes under each.
std::string JumpingIntelHex() {
  auto record = [](int count, int address, int type, std::vector<int> data) {
    std::vector<int> bytes = {count, address >> 8, address & 0xFF, type};
    bytes.insert(bytes.end(), data.begin(), data.end());
    int sum = 0;
    char text[8];
    std::string line = ":";
    for (int b : bytes) {
      std::snprintf(text, sizeof text, "%02X", b);
      line += text;
      sum += b;
    }
    std::snprintf(text, sizeof text, "%02X", (0x100 - (sum & 0xFF)) & 0xFF);
    return line + text + "\n";
  };
  std::string file;
  for (int i = 0; i < 8; ++i) {
    const int base = i % 2 == 0 ? 0 : 0xFFFF;
    file += record(2, 0, 4, {base >> 8, base & 0xFF});
    file += record(4, i * 4, 0, {1, 2, 3, 4});
  }
  return file + ":00000001FF\n";
}

// S3 records at 0, 1 GiB, 2 GiB and just under 4 GiB.
std::string SpreadMotorola() {
  std::string file;
  for (unsigned long address : {0x0UL, 0x40000000UL, 0x80000000UL, 0xFFFFFFF0UL}) {
    unsigned sum = 9;
    char text[64];
    std::string line = "S309";
    for (int shift = 24; shift >= 0; shift -= 8) {
      const unsigned byte = (address >> shift) & 0xFF;
      std::snprintf(text, sizeof text, "%02X", byte);
      line += text;
      sum += byte;
    }
    line += "01020304";
    sum += 1 + 2 + 3 + 4;
    std::snprintf(text, sizeof text, "%02X\n", ~sum & 0xFF);
    file += line + text;
  }
  return file + "S70500000000FA\n";
}

// Files of a few hundred bytes that declare billions of fuses, bytes or bits: each is refused
// or read within a 64 MB address-space cap, quickly, however it is taken.
TEST(Tool, SmallFilesDeclaringHugeSizesStayUnderSixtyFourMegabytes) {
  fusekit::testing::TempDir dir;
  const std::string jedec_bombs[] = {
      dir.Write("qf32.jed",
                "\x02"
                "d*\nQF4294967295*\nF0*\nL0 0101*\n\x03"
                "0000"),
      dir.Write("qf20.jed",
                "\x02"
                "d*\nQF99999999999999999999*\nF0*\nL0 0101*\n\x03"
                "0000"),
      dir.Write("qf1g.jed",
                "\x02"
                "d*\nQF1000000000*\nF0*\nL0 0101*\n\x03"
                "0000"),
      dir.Write("l32.jed",
                "\x02"
                "d*\nQF4294967295*\nF0*\nL4294967200 0101*\n\x03"
                "0000"),
  };
  const std::string wide_isc = dir.Write(
      "wide.isc",
      "IEEE_1532_Data (\n\tHeader\t\t(\tSTD_Version STD_1532_2001\n\t\t\t\tEntity\tTV64\n\t\t\t)\n"
      " data array (\n  repeat    \n-- ROW_WIDTH = 2000000000\n-- COLUMN_WIDTH = 4294967295\n"
      "   (\n     0F,\n     0F\n   )\n )\n)\n");
  const std::string jump = dir.Write("jump.hex", JumpingIntelHex());
  const std::string spread = dir.Write("spread.srec", SpreadMotorola());
  std::vector<std::pair<std::string, int>> runs;  // command, the exit status it must give
  for (const std::string& bomb : jedec_bombs) {
    runs.push_back({"check " + bomb, 3});
    runs.push_back({"check --device TV64 " + bomb, 3});
    runs.push_back({"info " + bomb, -1});
    runs.push_back({"convert " + bomb + " " + dir.Path("o.isc") + " --device TV64", 3});
  }
  runs.push_back({"info " + wide_isc, 3});
  runs.push_back({"info " + wide_isc + " --device TV64", 3});
  runs.push_back({"extract " + wide_isc + " --device TV64 --id", 3});
  runs.push_back({"convert " + jump + " " + dir.Path("o.isc") + " --device TV64", 3});
  runs.push_back({"convert " + spread + " " + dir.Path("o.isc") + " --device TV64", 3});
  runs.push_back({"info " + jump, 0});
  runs.push_back({"info " + spread, -1});
  const std::string cap = kSanitized ? "" : "ulimit -v 65536; ";
  for (const auto& [command, status] : runs) {
    const ToolRun run = RunTool("--version >/dev/null; " + cap + "{ " +
                                std::string(FUSEKIT_TOOL_PATH) + " " + command + "; }");
    if (status >= 0) {
      EXPECT_EQ(run.status, status) << command << "\n" << run.out;
    }
    EXPECT_LE(run.status, 3) << command << "\n" << run.out;  // never killed, never aborted
    EXPECT_FALSE(Contains(run.out, "out of memory")) << command << "\n" << run.out;
  }
}

// JEDEC files written by the tool: a JEDEC file through an ISC file and back is the same fuse
// map; the usercode is set as a user types it; the files of a chain merge and split back.
TEST(Tool, WritesJedecFiles) {
  fusekit::testing::TempDir dir;
  const std::string isc = dir.Path("t.isc");
  const std::string back = dir.Path("back.jed");
  ASSERT_EQ(RunTool("convert " + kSample + " " + isc + " --device TV64").status, 0);
  ToolRun run = RunTool("convert " + isc + " " + back + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "written for TV64, 2304 fuses")) << run.out;
  EXPECT_EQ(RunTool("compare " + back + " " + kSample + " -o " + dir.Path("r.txt")).status, 0);
  EXPECT_EQ(RunTool("convert " + isc + " " + back).status, 2) << "a JEDEC file needs --device";

  run = RunTool("usercode " + back + " 0xCAFEF00D");
  EXPECT_EQ(run.status, 0) << run.out;
  run = RunTool("check " + back);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "usercode CAFEF00D")) << run.out;
  EXPECT_EQ(RunTool("usercode " + back + " \"'TV64'\" -o " + dir.Path("u.jed")).status, 0);
  EXPECT_TRUE(Contains(RunTool("check " + dir.Path("u.jed")).out, "usercode 54563634"));
  run = RunTool("usercode " + back + " 0x1CAFEF00D");
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(Contains(run.out, "does not fit in 32 bits")) << run.out;
  EXPECT_EQ(RunTool("usercode " + back + " zz").status, 2);

  const std::string chain = dir.Path("chain.jed");
  run = RunTool("merge " + chain + " " + back + " " + kSample + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  run = RunTool("split " + chain + " --device TV64 -o " + dir.Path("piece"));
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(RunTool("compare " + dir.Path("piece_1.jed") + " " + back).status, 0);
  EXPECT_EQ(RunTool("compare " + dir.Path("piece_2.jed") + " " + kSample).status, 0);
  EXPECT_EQ(RunTool("merge " + back + " " + back).status, 2) << "the output is an input";
  EXPECT_EQ(RunTool("split " + kSample + " -o " + dir.Path("x")).status, 3) << "not a chain";
}

// The sample's fuses written again: F1, fifty fuses a field, LF line ends, no notes; fuse
// flip (when given) inverted.
std::string SameFusesOtherLayout(long flip = -1) {
  const std::string sample = fusekit::testing::ReadFile(kSample);
  std::string fuses;
  for (std::size_t at = sample.find("\nL"); at != std::string::npos;
       at = sample.find("\nL", at + 1)) {
    const std::size_t start = sample.find(' ', at) + 1;
    fuses += sample.substr(start, sample.find('*', start) - start);
  }
  if (flip >= 0) fuses[static_cast<std::size_t>(flip)] ^= 1;  // '0' <-> '1'
  std::string text =
      "\x02"
      "another writer*\nQF2304*\nF1*\n";
  for (std::size_t f = 0; f < fuses.size(); f += 50)
    text += "L" + std::to_string(f) + " " + fuses.substr(f, 50) + "*\n";
  return text + "\x03" + "0000\n";
}

TEST(Tool, CompareEveryPairOfFormats) {
  fusekit::testing::TempDir dir;
  // By fuse address: the same fuses in another layout, then one flipped.
  const std::string other = dir.Write("other.jed", SameFusesOtherLayout());
  ToolRun run = RunTool("compare --by-address " + other + " " + kSample);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "0 fuses differ")) << run.out;
  // Flips at each end of the map and of the runs of alike bytes that are passed over at once.
  for (int flip : {0, 7, 8, 255, 256, 1000, 2047, 2048, 2303}) {
    const std::string one = dir.Write("one.jed", SameFusesOtherLayout(flip));
    run = RunTool("compare --by-address " + one + " " + kSample);
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_TRUE(Contains(run.out, "1 fuse differs; first at " + std::to_string(flip))) << run.out;
  }
  // The same for the device, and a file whose C field does not match its fuses.
  const std::string one = dir.Write("one.jed", SameFusesOtherLayout(2047));
  run = RunTool("compare --by-address --device TV64 " + one + " " + kSample);
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_TRUE(Contains(run.out, "1 fuse differs; first at 2047")) << run.out;
  std::string bad_sum = SameFusesOtherLayout(5);
  bad_sum.insert(bad_sum.find('\x03'), "C1234*\n");
  run = RunTool("compare --by-address " + dir.Write("sum.jed", bad_sum) + " " + kSample);
  EXPECT_EQ(run.status, 3) << run.out;
  EXPECT_TRUE(Contains(run.out, "cannot be read as a JEDEC file (status -14")) << run.out;
  const std::string flipped = dir.Write("flipped.jed", SameFusesOtherLayout(1000));

  // ISC against ISC, and JEDEC against ISC through programming data.
  const std::string isc = dir.Path("tv64.isc");
  ASSERT_EQ(RunTool("convert " + kSample + " " + isc + " --device TV64").status, 0);
  const std::string flipped_isc = dir.Path("flipped.isc");
  ASSERT_EQ(RunTool("convert " + flipped + " " + flipped_isc + " --device TV64").status, 0);
  run = RunTool("compare " + isc + " " + isc);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "ISC compare")) << run.out;
  run = RunTool("compare " + flipped_isc + " " + isc);
  EXPECT_EQ(run.status, 1) << run.out;
  // Fuse 1000 is row 11, column 40 of the 96-fuse rows; the rewritten file has no usercode.
  EXPECT_TRUE(Contains(run.out, "block array: 24 rows of 96 bits\n  row 11: 40+\n")) << run.out;
  run = RunTool("compare " + flipped_isc + " " + kSample + " --device TV64");
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_TRUE(Contains(run.out, "programming data compare")) << run.out;
  EXPECT_EQ(RunTool("compare " + isc + " " + kSample + " --device TV64").status, 0);
  EXPECT_EQ(RunTool("compare " + isc + " " + kSample).status, 2) << "a device is needed";

  // Bitstreams, binary against ASCII.
  const std::string bit = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.bit";
  const std::string rbt = dir.Path("tv64.rbt");
  ASSERT_EQ(RunTool("convert " + bit + " " + rbt).status, 0);
  run = RunTool("compare " + rbt + " " + bit + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "bitstream compare")) << run.out;
  EXPECT_EQ(RunTool("compare " + dir.Path("none.jed") + " " + kSample).status, 3);
}

TEST(Tool, VerifyPrintsEachVerdict) {
  ToolRun run = RunTool("verify " + kSample + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "checksum: 59ED")) << run.out;  // the sample's own C field
  EXPECT_TRUE(Contains(run.out, "blank (all 0): no, first difference at bit 1")) << run.out;
  run = RunTool("verify " + kSample + " --device TV64 --checksum 59ED");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "(matches)")) << run.out;
  run = RunTool("verify " + kSample + " --device TV64 --checksum 1234");
  EXPECT_EQ(run.status, 1) << run.out;
  run = RunTool("verify " + kSample + " --device TV64 --pattern 00");
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_EQ(RunTool("verify " + kSample + " --device TV64 --checksum xyz").status, 2);
}

TEST(Tool, MisspeltCommandsAndOptionsGetTheNearestName) {
  const struct {
    const char* arguments;
    const char* message;
  } cases[] = {
      {"chek x.jed", "fusekit: unknown command 'chek'; did you mean 'check'?"},
      {"convrt a b", "fusekit: unknown command 'convrt'; did you mean 'convert'?"},
      {"check --devcie TV64 x.jed",
       "fusekit: unknown option '--devcie' of check; did you mean '--device'?"},
      {"compare --by-adress a b",
       "fusekit: unknown option '--by-adress' of compare; did you mean '--by-address'?"},
      {"frobnicate", "fusekit: unknown command 'frobnicate'; see fusekit --help"},
  };
  for (const auto& c : cases) {
    const ToolRun run = RunTool(c.arguments);
    EXPECT_EQ(run.status, 2) << c.arguments;
    EXPECT_TRUE(Contains(run.out, c.message)) << run.out;
  }
}

TEST(Tool, MessagesNameTheFileAndTheNumbers) {
  fusekit::testing::TempDir dir;
  const std::string sample = fusekit::testing::ReadFile(kSample);
  const std::size_t etx = sample.rfind('\x03');
  const struct {
    const char* what;
    std::string arguments;
    int status;
    const char* message;
  } cases[] = {
      {"another device", "check " + kSample + " --device PM2-1200", 3,
       "QF 2304, but PM2-1200 has 20480 fuses"},
      {"a wrong C", "check " + dir.Write("c.jed", Replaced(sample, "C59ED", "C5A01")), 1,
       "C stored 5A01, computed 59ED"},
      {"no QF", "check " + dir.Write("q.jed", Replaced(sample, "QF2304*", "")), 3,
       "no QF field: name the device with --device"},
      {"five digits",
       "check " + dir.Write("five.jed", sample.substr(0, etx + 1) + "1" + sample.substr(etx + 1)),
       1, "the transmission checksum 1F951 has five digits, and its low sixteen bits F951 match"},
      {"an empty file", "check " + dir.Write("empty.jed", ""), 3, "empty.jed: file is empty"},
      {"a folder", "info " + dir.Path(""), 3, "is a directory, not a file"},
      {"no such file", "convert " + dir.Path("none.jed") + " x.isc --device TV64", 3,
       "none.jed: does not exist"},
      {"an image larger than the device",
       "convert " + dir.Write("big.bin", std::string(2000, 'A')) + " " + dir.Path("big.isc") +
           " --device TV64",
       0, "warning: the image holds 167 rows of 96 bits, but TV64 has 24: it does not fit"},
      {"an ISC file the device cannot read", "info " + dir.Path("big.isc") + " --device TV64", 3,
       "cannot be read for TV64 (status -16: the device has no length for one of the file's "
       "blocks, or the file ends early)"},
  };
  for (const auto& c : cases) {
    const ToolRun run = RunTool(c.arguments);
    EXPECT_EQ(run.status, c.status) << c.what << "\n" << run.out;
    EXPECT_TRUE(Contains(run.out, c.message)) << c.what << "\n" << run.out;
  }
}

TEST(Tool, FormatsAreFoundFromContentInEveryCommand) {
  fusekit::testing::TempDir dir;
  // S-records in a file named .HEX convert as S-records, not as Intel hex.
  const std::string misnamed = dir.Write("image.HEX", "S107000012345678E4\nS9030000FC\n");
  ToolRun run = RunTool("convert " + misnamed + " " + dir.Path("a.bin"));
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("a.bin")), std::string("\x12\x34\x56\x78", 4));
  run = RunTool("info " + misnamed);
  EXPECT_TRUE(Contains(run.out, "Motorola S-record image")) << run.out;
  // S-records under endings the tool does not know, and a format named outright.
  const std::string odd = dir.Write("image.S68", "S107000012345678E4\nS9030000FC\n");
  EXPECT_EQ(RunTool("convert " + odd + " " + dir.Path("b.bin")).status, 0);
  EXPECT_EQ(RunTool("convert --format srec " + odd + " " + dir.Path("c.bin")).status, 0);
  EXPECT_EQ(RunTool("convert --format nonsense " + odd + " " + dir.Path("c.bin")).status, 2);
  // A binary image named .bin holding an STX byte is an image, not a JEDEC file.
  const std::string bin = dir.Write("stx.bin", std::string("AB\x02"
                                                           "CD*\x03",
                                                           7));
  run = RunTool("info " + bin);
  EXPECT_TRUE(Contains(run.out, "binary")) << run.out;
  // Bitstreams on standard input, and a bitstream under another name.
  const std::string bit = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.bit";
  run = RunTool("info - < " + bit);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "standard input: binary bitstream")) << run.out;
  const std::string rbt = dir.Path("from-stdin.rbt");
  run = RunTool("convert - " + rbt + " < " + bit);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_EQ(RunTool("compare " + rbt + " " + bit + " --device TV64").status, 0);
  const std::string isc = dir.Path("out.isc");
  EXPECT_EQ(RunTool("convert - " + isc + " --device TV64 < " + kSample).status, 0);
  EXPECT_EQ(
      RunTool("convert " + kSample + " " + dir.Path("out.data") + " --out-format isc --device TV64")
          .status,
      0);
  EXPECT_EQ(RunTool("compare " + dir.Path("out.data") + " " + isc).status, 0);
}

TEST(Tool, ImagesToRecordsAgreeWithSrecCat) {
  if (std::system("srec_cat --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no srec_cat";
  fusekit::testing::TempDir dir;
  std::string bytes;
  for (int i = 0; i < 70000; ++i) bytes += static_cast<char>((i * 7 + i / 300) & 0xFF);
  const std::string bin = dir.Write("image.bin", bytes);
  // bin -> hex -> bin -> S-records -> bin through fusekit, each read by srec_cat as well.
  const std::string hex = dir.Path("image.hex"), srec = dir.Path("image.srec");
  ASSERT_EQ(RunTool("convert " + bin + " " + hex).status, 0);
  ASSERT_EQ(RunTool("convert " + hex + " " + dir.Path("back.bin")).status, 0);
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("back.bin")), bytes);
  ASSERT_EQ(RunTool("convert " + dir.Path("back.bin") + " " + srec + " --srec-len 16").status, 0);
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(srec), "\nS2")) << "addresses past 64 KiB";
  ASSERT_EQ(RunTool("convert " + srec + " " + dir.Path("again.bin")).status, 0);
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("again.bin")), bytes);
  for (const auto& [file, name] : {std::pair{hex, "-intel"}, std::pair{srec, "-motorola"}}) {
    const std::string theirs = dir.Path("theirs.bin");
    ASSERT_EQ(std::system(("srec_cat " + file + " " + name + " -o " + theirs + " -binary").c_str()),
              0);
    EXPECT_EQ(fusekit::testing::ReadFile(theirs), bytes) << name;
  }
  // srec_cat's records read by fusekit.
  const std::string their_srec = dir.Path("theirs.srec");
  ASSERT_EQ(std::system(("srec_cat " + bin + " -binary -o " + their_srec).c_str()), 0);
  ASSERT_EQ(RunTool("convert " + their_srec + " " + dir.Path("ours.bin")).status, 0);
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("ours.bin")), bytes);

  // --crop, --offset and --fill.
  ToolRun run = RunTool("convert " + bin + " " + dir.Path("c.bin") + " --crop 0x10 0x20");
  EXPECT_EQ(fusekit::testing::ReadFile(dir.Path("c.bin")), bytes.substr(0x10, 0x10));
  EXPECT_TRUE(Contains(run.out, "start address 0x00000010, 16 bytes")) << run.out;
  run = RunTool("convert " + bin + " " + dir.Path("o.hex") + " --crop 0 4 --offset 0x8000000");
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(dir.Path("o.hex")), ":020000040800F2"))
      << run.out;
  const std::string gaps = dir.Write("gaps.hex", ":0100000011EE\n:0100030022DA\n:00000001FF\n");
  run = RunTool("convert " + gaps + " " + dir.Path("f.hex") + " --fill 0x5A");
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(dir.Path("f.hex")),
                       ":0400000011"
                       "5A5A22"))
      << fusekit::testing::ReadFile(dir.Path("f.hex"));
  EXPECT_EQ(RunTool("convert " + gaps + " " + dir.Path("f.hex") + " --fill 300").status, 2);
  EXPECT_EQ(RunTool("convert " + gaps + " " + dir.Path("f.hex") + " --offset -5").status, 2);
}

TEST(Tool, BashCompletionCompletesCommandsAndOptions) {
  const std::string script = std::string(FUSEKIT_SOURCE_DIR) + "/tools/fusekit/share/fusekit.bash";
  const std::string tool_dir = std::filesystem::path(FUSEKIT_TOOL_PATH).parent_path().string();
  const auto complete = [&](const std::string& words, int index) {
    const std::string command =
        "bash -c 'PATH=\"" + tool_dir + ":$PATH\"; source " + script + "; COMP_WORDS=(" + words +
        "); COMP_CWORD=" + std::to_string(index) + "; _fusekit; echo \"${COMPREPLY[*]}\"'";
    std::FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    char buffer[512];
    std::size_t got;
    while (pipe != nullptr && (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
      out.append(buffer, got);
    if (pipe != nullptr) pclose(pipe);
    return out;
  };
  EXPECT_EQ(complete("fusekit con", 1), "convert\n");
  EXPECT_TRUE(Contains(complete("fusekit compare --by", 2), "--by-address"));
  EXPECT_TRUE(Contains(complete("fusekit check --device TV", 3), "TV64"));
}

TEST(Tool, JsonAndQuiet) {
  fusekit::testing::TempDir dir;
  const std::string bit = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.bit";
  const struct {
    std::string arguments;
    int status;
    const char* member;  // a member the document must hold
  } cases[] = {
      {"devices --json", 0, "\"name\": \"TV64\""},
      {"info --json " + kSample, 0, "\"fuse_checksum\": \"59ED\""},
      {"--json info " + bit, 0, "\"length_bits\": 3408"},
      {"check --json " + kSample, 0, "\"passed\": true"},
      {"crc --json " + kSample, 0, "\"transmission_checksum\": {\"computed\": \"F951\""},
      {"compare --json " + kSample + " " + kSample, 0, "\"equal\": true"},
      {"extract --json " + kSample + " --device TV64 --usercode", 0,
       "\"usercode\": \"0x1A2B3C4D\""},
      {"verify --json " + kSample + " --device TV64 --checksum 1234", 1,
       "\"checksum_matches\": false"},
  };
  const bool python = std::system("python3 -c pass >/dev/null 2>&1") == 0;
  for (const auto& c : cases) {
    const ToolRun run = RunTool(c.arguments + " 2>/dev/null");
    EXPECT_EQ(run.status, c.status) << c.arguments << "\n" << run.out;
    EXPECT_TRUE(Contains(run.out, c.member)) << c.arguments << "\n" << run.out;
    if (python) {
      const std::string document = dir.Write("out.json", run.out);
      EXPECT_EQ(std::system(("python3 -m json.tool " + document + " >/dev/null").c_str()), 0)
          << "not JSON: " << run.out;
    }
  }
  // --quiet: nothing on standard output, the same exit status, the data of "-" still written.
  ToolRun run = RunTool("-q compare " + kSample + " " + kSample);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "");
  run = RunTool("verify -q " + kSample + " --device TV64 --checksum 1234 2>/dev/null");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  run = RunTool("convert -q " + kSample + " - --out-format isc --device TV64");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(Contains(run.out, "IEEE_1532_Data")) << run.out.substr(0, 200);
}

TEST(Tool, ProgressOnlyOnATerminal) {
  fusekit::testing::TempDir dir;
  const std::string isc = dir.Path("p.isc");
  const std::string command = "convert " + kSample + " " + isc + " --device TV64";
  // Standard error is a pipe here: no progress line, whatever the delay.
  ToolRun run =
      RunTool("--device-db " + std::string(FUSEKIT_SOURCE_DIR) + "/data/devices.json " + command);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_FALSE(Contains(run.out, "\r")) << run.out;
  if (std::system("script -qc true /dev/null >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script";
  // On a terminal (script gives the tool one), with the first line due at once.
  const std::string terminal = dir.Path("terminal.txt");
  const std::string line = "FUSEKIT_PROGRESS_AFTER_MS=0 script -qc '" +
                           std::string(FUSEKIT_TOOL_PATH) + " " + command + "' /dev/null > " +
                           terminal + " 2>&1";
  ASSERT_EQ(std::system(line.c_str()), 0);
  EXPECT_TRUE(Contains(fusekit::testing::ReadFile(terminal), "\r\033[Kfusekit: convert: "))
      << fusekit::testing::ReadFile(terminal);
  // --quiet shows none.
  const std::string quiet = "FUSEKIT_PROGRESS_AFTER_MS=0 script -qc '" +
                            std::string(FUSEKIT_TOOL_PATH) + " -q " + command + "' /dev/null > " +
                            terminal + " 2>&1";
  ASSERT_EQ(std::system(quiet.c_str()), 0);
  EXPECT_FALSE(Contains(fusekit::testing::ReadFile(terminal), "fusekit: convert: "));
}

TEST(Tool, StandardInputAndOutputInEveryCommand) {
  // A pipeline: the usercode set on standard input, the file on standard output checked,
  // converted and compared as standard input.
  ToolRun run = RunTool("usercode - 0x12345678 < " + kSample + " 2>/dev/null | " +
                        std::string(FUSEKIT_TOOL_PATH) + " check -");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "usercode 12345678")) << run.out;
  run = RunTool("convert - - --out-format isc --device TV64 < " + kSample + " | " +
                std::string(FUSEKIT_TOOL_PATH) + " compare - " + kSample + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  run = RunTool("extract - --device TV64 --id < " + kSample);
  EXPECT_TRUE(Contains(run.out, "01B01043")) << run.out;
}

}  // namespace

namespace {

TEST(Tool, SectionsAndSettingsTravelThroughAConversion) {
  fusekit::testing::TempDir dir;
  const std::string settings = dir.Write("s.ini",
                                         "[Device]\nName = TV64\n[Usercode]\nValue = 0xCAFE\n"
                                         "[Security]\nEnabled = on\n"
                                         "[Feature]\nRow = 0101000011\nBits = 0x8002\n");
  const std::string isc = dir.Path("out.isc");
  ToolRun run = RunTool("convert " + kSample + " " + isc + " --device TV64 --settings " + settings);
  ASSERT_EQ(run.status, 0) << run.out;
  run = RunTool("info " + isc + " --device TV64");
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* part :
       {"security override       on", "feature_row            feature row  initialize      1 row",
        "feature_bits           feature row  initialize      1 row  x 16 bits",
        "read for TV64            5 fields, 24 array rows"})
    EXPECT_TRUE(Contains(run.out, part)) << part << "\n" << run.out;

  // The feature row out of the ISC file, as a feature-row file, and back into an ISC file.
  const std::string fea = dir.Path("out.fea");
  ASSERT_EQ(RunTool("convert " + isc + " " + fea + " --device TV64").status, 0);
  EXPECT_EQ(fusekit::testing::ReadFile(fea),
            "-- DEVICE NAME: TV64\nFEATURE_ROW\n0101000011\nFEATURE_BITS\n1000000000000010\n");
  run = RunTool("info " + fea);
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Contains(run.out, "FeatureRow_TDI          10 bits, 0x0143")) << run.out;
  const std::string back = dir.Path("back.isc");
  ASSERT_EQ(RunTool("convert " + fea + " " + back + " --device TV64").status, 0);
  EXPECT_TRUE(Contains(RunTool("info " + back).out, "feature_bits"));

  // A settings file with a problem names it and its line, and nothing is written.
  const std::string bad = dir.Write("bad.ini", "[Usercode]\nValu = 1\n");
  const std::string never = dir.Path("never.isc");
  run = RunTool("convert " + kSample + " " + never + " --device TV64 --settings " + bad);
  EXPECT_EQ(run.status, 3);
  EXPECT_TRUE(Contains(run.out, "bad.ini: line 2: unknown key \"Valu\" in [usercode]")) << run.out;
  EXPECT_FALSE(std::filesystem::exists(never));
  EXPECT_EQ(
      RunTool("convert " + kSample + " " + dir.Path("x.bin") + " --settings " + settings).status,
      2);
}

}  // namespace
