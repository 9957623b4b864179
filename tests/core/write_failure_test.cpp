// Every writer of the library on an output that cannot take its bytes (/dev/full: it opens, and
// every write fails with "no space left"): the result is the write-failure status, never a
// success with a short file.
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/jedec_builder.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using fusekit::testing::JedecBuilder;
using fusekit::testing::RandomFuses;
using fusekit::testing::TempDir;

constexpr char kFull[] = "/dev/full";

TEST(WriteFailure, EveryWriterReportsAFullDisk) {
  if (!std::filesystem::exists(kFull)) GTEST_SKIP() << "no /dev/full on this system";
  TempDir dir;
  DeviceInfo device = fusekit::testing::TestDevice("TestFamily", 4, 16);
  JedecBuilder b;
  b.fuses = RandomFuses(64, 21);
  b.extra_fields = "UH12345678*";
  std::string jed = dir.Write("a.jed", b.Build());
  SVFPlusData data;
  ASSERT_EQ(JEDEC2SVFPlus(jed.data(), &device, 1, &data, nullptr, nullptr, nullptr, nullptr), 0);
  std::string hex = dir.Write("a.hex", ":0400000001020304F2\n:00000001FF\n");
  std::string raw = dir.Write("raw.hex", "0102030405\n");
  std::string mot = dir.Write("a.mot", "S1070000010203047A\nS9030000FC\n");
  std::string full = kFull;

  const struct {
    const char* writer;
    std::function<int()> write;
  } writers[] = {
      {"SVFPlus2ISC", [&] { return SVFPlus2ISC(&data, "-- c\n", kFull, "T", 0, 0, "me"); }},
      {"SVFPlus2ISC, eight arguments",
       [&] { return SVFPlus2ISC(&data, nullptr, kFull, "T", 0, 0, 1, "me"); }},
      {"JEDEC2ISC",
       [&] {
         char entity[] = "T";
         char option[] = "";
         return JEDEC2ISC(jed.data(), &device, 1, "", dir.Path("").c_str(), option, "", entity,
                          full.data(), 0, "me");
       }},
      {"fnJEDFileCompare", [&] { return fnJEDFileCompare(jed.c_str(), jed.c_str(), kFull); }},
      {"fnBITFileDisplay, dump", [&] { return fnBITFileDisplay(jed.c_str(), kFull); }},
      {"HEX2BIN", [&] { return HEX2BIN(hex.data(), nullptr, full.data(), 1); }},
      {"HEX2BIN, raw digits", [&] { return HEX2BIN(raw.data(), nullptr, full.data(), 1); }},
      {"MOT2BIN", [&] { return MOT2BIN(mot.data(), nullptr, full.data(), 1); }},
      {"SVFPlus2MCS", [&] { return SVFPlus2MCS(kFull, &device, &data, "", "", "", 0); }},
      {"SVFPlus2XXX", [&] { return SVFPlus2XXX(kFull, &device, &data); }},
      {"WriteUESInfo",
       [&] { return WriteUESInfo(jed.c_str(), kFull, &device, 1, "CAFEF00D", nullptr); }},
  };
  for (const auto& w : writers) {
    EXPECT_EQ(w.write(), fusekit::kStatusWriteFailed) << w.writer;
  }
  EXPECT_STREQ(fusekit::StatusText(fusekit::kStatusWriteFailed),
               "writing the output failed (disk full or an input/output error): it is incomplete");
}

}  // namespace
