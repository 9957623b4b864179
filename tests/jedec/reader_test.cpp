// The JEDEC reader: files in the styles of several writers, every status, the word maps, the
// usercode forms, the checksum retry and the device-specific layouts.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "jedec/reader_buffers.h"
#include "tests/support/jedec_builder.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::jedec::ReaderBuffers;
using fusekit::testing::JedecBuilder;
using fusekit::testing::RandomFuses;
using fusekit::testing::TempDir;

DeviceInfo Device(unsigned rows, unsigned width, unsigned usercode_bits = 32) {
  DeviceInfo d;
  d.SetName("TEST");
  d.SetFamily("TestFamily");
  d.SetAddressLength(rows);
  d.SetDataLength(width);
  d.SetFuseNumber(rows * width);
  d.SetPhysicalUESLength(usercode_bits);
  d.SetjtagLogicalUESLength(usercode_bits);
  d.SetispLogicalUESLength(usercode_bits);
  d.SaveDeviceBackupValue();
  return d;
}

bool MapFuse(const std::vector<std::uint16_t>& map, unsigned width, unsigned row, unsigned col) {
  const unsigned word = row * ((width + 15) / 16) + col / 16;
  return ((map[word] >> (15 - col % 16)) & 1u) != 0;
}

// Every fuse of the word map against the list it came from (row r of the map from list row
// source_row(r)).
template <class SourceRow>
void ExpectFuseMap(const ReaderBuffers& b, const std::vector<bool>& fuses, unsigned rows,
                   unsigned width, SourceRow source_row) {
  for (unsigned r = 0; r < rows; ++r) {
    for (unsigned c = 0; c < width; ++c) {
      ASSERT_EQ(MapFuse(b.fuse_map, width, r, c), fuses[source_row(r) * width + c])
          << "row " << r << " column " << c;
    }
  }
}

struct Read {
  int status;
  ReaderBuffers buffers;
};

Read ReadText(const std::string& text, DeviceInfo device) {
  TempDir dir;
  const std::string path = dir.Write("f.jed", text);
  Read read{0, ReaderBuffers::ForVerify(device)};
  read.status =
      read.buffers.Read(path.c_str(), device, static_cast<int>(device.GetjtagLogicalUESLength()));
  return read;
}

TEST(JedecReader, FilesInTheStylesOfThreeWriters) {
  const DeviceInfo device = Device(24, 96);
  const std::vector<bool> fuses = RandomFuses(24 * 96, 3);

  JedecBuilder gal;  // a small-PLD assembler: QP, G, F, short lines, binary U field
  gal.qp = 24;
  gal.g = 1;
  gal.fuses = fuses;
  gal.digits_per_line = 32;
  gal.extra_fields = "U10100101101001011010010110100101*\n";

  JedecBuilder cpld;  // a CPLD fitter: banner, notes, CR LF, many short L fields, "0000"
  cpld.before_stx = "Fitter 9.1 output\r\n";
  cpld.notes = {"NOTE Device TEST", "NOTE Pin assignments follow", "NOTE PIN 3 = clk"};
  cpld.qp = 44;
  cpld.fuses = fuses;
  cpld.digits_per_line = 16;
  cpld.eol = "\r\n";
  cpld.transmission = "0000";
  cpld.extra_fields = "UHA5A5A5A5*\r\n";

  JedecBuilder fpga;  // an FPGA flow: notes of user flash and frame CRCs, one L field over many
  fpga.notes = {"NOTE USER MEMORY DATA UFM0", "NOTE FRAME CRC: 0x1234ABCD"};
  fpga.fuses = fuses;
  fpga.digits_per_line = 128;
  fpga.one_l_field = true;
  fpga.g = 0;
  fpga.extra_fields = "UA\xA5\xA5\xA5\xA5*\n";
  fpga.after = "\nend of file text\n";

  const struct {
    const char* style;
    const JedecBuilder& builder;
    int pin_count;
    int security;
  } cases[] = {{"GAL", gal, 24, 1}, {"CPLD", cpld, 44, 0}, {"FPGA", fpga, 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.style);
    Read read = ReadText(c.builder.Build(), device);
    ASSERT_EQ(read.status, 0);
    ExpectFuseMap(read.buffers, fuses, 24, 96, [](unsigned r) { return r; });
    EXPECT_EQ(read.buffers.pin_count, c.pin_count);
    EXPECT_EQ(read.buffers.security, c.security);
    EXPECT_EQ(read.buffers.usercode_map[0], 0xA5A5);
    EXPECT_EQ(read.buffers.usercode_map[1], 0xA5A5);
    EXPECT_EQ(read.buffers.checksum[1], fusekit::testing::JedecFuseChecksum(fuses));
  }
}

