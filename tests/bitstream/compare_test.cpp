// fnBITFileCompare / fnRBTFileCompare on streams the generator writes, in both forms and any
// pairing, and ConvertEncryptedFiletoJTAGMode read back by the properties it changes.
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/bitstream/bitstream_support.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::BitstreamDevice;
using fusekit::testing::Bytes;
using fusekit::testing::Frame;
using fusekit::testing::ReadFile;
using fusekit::testing::SampleModel;
using fusekit::testing::TempDir;

struct Change {
  int frame = -1;  // frame index whose first component gets a bit flipped (-1: none)
  unsigned bit = 0;
  std::string date = "2026/11/20";
  std::string part = "TEST-64";
};

XFPBitstreamModel Model(const DeviceInfo& device, const Change& change) {
  const XFPBitstreamModel base =
      SampleModel(device, {"Date: " + change.date, "Device: " + change.part}, {1, 2, 3, 4});
  if (change.frame < 0) return base;
  XFPBitstreamModel model;
  model.SetDevice(device);
  model.AddCommentEntry(("Date: " + change.date).c_str());
  model.AddCommentEntry(("Device: " + change.part).c_str());
  for (unsigned f = 0; f < base.GetFrameCount(); ++f) {
    const XFPFrameModel& frame = *base.GetFrame(f);
    const XFPFrameComponentModel& part = *frame.GetComponent(frame.GetComponentCount() - 1);
    Bytes bytes(part.GetBytes(), part.GetBytes() + part.GetByteSize());
    if (static_cast<int>(f) == change.frame) bytes[change.bit / 8] ^= 0x80u >> (change.bit % 8);
    model.AddFrame(Frame(frame.GetName(), bytes, part.GetName(), part.GetBitSize()));
  }
  return model;
}

std::string Written(TempDir& dir, const std::string& name, const DeviceInfo& device,
                    const Change& change, bool ascii) {
  const std::string path = dir.Path(name);
  const XFPBitstreamModel model = Model(device, change);
  EXPECT_EQ(ascii ? XFPGenerateBitstream::GenerateAscii(model, path.c_str())
                  : XFPGenerateBitstream::Generate(model, path.c_str()),
            0);
  return path;
}

TEST(BitstreamCompare, EveryPairingFindsOneFlippedBitOnce) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const std::string report = dir.Path("report.txt");
  for (const bool read_ascii : {false, true}) {
    for (const bool reference_ascii : {false, true}) {
      SCOPED_TRACE(std::string(read_ascii ? "ASCII" : "binary") + " against " +
                   (reference_ascii ? "ASCII" : "binary"));
      const std::string reference = Written(dir, "ref", device, {}, reference_ascii);
      const struct {
        Change change;
        int count;
        const char* located;
      } cases[] = {
          {{}, 0, "4 frames)\nframes\nDifferences: 0\n"},
          {{-1, 0, "2026/11/23"},
           0,
           "comment Date: read 2026/11/23, reference 2026/11/20 (not counted)"},
          {{0, 30}, 1, "frame 1 Usercode Frame, Usercode: 30+"},
          {{2, 0}, 1, "frame 3 Data Frame, Data: 0+"},
          {{3, 63}, 1, "frame 4 Data Frame, Data: 63-"},
      };
      for (const auto& c : cases) {
        const std::string read = Written(dir, "read", device, c.change, read_ascii);
        const int result =
            read_ascii ? fnRBTFileCompare(read.c_str(), reference.c_str(), &device, report.c_str())
                       : fnBITFileCompare(read.c_str(), reference.c_str(), &device, report.c_str());
        EXPECT_EQ(result, c.count) << ReadFile(report);
        EXPECT_NE(ReadFile(report).find(c.located), std::string::npos) << ReadFile(report);
      }
    }
  }
}

