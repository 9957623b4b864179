// The host's device record through the conversions: a record filled by hand, the same record
// saved, and a copy of the database's record give the same programming data, call after call,
// and each comes back exactly as it was passed.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

const std::string kSamples = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/";

DeviceInfo DatabaseCopy(const char* name) {
  DeviceDatabase database;
  EXPECT_EQ(database.LoadDefault(), 0);
  const DeviceInfo* found = database.FindDevice(name);
  EXPECT_NE(found, nullptr);
  return found != nullptr ? *found : DeviceInfo();
}

// What a host without the database builds: every value set by hand, no save.
DeviceInfo HandFilled(const DeviceInfo& from) {
  DeviceInfo d;
  d.SetName(from.GetName());
  d.SetFamily(from.GetFamily());
  d.SetCodeName(from.GetCodeName());
  d.SetVendor(from.GetVendor());
  d.SetPON(from.GetPON());
  d.SetBitstreamCommands(from.GetBitstreamCommands());
  d.SetAddressLength(from.GetAddressLength());
  d.SetDataLength(from.GetDataLength());
  d.SetFuseNumber(from.GetFuseNumber());
  d.SetARCHLength(from.GetARCHLength());
  d.SetARCHRow(from.GetARCHRow());
  d.SetELength(from.GetELength());
  d.SetERow(from.GetERow());
  d.SetIDLength(from.GetIDLength());
  d.SetjtagDeviceID(from.GetjtagDeviceID());
  d.SetispDeviceID(from.GetispDeviceID());
  d.SetPhysicalUESLength(from.GetPhysicalUESLength());
  d.SetjtagLogicalUESLength(from.GetjtagLogicalUESLength());
  d.SetispLogicalUESLength(from.GetispLogicalUESLength());
  d.SetjtagUESMask(from.GetjtagUESMask());
  d.SetispUESMask(from.GetispUESMask());
  d.SetDevicePackage(*from.GetDevicePackage());
  return d;
}

struct Geometry {
  unsigned rows, width, fuses, arch;
  bool operator==(const Geometry& o) const {
    return rows == o.rows && width == o.width && fuses == o.fuses && arch == o.arch;
  }
};

Geometry GeometryOf(const DeviceInfo& d) {
  return {d.GetAddressLength(), d.GetDataLength(), d.GetFuseNumber(), d.GetARCHLength()};
}

// The record's state as a host sees it: the geometry in force and the one a restore gives.
std::pair<Geometry, Geometry> StateOf(const DeviceInfo& d) {
  DeviceInfo probe = d;
  probe.RestoreDeviceBackupValue();
  return {GeometryOf(d), GeometryOf(probe)};
}

// Every field, row width and byte, and the flags, as one text.
std::string Describe(const SVFPlusData& data) {
  std::string text = "security " + std::to_string(data.GetSecurity()) + "\n";
  for (int f = 0; f < data.GetDataFieldCount(); ++f) {
    const SVFDataField* field = data.GetDataField(f);
    text += std::string(field->GetFieldName()) + ":";
    for (int r = 1; r <= field->GetRowCount(); ++r) {
      const KvByteBuffer* row = field->GetRow(r);
      text += " [" + std::to_string(row->GetDataSize()) + "]";
      for (int i = 0; i < row->GetDataSize(); ++i) text += std::to_string(row->ReadData(i)) + ",";
    }
    text += "\n";
  }
  return text;
}

// An ISC file without what follows the clock: its creation date line and the file checksum
// after the closing parenthesis, which covers the date.
std::string WithoutDate(const std::string& text) {
  std::string out;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    const bool date = line.find("Creation_Date") != std::string::npos;
    const bool checksum =
        line.size() == 4 && line.find_first_not_of("0123456789ABCDEF") == std::string::npos;
    if (!date && !checksum) out += line + "\n";
    start = end + 1;
  }
  return out;
}

using Conversion = std::function<std::string(DeviceInfo&, const TempDir&)>;

std::string Read(int (*reader)(char*, DeviceInfo*, int, SVFPlusData*, char*, char*, char*),
                 const std::string& file, DeviceInfo& device) {
  SVFPlusData data;
  std::string name = file;
  const int status = reader(name.data(), &device, 0, &data, nullptr, nullptr, nullptr);
  return "status " + std::to_string(status) + "\n" + Describe(data);
}