TEST(JedecReader, Statuses) {
  const DeviceInfo device = Device(4, 16);
  JedecBuilder base;
  base.fuses = RandomFuses(64, 9);
  base.fuses[63] = true;
  const std::string valid = base.Build();
  auto with = [&](auto change) {
    JedecBuilder b = base;
    change(b);
    return b.Build();
  };
  const struct {
    const char* what;
    std::string text;
    int status;
  } cases[] = {
      {"valid", valid, 0},
      {"no STX", valid.substr(1), -4},
      {"no ETX", valid.substr(0, valid.find('\x03')), -4},
      {"neither L nor F", "\x02x*QF64*\x03", -4},
      {"F alone is enough", "\x02x*QF64*F1*\x03", 0},
      {"QF differs from the device", with([](JedecBuilder& b) {
         b.qf = 65;
         b.checksum = false;
       }),
       -2},
      {"QF of 0", with([](JedecBuilder& b) { b.qf = 0; }), -2},
      {"QF of 2^32-1", with([](JedecBuilder& b) { b.qf = 4294967295u; }), -2},
      {"QF plus 64 for another code name", with([](JedecBuilder& b) { b.qf = 128; }), -2},
      {"fuse digit 2", with([](JedecBuilder& b) { b.extra_fields = "L00000 2*"; }), 8195},
      {"L address beyond the fuse count",
       with([](JedecBuilder& b) { b.extra_fields = "L00064 1*"; }), 8195},
      {"L without an address", with([](JedecBuilder& b) { b.extra_fields = "L*"; }), 8195},
      {"wrong C", with([](JedecBuilder& b) { b.checksum_value = 0x1234; }), -14},
      {"C0000 passes", with([](JedecBuilder& b) {
         b.checksum_value = 0;
         b.fuses[0] = !b.fuses[0];
       }),
       0},
      {"no C passes", with([](JedecBuilder& b) { b.checksum = false; }), 0},
      {"C not hex", with([](JedecBuilder& b) { b.extra_fields = "CXYZ*"; }), 8195},
      {"E longer than the architecture", with([](JedecBuilder& b) { b.extra_fields = "E1*"; }),
       -18},
      {"U in an unknown form", with([](JedecBuilder& b) { b.extra_fields = "UZ12*"; }), 8195},
      {"U hex with a bad digit", with([](JedecBuilder& b) { b.extra_fields = "UH12G4*"; }), 8195},
      {"binary garbage after STX", std::string("\x02x*\x01\x7f\xfe", 7), -4},
      {"field cut by the end of file", valid.substr(0, valid.find("L00032") + 10), -4},
      {"lower-case letters", "\x02x*qf64*f0*l0 1*\x03", 0},
      // Bytes of 0x80 and above are not printable: a note holding one ends the stream.
      {"a note in UTF-8", with([](JedecBuilder& b) { b.notes = {"NOTE caf\xC3\xA9"}; }), -4},
      {"a byte 0x80 long after the note's start",
       with([](JedecBuilder& b) { b.notes = {"NOTE " + std::string(40, 'n') + "\x80"}; }), -4},
      {"0x7E is printable", with([](JedecBuilder& b) { b.notes = {"NOTE ~"}; }), 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ReadText(c.text, device).status, c.status) << c.what;
  }
}