// A copy of the same bytes is compared by reading both side by side and parsing one; a stream
// of the same frames in other bytes (one more padding byte) frame by frame. Both give one report
// but for the read file's size, and two copies of a file that is no bitstream are still refused.
TEST(BitstreamCompare, SameBytesAndSameFramesReportAlike) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const std::string reference = Written(dir, "ref.bit", device, {}, false);
  const std::string same = dir.Write("same.bit", ReadFile(reference));
  const std::string padded = dir.Write("padded.bit", ReadFile(reference) + "\xFF");
  const auto report = [&](const std::string& read, int expected) {
    const std::string path = dir.Path("report.txt");
    EXPECT_EQ(fnBITFileCompare(read.c_str(), reference.c_str(), &device, path.c_str()), expected);
    std::string text = ReadFile(path);
    const std::size_t line = text.find("read:");
    EXPECT_NE(line, std::string::npos) << text;
    return line == std::string::npos ? text : text.erase(line, text.find('\n', line) - line);
  };
  const std::string by_bytes = report(same, 0);
  EXPECT_EQ(by_bytes, report(padded, 0));
  EXPECT_NE(by_bytes.find("(binary, " + std::to_string(ReadFile(reference).size()) +
                          " bytes, 4 frames)\nframes\nDifferences: 0\n"),
            std::string::npos)
      << by_bytes;
  const std::string garbage = dir.Write("garbage.bit", std::string("\x01\x00\x03", 3));
  const std::string garbage_copy = dir.Write("garbage2.bit", std::string("\x01\x00\x03", 3));
  const std::string path = dir.Path("report.txt");
  EXPECT_EQ(fnBITFileCompare(garbage.c_str(), garbage_copy.c_str(), &device, path.c_str()), -2);
  EXPECT_NE(ReadFile(path).find("cannot be read as a bitstream (status -41)"), std::string::npos);
}

// A long stream and a copy of it are read by two threads, each parsing and comparing its part of
// the read file: a flipped bit is found once wherever it falls, near the start, about the middle
// and in the last frame; the same bad command late in both files refuses them, as a parse of one
// does.
TEST(BitstreamCompare, LongStreamsFindOneFlippedBitAnywhere) {
  TempDir dir;
  constexpr int kFrames = 4000;
  constexpr std::size_t kFrameBytes = 1024;
  DeviceInfo device = fusekit::testing::TestDevice("TestFamily", 1, 8 * kFrameBytes);
  XFPBitstreamModel model;
  model.SetDevice(device);
  model.AddCommentEntry("Design: long");
  Bytes data(kFrameBytes);
  for (int f = 0; f < kFrames; ++f) {
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(f * 7 + i);
    model.AddFrame(Frame("Data Frame", data));
  }
  const std::string reference = dir.Path("reference.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, reference.c_str()), 0);
  const std::string text = ReadFile(reference);
  const std::string report = dir.Path("report.txt");
  const auto compare = [&](const std::string& read_text, const std::string& reference_text) {
    const std::string read = dir.Write("read.bit", read_text);
    const std::string other = dir.Write("other.bit", reference_text);
    return fnBITFileCompare(read.c_str(), other.c_str(), &device, report.c_str());
  };
  // The stream ends with its frames: each is an opcode, three operand bytes and the data.
  const auto frame_start = [&](int f) { return text.size() - (kFrames - f) * (4 + kFrameBytes); };
  ASSERT_EQ(static_cast<unsigned char>(text[frame_start(0)]), 0x41);
  EXPECT_EQ(compare(text, text), 0);
  EXPECT_NE(ReadFile(report).find("4000 frames)\nframes\nDifferences: 0\n"), std::string::npos)
      << ReadFile(report);
  for (const int f : {3, kFrames / 2 - 1, kFrames / 2, kFrames / 2 + 1, kFrames - 1}) {
    for (const std::size_t byte : {std::size_t{0}, kFrameBytes - 1}) {
      SCOPED_TRACE("frame " + std::to_string(f + 1) + ", byte " + std::to_string(byte));
      std::string flipped = text;
      flipped[frame_start(f) + 4 + byte] ^= 0x01;
      EXPECT_EQ(compare(flipped, text), 1);
      EXPECT_NE(ReadFile(report).find("frame " + std::to_string(f + 1) +
                                      " Data Frame, Data: " + std::to_string(8 * byte + 7)),
                std::string::npos)
          << ReadFile(report);
    }
  }
  std::string bad = text;
  bad[frame_start(kFrames - 300)] = static_cast<char>(0x99);
  EXPECT_EQ(compare(bad, bad), -2);
  EXPECT_NE(ReadFile(report).find("cannot be read as a bitstream"), std::string::npos);
}

TEST(BitstreamCompare, StreamsOfAnotherDeviceOrShapeAreRefused) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  const std::string report = dir.Path("report.txt");
  const std::string reference = Written(dir, "ref.bit", device, {}, false);
  Change other;
  other.part = "OTHER-128";
  const std::string other_device = Written(dir, "other.bit", device, other, false);
  const std::string shorter = dir.Path("short.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(
                SampleModel(device, {"Device: TEST-64"}, {1, 2, 3, 4}, 2), shorter.c_str()),
            0);
  const std::string garbage = dir.Write("garbage.bit", std::string("\x01\x00\x03", 3));
  const struct {
    const char* what;
    std::string read;
    DeviceInfo* device;
    int status;
    const char* cause;
  } cases[] = {
      {"another device", other_device, &device, -2,
       "the files are for different devices: read OTHER-128, reference TEST-64"},
      {"fewer frames", shorter, &device, -2, "frame 4: only in the reference (3 and 4 frames)"},
      {"not a bitstream", garbage, &device, -2, "cannot be read as a bitstream (status -41)"},
      {"no file", dir.Path("none.bit"), &device, -1, nullptr},
      {"no device", reference, nullptr, -6, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(fnBITFileCompare(c.read.c_str(), reference.c_str(), c.device, report.c_str()),
              c.status);
    if (c.cause != nullptr) {
      EXPECT_NE(ReadFile(report).find(c.cause), std::string::npos) << ReadFile(report);
    }
  }
}

