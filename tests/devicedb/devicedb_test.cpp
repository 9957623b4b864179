// The device database: the built-in records, the loader's checks, the temporary geometry.
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/family_predicates.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(DefaultDatabase, HoldsARecordForEveryFamilyTheLibraryTellsApart) {
  DeviceDatabase db;
  ASSERT_EQ(db.LoadDefault(), 0) << db.GetLastError();
  for (const auto& p : fusekit::testing::kFamilyPredicates) {
    bool found = false;
    for (int i = 0; i < db.GetDeviceCount(); ++i)
      found |= p.test(db.GetDevice(i)->GetFamily()) != 0;
    EXPECT_TRUE(found) << "no device of the " << p.name << " family";
  }
  bool jtag = false, code_22v10 = false, helvar = false, sarn = false;
  for (int i = 0; i < db.GetDeviceCount(); ++i) {
    const DeviceInfo& d = *db.GetDevice(i);
    jtag |= std::string(d.GetFamily()) == "GenericJTAG" && d.GetIDLength() == 32;
    code_22v10 |= std::string(d.GetCodeName()) == "22V10";
    helvar |= std::string(d.GetVendor()) == "Helvar";
    sarn |= std::string(d.GetFamily()) == "ispSarn";
  }
  EXPECT_TRUE(jtag && code_22v10 && helvar && sarn);
}

TEST(DefaultDatabase, RecordsReadAsWritten) {
  DeviceDatabase db;
  ASSERT_EQ(db.LoadDefault(), 0);
  const DeviceInfo* d = db.FindDevice("fd2-2000");  // names are found without regard to case
  ASSERT_NE(d, nullptr);
  EXPECT_STREQ(d->GetName(), "FD2-2000");
  EXPECT_EQ(d->GetjtagDeviceID(), 0x012D3043u);
  EXPECT_EQ(d->GetFuseNumber(), 33920u);
  EXPECT_EQ(d->GetPadringCount(), 2);
  EXPECT_STREQ(d->GetPadring(0), "2176");
  EXPECT_STREQ(d->GetPadring(2), "");
  const Package* package = d->GetDevicePackage()->GetPackage("TQFP100");
  ASSERT_NE(package, nullptr);
  EXPECT_STREQ(package->GetJDF(), "fd22000tg100.jdf");
  EXPECT_EQ(d->GetDevicePackage()->GetPackage("BGA256"), nullptr);
  EXPECT_EQ(db.FindDevice("no such device"), nullptr);
}

TEST(DeviceInfo, TemporaryGeometryIsRestored) {
  DeviceDatabase db;
  ASSERT_EQ(db.LoadDefault(), 0);
  DeviceInfo d = *db.FindDevice("QL256");
  d.SetAddressLength(7);
  d.SetDataLength(8);
  d.SetFuseNumber(56);
  d.SetAddressLength(9);  // a second change keeps the first backup
  d.SetARCHLength(3);
  d.RestoreDeviceBackupValue();
  EXPECT_EQ(d.GetAddressLength(), 100u);
  EXPECT_EQ(d.GetDataLength(), 64u);
  EXPECT_EQ(d.GetFuseNumber(), 6400u);
  EXPECT_EQ(d.GetARCHLength(), 0u);
  d.RestoreDeviceBackupValue();  // nothing pending: no change
  EXPECT_EQ(d.GetAddressLength(), 100u);
}

TEST(DeviceInfo, HandFilledRecordRestoresToItsSavedValues) {
  DeviceInfo d;
  d.SetName("custom");
  d.SetAddressLength(10);
  d.SetDataLength(16);
  d.SaveDeviceBackupValue();
  d.SetAddressLength(20);
  d.RestoreDeviceBackupValue();
  EXPECT_EQ(d.GetAddressLength(), 10u);
  EXPECT_EQ(d.GetDataLength(), 16u);
  const DeviceInfo copy = d;  // records are values
  EXPECT_STREQ(copy.GetName(), "custom");
}