// Consecutive L lines are taken by a shortcut when a line is "L", eight digits and the fuses;
// every other shape between two fields goes through the field loop. Both must read the same.
TEST(JedecReader, LinesBetweenFuseFieldsInEveryShape) {
  const unsigned rows = 24, width = 96;
  const DeviceInfo device = Device(rows, width);
  const std::vector<bool> fuses = RandomFuses(rows * width, 21);
  const auto text = [&](const std::string& between, const char* address_format,
                        const std::string& last_field = "") {
    std::string out = "\x02x*\nQF2304*\nF0*";
    for (unsigned r = 0; r < rows; ++r) {
      char address[32];
      std::snprintf(address, sizeof address, address_format, r * width);
      out += between + address;
      for (unsigned c = 0; c < width; ++c) out += fuses[r * width + c] ? '1' : '0';
      out += '*';
    }
    return out + last_field + "\n\x03";
  };
  const struct {
    const char* what;
    std::string text;
    int status;
  } cases[] = {
      {"LF", text("\n", "L%08u "), 0},
      {"CR LF", text("\r\n", "L%08u "), 0},
      {"a blank line between", text("\n\n", "L%08u "), 0},
      {"a blank before the line end", text(" \n", "L%08u "), 0},
      {"a lone CR", text("\r", "L%08u "), 0},
      {"lower-case l", text("\n", "l%08u "), 0},
      {"a blank before L", text("\n ", "L%08u "), 0},
      {"no line end", text("", "L%08u "), 0},
      {"nine digits", text("\n", "L%09u "), 0},
      {"five digits", text("\n", "L%05u "), 0},
      {"no blank after the address", text("\n", "L%08u\n"), 0},
      {"a bad digit after a shortcut", text("\n", "L%08u ", "\nL00000000 2*"), 8195},
      {"an address past the fuses", text("\n", "L%08u ", "\nL00002304 1*"), 8195},
      {"L and no address", text("\n", "L%08u ", "\nL*"), 8195},
  };
  for (const auto& c : cases) {
    const Read read = ReadText(c.text, device);
    ASSERT_EQ(read.status, c.status) << c.what;
    if (c.status == 0)
      ExpectFuseMap(read.buffers, fuses, rows, width, [](unsigned r) { return r; });
  }
}