std::string ReadJedec(const std::string& file, DeviceInfo& device) {
  SVFPlusData data;
  std::string name = file;
  const int status =
      JEDEC2SVFPlus(name.data(), &device, 1, &data, nullptr, nullptr, nullptr, nullptr);
  return "status " + std::to_string(status) + "\n" + Describe(data);
}

std::string ReadBitstream(bool ascii, const std::string& file, DeviceInfo& device) {
  SVFPlusData data;
  std::string name = file;
  char crc[64] = "";
  const int status =
      ascii ? RBT2SVFPlus(name.data(), &device, 0, &data, nullptr, nullptr, nullptr, crc)
            : BIT2SVFPlus(name.data(), &device, 0, &data, nullptr, nullptr, nullptr, crc);
  return "status " + std::to_string(status) + " crc " + crc + "\n" + Describe(data);
}

std::string BitstreamToIsc(bool ascii, const std::string& file, DeviceInfo& device,
                           const TempDir& dir) {
  std::string source = file;
  std::string out = dir.Path("out.isc");
  char entity[] = "TV64";
  const int status = (ascii ? RBT2ISC : BIT2ISC)(source.data(), &device, 0, nullptr, nullptr,
                                                 nullptr, nullptr, entity, out.data(), 0, "test");
  // A written file's status is its checksum, which follows the date too.
  return (status >= 0 ? std::string("written") : "status " + std::to_string(status)) + "\n" +
         WithoutDate(ReadFile(out));
}

TEST(DeviceRecord, ConversionsGiveTheSameDataOnEveryKindOfRecordAndLeaveItAsPassed) {
  TempDir dir;
  const std::string jed = kSamples + "tv64.jed";
  const std::string bit = kSamples + "tv64.bit";
  const std::string rbt = dir.Path("tv64.rbt");
  ASSERT_EQ(XFPGenerateBitstream::ConvertForm(bit.c_str(), rbt.c_str()), 0);
  const std::string image = dir.Write("image.bin", std::string("\x12\x34\x56\x78\x9A", 5));

  const struct {
    const char* name;
    Conversion run;
  } conversions[] = {
      {"JEDEC2SVFPlus", [&](DeviceInfo& d, const TempDir&) { return ReadJedec(jed, d); }},
      {"BIT2SVFPlus", [&](DeviceInfo& d, const TempDir&) { return ReadBitstream(false, bit, d); }},
      {"RBT2SVFPlus", [&](DeviceInfo& d, const TempDir&) { return ReadBitstream(true, rbt, d); }},
      {"BIN2SVFPlus", [&](DeviceInfo& d, const TempDir&) { return Read(BIN2SVFPlus, image, d); }},
      {"Firmware2SVFPlus",
       [&](DeviceInfo& d, const TempDir&) { return Read(Firmware2SVFPlus, image, d); }},
      {"BIT2ISC",
       [&](DeviceInfo& d, const TempDir& t) { return BitstreamToIsc(false, bit, d, t); }},
      {"RBT2ISC", [&](DeviceInfo& d, const TempDir& t) { return BitstreamToIsc(true, rbt, d, t); }},
  };
  const DeviceInfo database = DatabaseCopy("TV64");
  DeviceInfo saved = HandFilled(database);
  saved.SaveDeviceBackupValue();
  for (const auto& conversion : conversions) {
    SCOPED_TRACE(conversion.name);
    DeviceInfo from_database = database;
    const std::string expected = conversion.run(from_database, dir);
    EXPECT_NE(expected.rfind("status -", 0), 0u) << expected.substr(0, 200);
    // Programming data carries "ID" (a firmware image has none); an ISC file its usercode.
    if (std::string(conversion.name) != "Firmware2SVFPlus") {
      EXPECT_TRUE(expected.find("\nID:") != std::string::npos ||
                  expected.find("usercode") != std::string::npos)
          << expected.substr(0, 400);
    }
    DeviceInfo kinds[] = {database, HandFilled(database), saved};
    for (DeviceInfo& record : kinds) {
      const auto before = StateOf(record);
      EXPECT_EQ(conversion.run(record, dir), expected);
      EXPECT_EQ(conversion.run(record, dir), expected) << "the second call on one record";
      EXPECT_EQ(StateOf(record), before);
    }
  }
}