TEST(EncryptedToJtag, TheModeChangesAndNoFrameDoes) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  for (const bool ascii : {false, true}) {
    SCOPED_TRACE(ascii ? "ASCII" : "binary");
    XFPBitstreamModel model;
    model.SetDevice(device);
    model.AddCommentEntry("Part: TEST-64");
    model.AddCommentEntry("Config Mode: SPIM");
    model.AddFrame(Frame("Encrypted Data Frame", Bytes(12, 0x5A)));
    const std::string spi = dir.Path(ascii ? "spi.rbt" : "spi.bit");
    const std::string jtag = dir.Path(ascii ? "jtag.rbt" : "jtag.bit");
    ASSERT_EQ(ascii ? XFPGenerateBitstream::GenerateAscii(model, spi.c_str())
                    : XFPGenerateBitstream::Generate(model, spi.c_str()),
              0);
    ASSERT_EQ(IsBitstreamEncrypted(spi.c_str(), &device), 2);
    ASSERT_EQ(ConvertEncryptedFiletoJTAGMode(spi.c_str(), &device, jtag.c_str()), 0);
    EXPECT_EQ(IsBitstreamEncrypted(jtag.c_str(), &device), 1);
    const std::string report = dir.Path("report.txt");
    EXPECT_EQ(fnBITFileCompare(jtag.c_str(), spi.c_str(), &device, report.c_str()), 0);
    EXPECT_NE(ReadFile(report).find("comment Config Mode: read JTAG, reference SPIM (not counted)"),
              std::string::npos)
        << ReadFile(report);
  }
  const std::string plain = dir.Path("plain.bit");
  ASSERT_EQ(XFPGenerateBitstream::Generate(SampleModel(device, {}, {}), plain.c_str()), 0);
  EXPECT_EQ(ConvertEncryptedFiletoJTAGMode(plain.c_str(), &device, dir.Path("o.bit").c_str()), -2);
  EXPECT_EQ(ConvertEncryptedFiletoJTAGMode(plain.c_str(), nullptr, dir.Path("o.bit").c_str()), -6);
}

}  // namespace