TEST(JedecReader, MissingFileEmptyPathAndNullDevice) {
  DeviceInfo device = Device(4, 16);
  TempDir dir;
  auto buffers = ReaderBuffers::ForVerify(device);
  EXPECT_EQ(buffers.Read(dir.Path("missing.jed").c_str(), device, 32), -1);
  EXPECT_EQ(buffers.Read("", device, 32), -1);
  std::string path = dir.Write("f.jed", "\x02x*QF64*F0*\x03");
  unsigned char linear[256];
  EXPECT_EQ(fnJEDFileReader(path.data(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0,
                            nullptr, linear, nullptr, nullptr, nullptr, nullptr),
            -6);
  EXPECT_EQ(fnJEDFileReader(path.data(), nullptr, nullptr, nullptr, nullptr, nullptr, &device, 128,
                            32, nullptr, linear, nullptr, nullptr, nullptr, nullptr),
            0);
}

TEST(JedecReader, ChecksumRetriedWithoutTheELength) {
  // A writer that left the last ELength fuses out of its C value: the first sum fails, the
  // second over the fuse count less the E length passes.
  DeviceInfo device = Device(4, 16);
  device.SetARCHLength(8);
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(64, 5);
  b.fuses[60] = true;
  b.checksum_value =
      fusekit::testing::JedecFuseChecksum(std::vector<bool>(b.fuses.begin(), b.fuses.begin() + 56));
  b.extra_fields = "E10110011*";
  Read read = ReadText(b.Build(), device);
  ASSERT_EQ(read.status, 0);
  EXPECT_EQ(read.buffers.e_length, 8u);
  EXPECT_EQ(read.buffers.arch_map[0] >> 8, 0xB3);

  b.extra_fields = "";  // without an E field there is no second try
  read = ReadText(b.Build(), device);
  EXPECT_EQ(read.status, -14);
  EXPECT_EQ(read.buffers.pin_count, 64);  // the fuse count that was checked
}

TEST(JedecReader, UsercodeFormsAndThePartialWord) {
  DeviceInfo device = Device(4, 16, 20);
  const struct {
    const char* field;
    std::uint16_t word0;
    std::uint16_t word1;
  } cases[] = {
      {"UH12345*", 0x1234, 0x5FFF},  // 20 bits; the rest of the last word is 1s
      {"U0001001000110100 0101*", 0x1234, 0x5FFF},
      {"UA\x12\x34\x5F*", 0x1234, 0x5FFF},
      {"uh12345*", 0x1234, 0x5FFF},
  };
  for (const auto& c : cases) {
    JedecBuilder b;
    b.fuses = RandomFuses(64, 1);
    b.extra_fields = c.field;
    Read read = ReadText(b.Build(), device);
    ASSERT_EQ(read.status, 0) << c.field;
    EXPECT_EQ(read.buffers.usercode_map[0], c.word0) << c.field;
    EXPECT_EQ(read.buffers.usercode_map[1], c.word1) << c.field;
  }
  // No U field: the bits after the fuse data, which the buffer holds as 1s.
  JedecBuilder b;
  b.fuses = RandomFuses(64, 1);
  Read read = ReadText(b.Build(), device);
  ASSERT_EQ(read.status, 0);
  EXPECT_EQ(read.buffers.usercode_map[0], 0xFFFF);
}

TEST(JedecReader, RowsWiderThanAWordAndOddWidths) {
  for (unsigned width : {1u, 12u, 16u, 20u, 33u, 128u, 2049u}) {
    const unsigned rows = 5;
    const DeviceInfo device = Device(rows, width);
    JedecBuilder b;
    b.fuses = RandomFuses(rows * width, width);
    b.digits_per_line = 40;
    Read read = ReadText(b.Build(), device);
    ASSERT_EQ(read.status, 0) << "width " << width;
    ExpectFuseMap(read.buffers, b.fuses, rows, width, [](unsigned r) { return r; });
  }
}

TEST(JedecReader, BitMapFlags) {
  // Flag 1: the file lists the device's rows last first. Flag 4: twice the address count.
  DeviceInfo reversed = Device(6, 16);
  reversed.SetBitMapTransformation(1);
  JedecBuilder b;
  b.fuses = RandomFuses(96, 4);
  Read read = ReadText(b.Build(), reversed);
  ASSERT_EQ(read.status, 0);
  ExpectFuseMap(read.buffers, b.fuses, 6, 16, [](unsigned r) { return 5 - r; });

  DeviceInfo doubled = Device(3, 16);
  doubled.SetBitMapTransformation(4);
  doubled.SetFuseNumber(96);
  read = ReadText(b.Build(), doubled);
  ASSERT_EQ(read.status, 0);
  ExpectFuseMap(read.buffers, b.fuses, 6, 16, [](unsigned r) { return r; });
}

TEST(JedecReader, TwentyTwoVTenLayout) {
  // 132 product terms of 44 fuses, 20 architecture fuses, then 64 usercode fuses in the list.
  DeviceInfo device = Device(44, 132, 64);
  device.SetCodeName("22V10");
  device.SetFuseNumber(5828);
  device.SetARCHLength(20);
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(5892, 22);
  for (int i = 0; i < 64; ++i) b.fuses[5828 + i] = (0xF0F0F0F0A5A5A5A5ull >> (63 - i)) & 1;
  Read read = ReadText(b.Build(), device);
  ASSERT_EQ(read.status, 0);
  for (unsigned a = 0; a < 44; ++a) {
    for (unsigned p = 0; p < 132; ++p) {
      ASSERT_EQ(MapFuse(read.buffers.fuse_map, 132, a, p), b.fuses[p * 44 + a]) << a << "," << p;
    }
  }
  for (unsigned i = 0; i < 20; ++i) {
    EXPECT_EQ(((read.buffers.arch_map[i / 16] >> (15 - i % 16)) & 1u) != 0, b.fuses[5808 + i]);
  }
  EXPECT_EQ(read.buffers.usercode_map[0], 0xF0F0);
  EXPECT_EQ(read.buffers.usercode_map[3], 0xA5A5);

  b.qf = 5828 + 64 + 1;  // only the fuse number or the fuse number plus 64
  b.fuses.push_back(false);
  EXPECT_EQ(ReadText(b.Build(), device).status, -2);
}

TEST(JedecReader, ArchitecturePaddingPutsTheUsercodeAfterTheArchitectureBytes) {
  DeviceInfo device = Device(0, 0);
  device.SetFamily("CorvanePelmo2");
  device.SetFuseNumber(256);
  device.SetARCHLength(16);
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(256, 8);
  b.extra_fields = "UHBEEF1234*";
  Read read = ReadText(b.Build(), device);
  ASSERT_EQ(read.status, 0);
  ExpectFuseMap(read.buffers, b.fuses, 2, 128, [](unsigned r) { return r; });
  EXPECT_EQ(read.buffers.linear[32], 0x00);  // the inserted architecture bytes
  EXPECT_EQ(read.buffers.linear[33], 0x00);
  EXPECT_EQ(read.buffers.linear[34], 0xBE);
  EXPECT_EQ(read.buffers.usercode_map[0], 0xBEEF);
}

TEST(JedecReader, ESectionAndFendraPadringSection) {
  // Fendra2: 2 rows of 128, a Padring section of 32 fuses, an E section of one 128-bit row.
  DeviceInfo device = Device(0, 0);
  device.SetFamily("CorvaneFendra2");
  device.SetFuseNumber(256 + 32 + 128);
  device.SetELength(128);
  device.SetERow(1);
  device.SetPadring({"32"});
  device.SaveDeviceBackupValue();
  JedecBuilder b;
  b.fuses = RandomFuses(416, 12);
  Read read = ReadText(b.Build(), device);
  ASSERT_EQ(read.status, 0);
  ExpectFuseMap(read.buffers, b.fuses, 2, 128, [](unsigned r) { return r; });
  for (unsigned i = 0; i < 32; ++i) {
    EXPECT_EQ(MapFuse(read.buffers.last_map, 32, 0, i), b.fuses[256 + i]) << i;
  }
  for (unsigned i = 0; i < 128; ++i) {
    EXPECT_EQ(MapFuse(read.buffers.e_map, 128, 0, i), b.fuses[288 + i]) << i;
  }
}

TEST(VerifyAndUes, VerdictsAndUsercodeText) {
  TempDir dir;
  DeviceInfo device = Device(4, 16);
  JedecBuilder b;
  b.fuses = RandomFuses(64, 2);
  b.extra_fields = "UH0123ABCD*";
  std::string good = dir.Write("good.jed", b.Build());
  EXPECT_EQ(VerifyJEDECfile(good.data(), &device, 1), 0);
  char out[16] = "untouched";
  EXPECT_EQ(ReadUESInfo(good.data(), &device, 1, out), 0);
  EXPECT_STREQ(out, "0123ABCD");

  b.qf = 80;
  b.fuses.resize(80);
  std::string wrong_count = dir.Write("qf.jed", b.Build());
  EXPECT_EQ(VerifyJEDECfile(wrong_count.data(), &device, 1), -2);
  std::strcpy(out, "untouched");
  EXPECT_EQ(ReadUESInfo(wrong_count.data(), &device, 1, out), -2);
  EXPECT_STREQ(out, "untouched");
  char empty[] = "";
  EXPECT_EQ(VerifyJEDECfile(empty, &device, 1), -1);
  EXPECT_EQ(ReadUESInfo(empty, &device, 1, out), -1);

  device.SetjtagLogicalUESLength(0);  // a length of 0 gives an empty text
  EXPECT_EQ(ReadUESInfo(good.data(), &device, 1, out), 0);
  EXPECT_STREQ(out, "");
}

}  // namespace