// One valid database; each case changes one thing in it.
const std::string kBase = R"({"format": "fusekit-devices", "version": 1, "devices": [
  {"name": "A1", "family": "CorvaneOrlan", "fuse_number": 100, "jtag_device_id": "0x012B2043",
   "id_length": 32, "padring": [5, "7"], "packages": [{"type": "QFN32", "jdf": "a1.jdf"}],
   "control_ebr": [1, 2]}]})";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(DatabaseLoader, RejectsWhatIsNotADatabase) {
  const struct {
    std::string text;
    const char* error_mentions;
  } cases[] = {
      {Replace(kBase, "\"fuse_number\"", "\"fuse_count\""), "fuse_count"},
      {Replace(kBase, "100", "-1"), "fuse_number"},
      {Replace(kBase, "100", "1.5"), "fuse_number"},
      {Replace(kBase, "100", "\"12z\""), "12z"},
      {Replace(kBase, "100", "4294967296"), "fuse_number"},
      {Replace(kBase, "\"id_length\": 32", "\"id_length\": 65536"), "id_length"},
      {Replace(kBase, "\"name\": \"A1\", ", ""), "name"},
      {Replace(kBase, "\"family\": \"CorvaneOrlan\", ", ""), "family"},
      {Replace(kBase, "\"A1\"", "7"), "name"},
      {Replace(kBase, "\"version\": 1", "\"version\": 2"), "version"},
      {Replace(kBase, "fusekit-devices", "other"), "format"},
      {Replace(kBase, "[5, \"7\"]", "[5, true]"), "padring[1]"},
      {Replace(kBase, "\"type\": \"QFN32\", ", ""), "type"},
      {Replace(kBase, "\"jdf\"", "\"jdff\""), "jdff"},
      {Replace(kBase, "]}]}", "]}, {\"name\": \"a1\", \"family\": \"X\"}]}"), "twice"},
      {Replace(kBase, "\"devices\": [", "\"devices\": {"), "JSON"},
      {kBase.substr(0, kBase.size() / 2), "JSON"},
      {std::string(100, '[') + std::string(100, ']'), "nested"},
      {Replace(kBase, "\"version\": 1", "\"version\": 1, \"bitstream_commands\": []"),
       "bitstream_commands"},
      {Replace(kBase, "\"version\": 1", "\"version\": 1, \"bitstream_commands\": {\"X\": [1]}"),
       "bitstream_commands.X[0]"},
      {"", "JSON"},
  };
  for (const auto& c : cases) {
    DeviceDatabase db;
    ASSERT_EQ(db.LoadText(kBase.data(), kBase.size()), 0) << db.GetLastError();
    EXPECT_EQ(db.LoadText(c.text.data(), c.text.size()), -30) << c.text;
    EXPECT_NE(std::string(db.GetLastError()).find(c.error_mentions), std::string::npos)
        << db.GetLastError();
    EXPECT_EQ(db.GetDeviceCount(), 1) << "a failed load keeps the records held";
  }
}

TEST(DatabaseLoader, ReadsNumbersInEveryForm) {
  DeviceDatabase db;
  ASSERT_EQ(db.LoadText(kBase.data(), kBase.size()), 0) << db.GetLastError();
  const DeviceInfo& d = *db.GetDevice(0);
  EXPECT_EQ(d.GetjtagDeviceID(), 0x012B2043u);
  EXPECT_STREQ(d.GetPadring(1), "7");
  EXPECT_EQ(d.GetlistControlEBR().size(), 2u);
  EXPECT_EQ(d.GetlistControlEBR()[1], 2u);
  EXPECT_EQ(d.GetDevicePackage()->GetPackageCount(), 1);
}

// The command tables of the bitstream model go to the records of their family, else "default".
TEST(DatabaseLoader, BitstreamCommandTablesByFamily) {
  const std::string text = Replace(
      kBase, "\"version\": 1",
      "\"version\": 1, \"bitstream_commands\": {\"CorvaneOrlan\": [\"41 Data Frame: Data=frame\", "
      "\"79 Done\"], \"default\": [\"42 eDataFrame: Data=frame\"]}");
  DeviceDatabase db;
  ASSERT_EQ(db.LoadText(text.data(), text.size()), 0) << db.GetLastError();
  EXPECT_STREQ(db.GetDevice(0)->GetBitstreamCommands(), "41 Data Frame: Data=frame\n79 Done\n");
  DeviceDatabase builtin;
  ASSERT_EQ(builtin.LoadDefault(), 0);
  EXPECT_NE(std::string(builtin.FindDevice("VK-100")->GetBitstreamCommands()).find("61 Data Frame"),
            std::string::npos);
  EXPECT_NE(std::string(builtin.FindDevice("TV64")->GetBitstreamCommands()).find("41 Data Frame"),
            std::string::npos);
}

TEST(DatabaseLoader, Files) {
  fusekit::testing::TempDir dir;
  DeviceDatabase db;
  EXPECT_EQ(db.LoadFile(dir.Path("missing.json").c_str()), -2);
  EXPECT_EQ(db.LoadFile(dir.Write("db.json", kBase).c_str()), 0);
  EXPECT_EQ(db.GetDeviceCount(), 1);
  EXPECT_EQ(db.LoadFile(dir.Write("bad.json", "{").c_str()), -30);
}

}  // namespace