TEST(DeviceRecord, AHostsPendingChangeStaysPendingThroughACall) {
  // The host widens the rows for its own use and means to restore them later.
  DeviceInfo device = DatabaseCopy("TV64");
  device.SetDataLength(8);
  TempDir dir;
  const std::string file = dir.Write("one.bin", std::string("\x81\x42", 2));
  SVFPlusData data;
  std::string name = file;
  ASSERT_EQ(BIN2SVFPlus(name.data(), &device, 0, &data, nullptr, nullptr, nullptr), 0);
  // The rows were built with the host's width, and "ID" follows them.
  ASSERT_NE(data.GetDataField("FuseArray_TDI"), nullptr);
  EXPECT_EQ(data.GetDataField("FuseArray_TDI")->GetRowCount(), 2);
  EXPECT_NE(data.GetDataField("ID"), nullptr);
  EXPECT_EQ(device.GetDataLength(), 8u);
  std::string jed = kSamples + "tv64.jed";
  SVFPlusData from_jedec;
  EXPECT_EQ(JEDEC2SVFPlus(jed.data(), &device, 1, &from_jedec, nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(device.GetDataLength(), 8u);
  device.RestoreDeviceBackupValue();
  EXPECT_EQ(device.GetDataLength(), 96u) << "the host's own restore still undoes its change";
}

TEST(DeviceRecord, BinaryImageOnAOneRowRecordAddsTheIdFromTheRowsItBuilt) {
  // A hand-filled record of one address whose width the host set: rows of that width, then ID.
  DeviceInfo device;
  device.SetFamily("TestFamily");
  device.SetAddressLength(1);
  device.SetFuseNumber(16);
  device.SetIDLength(8);
  device.SetispDeviceID(0x5A);
  TempDir dir;
  std::string file = dir.Write("two.bin", std::string("\x01\x02\x03\x04", 4));
  SVFPlusData data;
  ASSERT_EQ(BIN2SVFPlus(file.data(), &device, 0, &data, nullptr, nullptr, nullptr), 0);
  ASSERT_NE(data.GetDataField("FuseArray_TDI"), nullptr);
  EXPECT_EQ(data.GetDataField("FuseArray_TDI")->GetRowCount(), 2);
  ASSERT_NE(data.GetDataField("ID"), nullptr);
  EXPECT_EQ(data.GetDataField("ID")->GetRow(1)->ReadData(0), 0x5A);
  EXPECT_EQ(device.GetFuseNumber(), 16u);
}

TEST(DeviceRecord, DatabaseRecordsAreReadOnlyAndAnIscReadDoesNotReachTheNextLookup) {
  TempDir dir;
  std::string jed = kSamples + "tv64.jed";
  DeviceDatabase database;
  ASSERT_EQ(database.LoadDefault(), 0);
  // A 12-row ISC file for the device: its geometry is written into the record it is read with.
  DeviceInfo half = *database.FindDevice("TV64");
  half.SetAddressLength(12);
  half.SetFuseNumber(12 * 96);
  SVFPlusData rows;
  for (int r = 0; r < 12; ++r) {
    if (r == 0) rows.AddDataField()->SetFieldName("FuseArray_TDI");
    KvByteBuffer* row = rows.GetDataField("FuseArray_TDI")->AddRow(96);
    for (int i = 0; i < 12; ++i) row->WriteData(static_cast<unsigned char>(r + i));
  }
  const std::string isc_path = dir.Path("half.isc");
  ASSERT_GE(SVFPlus2ISC(&rows, "-- twelve rows\n", isc_path.c_str(), "TV64", 0, 0, "test"), 0);
  std::string isc = isc_path;

  DeviceInfo device = *database.FindDevice("TV64");
  SVFPlusData from_isc;
  ASSERT_GE(ISC2SVFPlus(isc.data(), &device, 1, &from_isc, nullptr, nullptr, nullptr, nullptr,
                        static_cast<KvObjList*>(nullptr), nullptr, nullptr),
            0);
  EXPECT_EQ(device.GetAddressLength(), 12u) << "the file's geometry stays with the caller";
  device.RestoreDeviceBackupValue();
  EXPECT_EQ(device.GetAddressLength(), 24u) << "and the caller can undo it";

  EXPECT_EQ(database.FindDevice("TV64")->GetAddressLength(), 24u);
  DeviceInfo next = *database.FindDevice("TV64");
  SVFPlusData from_jedec;
  ASSERT_EQ(JEDEC2SVFPlus(jed.data(), &next, 1, &from_jedec, nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(from_jedec.GetDataField("FuseArray_TDI")->GetRowCount(), 24);
}

}  // namespace
