// The ISC special sections: each section's fields written by its ISCWrite...Info and read back by
// its ISCRead...Info, a file with every section read whole and compared with itself, the main
// readers still refusing the blocks they do not know, and hostile size comments.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/bitstream/bitstream_support.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_device.h"

namespace {

using namespace fusekit::testing;

using SectionWriter = int (*)(SVFPlusData*, const char*, const char*, const char*, const char*);
using SectionReader = int (*)(char*, DeviceInfo*, SVFPlusData*);

struct FieldShape {
  const char* name;
  int rows;
  unsigned width;
};

// Every field of every section, in widths that end inside a byte with one and with two digits.
const std::vector<FieldShape>& SectionFields() {
  static const std::vector<FieldShape> fields = {
      {"Control_Register_0_TDI", 1, 32}, {"Control_Register_1_TDI", 1, 32},
      {"Control_Register_0_TDO", 1, 32}, {"Control_Register_1_TDO", 1, 32},
      {"Config_Register_TDI", 1, 20},    {"UserMode_Register_TDI", 1, 7},
      {"SEDArray_TDI", 1, 32},           {"SEDArray_TDO", 1, 32},
      {"UFMArray_TDI", 3, 45},           {"UFMArray_TDO", 3, 45},
      {"UFMArray_MASK", 3, 45},          {"EBRArray_TDI", 4, 300},
      {"EBRArray_MASK", 4, 300},         {"FeatureRow_TDI", 1, 64},
      {"FeatureBits_TDI", 1, 16},
  };
  return fields;
}

// A row's bytes: a pattern of the field, row and byte, the padding bits of byte 0 set.
void AddField(SVFPlusData& data, const FieldShape& shape, unsigned seed) {
  SVFDataField* field = data.AddDataField();
  field->SetFieldName(shape.name);
  for (int r = 1; r <= shape.rows; ++r) {
    KvByteBuffer* row = field->AddRow(shape.width);
    for (unsigned i = 0; i < (shape.width + 7) / 8; ++i) {
      unsigned byte = (seed * 29 + static_cast<unsigned>(r) * 53 + i * 7) & 0xFF;
      if (i == 0 && shape.width % 8 != 0) byte |= (0xFFu << (shape.width % 8)) & 0xFF;
      row->WriteData(static_cast<unsigned char>(byte));
    }
  }
}

void AddSectionFields(SVFPlusData& data, const std::function<bool(const char*)>& wanted) {
  unsigned seed = 1;
  for (const FieldShape& shape : SectionFields()) {
    if (wanted(shape.name)) AddField(data, shape, seed);
    ++seed;
  }
}

void ExpectSameField(SVFPlusData& expected, SVFPlusData& actual, const char* name) {
  SCOPED_TRACE(name);
  SVFDataField* a = expected.GetDataField(name);
  SVFDataField* b = actual.GetDataField(name);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(a->GetRowCount(), b->GetRowCount());
  a->ResetRowPointer();
  b->ResetRowPointer();
  EXPECT_EQ(a->GetCurrentRowWidth(), b->GetCurrentRowWidth());
  for (int r = 1; r <= a->GetRowCount(); ++r) {
    EXPECT_EQ(RowBytes(expected, name, r), RowBytes(actual, name, r)) << "row " << r;
  }
}

bool StartsWith(const char* name, const char* prefix) {
  return std::string(name).rfind(prefix, 0) == 0;
}

TEST(IscSections, EachSectionRoundTripsThroughItsWriterAndReader) {
  struct Case {
    const char* section;
    SectionWriter write;
    SectionReader read;
    std::function<bool(const char*)> holds;
  };
  const std::vector<Case> cases = {
      {"control", ISCWriteControlInfo, ISCReadControlInfo,
       [](const char* n) {
         return StartsWith(n, "Control_") || StartsWith(n, "Config_") || StartsWith(n, "UserMode_");
       }},
      {"sed", ISCWriteSEDInfo, ISCReadSEDInfo, [](const char* n) { return StartsWith(n, "SED"); }},
      {"ufm", ISCWriteUFMInfo, ISCReadUFMInfo, [](const char* n) { return StartsWith(n, "UFM"); }},
      {"ebr", ISCWriteEBRInfo, ISCReadEBRInfo, [](const char* n) { return StartsWith(n, "EBR"); }},
      {"feature", ISCWriteFeatureInfo, ISCReadFeatureInfo,
       [](const char* n) { return StartsWith(n, "Feature"); }},
  };
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.section);
    SVFPlusData data;
    AddSectionFields(data, [](const char*) { return true; });  // every section: others stay out
    const std::string path = dir.Path(std::string(c.section) + ".isc");
    const int checksum = c.write(&data, "-- section\n", path.c_str(), "T", "fusekit test");
    ASSERT_GE(checksum, 0);
    ISCSummary summary;
    ASSERT_EQ(GetISCSummary(path.c_str(), &summary), 0);
    EXPECT_EQ(summary.storedFileChecksum, checksum);
    EXPECT_EQ(summary.computedFileChecksum, checksum);

    int expected_blocks = 0;
    for (const FieldShape& shape : SectionFields()) expected_blocks += c.holds(shape.name);
    EXPECT_EQ(static_cast<int>(summary.blocks.size()), expected_blocks);

    SVFPlusData back;
    std::string name = path;
    EXPECT_EQ(c.read(name.data(), &device, &back), expected_blocks);
    EXPECT_EQ(back.GetDataFieldCount(), expected_blocks);  // no "ID", nothing of other sections
    for (const FieldShape& shape : SectionFields()) {
      if (c.holds(shape.name)) ExpectSameField(data, back, shape.name);
    }
    // Reading again replaces the fields: never two of one name.
    EXPECT_EQ(c.read(name.data(), &device, &back), expected_blocks);
    EXPECT_EQ(back.GetDataFieldCount(), expected_blocks);
    // A file of another section holds none of this one's.
    SVFPlusData none;
    AddField(none, {"EBRArray_TDI", 1, 8}, 1);
    const int none_status = c.write(&none, nullptr, dir.Path("none.isc").c_str(), "T", "x");
    if (c.write == ISCWriteEBRInfo) {
      EXPECT_GE(none_status, 0);
    } else {
      EXPECT_EQ(none_status, -3) << "a section the data does not hold writes no file";
    }
  }
}

TEST(IscSections, SecuritySectionIsTheOverrideLine) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  for (const int secured : {1, 0}) {
    SCOPED_TRACE(secured);
    SVFPlusData data;
    data.SetSecurity(secured);
    const std::string path = dir.Path("security.isc");
    ASSERT_GE(ISCWriteSecurityInfo(&data, nullptr, path.c_str(), "T", "me"), 0);
    const std::string text = ReadFile(path);
    EXPECT_NE(text.find("\t\t\t\tEntity \tT\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("\toverride proc_program_security program ON\n") != std::string::npos,
              secured == 1);
    SVFPlusData back;
    back.SetSecurity(1 - secured);
    std::string name = path;
    EXPECT_EQ(ISCReadSecurityInfo(name.data(), &device, &back), secured);
    EXPECT_EQ(back.GetSecurity(), secured);
    // The main reader never reaches the closing parenthesis through a block.
    SVFPlusData main;
    char empty[] = "";
    EXPECT_EQ(ISC2SVFPlus(name.data(), &device, 1, &main, "", empty, "", empty,
                          static_cast<KvObjList*>(nullptr), nullptr, nullptr),
              -2);
  }
  EXPECT_EQ(ISCWriteSecurityInfo(nullptr, nullptr, dir.Path("n.isc").c_str(), "T", "me"), -3);
}

TEST(IscSections, WholeFileReadsBackWholeAndComparesEqualWithItself) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  device.SetSEDLength(32);
  device.SaveDeviceBackupValue();
  SVFPlusData data;
  AddField(data, {"FuseArray_TDI", 4, 20}, 90);
  AddField(data, {"Usercode_TDI", 1, 32}, 91);
  AddSectionFields(data, [](const char*) { return true; });
  data.SetSecurity(1);
  const std::string path = dir.Path("all.isc");
  ASSERT_GE(ISCWriteAllInfo(&data, "-- all\n", path.c_str(), "T", 0, "fusekit test"), 0);

  SVFPlusData back;
  std::string name = path;
  char data_crc[16] = "";
  char file_crc[16] = "";
  ASSERT_EQ(ISCReadAllInfo(name.data(), &device, &back, data_crc, file_crc), 1);
  EXPECT_EQ(back.GetSecurity(), 1);
  EXPECT_STRNE(data_crc, "");
  EXPECT_EQ(std::string(file_crc).size(), 4u);
  ExpectSameField(data, back, "FuseArray_TDI");
  ExpectSameField(data, back, "Usercode_TDI");
  for (const FieldShape& shape : SectionFields()) ExpectSameField(data, back, shape.name);
  EXPECT_NE(back.GetDataField("ID"), nullptr);

  const std::string report = dir.Path("report.txt");
  EXPECT_EQ(fnISCFileCompare(path.c_str(), path.c_str(), report.c_str()), 0) << ReadFile(report);
  // The data CRC verdicts show all eight digits of the CRC.
  ISCSummary summary;
  ASSERT_EQ(GetISCSummary(path.c_str(), &summary), 0);
  for (const ISCBlockSummary& block : summary.blocks) {
    if (!block.hasStoredCRC) continue;
    char crc[16];
    std::snprintf(crc, sizeof crc, "%.8X", block.storedCRC);
    EXPECT_NE(ReadFile(report).find(std::string("stored ") + crc + " computed " + crc + " (good)"),
              std::string::npos)
        << block.name;
  }

  // One bit of a section block flipped is one difference, named by its block.
  SVFDataField* ebr = data.GetDataField("EBRArray_TDI");
  KvByteBuffer* row = ebr->GetRow(3);
  row->WriteData(10, static_cast<unsigned char>(row->ReadData(10) ^ 0x04));
  const std::string flipped = dir.Path("flipped.isc");
  ASSERT_GE(ISCWriteAllInfo(&data, "-- all\n", flipped.c_str(), "T", 0, "fusekit test"), 0);
  EXPECT_EQ(fnISCFileCompare(flipped.c_str(), path.c_str(), report.c_str()), 1);
  EXPECT_NE(ReadFile(report).find("ebr"), std::string::npos) << ReadFile(report);

  // The main readers refuse the blocks they do not know; a section reader takes its own only.
  SVFPlusData main;
  char empty[] = "";
  EXPECT_EQ(ISC2SVFPlus(name.data(), &device, 1, &main, "", empty, "", empty,
                        static_cast<KvObjList*>(nullptr), nullptr, nullptr),
            -2);
  SVFPlusData ebr_only;
  EXPECT_EQ(ISCReadEBRInfo(name.data(), &device, &ebr_only), 2);
  EXPECT_EQ(ebr_only.GetDataFieldCount(), 2);
  ExpectSameField(back, ebr_only, "EBRArray_MASK");
  // The control reader of the specified set finds its block in the whole file too.
  SVFPlusData control;
  EXPECT_GE(CONTROLISC2SVFPlus(name.data(), &device, 1, &control, "", "", ""), 0);
  ExpectSameField(back, control, "Control_Register_1_TDI");
}

TEST(IscSections, WholeWriterWithoutSectionsWritesWhatTheMainWriterWrites) {
  TempDir dir;
  SVFPlusData data;
  AddField(data, {"FuseArray_TDI", 4, 20}, 5);
  AddField(data, {"ArchArray_TDI", 1, 12}, 6);
  AddField(data, {"Usercode_TDI", 1, 32}, 7);
  const std::string all = dir.Path("all.isc");
  const std::string main = dir.Path("main.isc");
  ASSERT_GE(ISCWriteAllInfo(&data, nullptr, all.c_str(), "T", 1, "c"), 0);
  ASSERT_GE(SVFPlus2ISC(&data, nullptr, main.c_str(), "T", 1, 0, 0, "c"), 0);
  // The creation date is the minute of writing: compare the texts without it.
  auto without_date = [](std::string text) {
    const std::size_t at = text.find("Creation_Date ");
    text.erase(at, text.find('\n', at) - at);
    return text.substr(0, text.size() - 4);  // and without the checksum that covers it
  };
  EXPECT_EQ(without_date(ReadFile(all)), without_date(ReadFile(main)));
}

TEST(IscSections, SizeCommentsDecideWidthsAndHostileOnesAreRefused) {
  TempDir dir;
  DeviceInfo device = TestDevice("TestFamily", 4, 20);
  device.SetSEDLength(12);
  device.SaveDeviceBackupValue();
  const std::string head =
      "IEEE_1532_Data (\n\tHeader\t\t(\tSTD_Version STD_1532_2001\n\t\t\t\tEntity\tT\n\t\t\t)\n";
  struct Case {
    const char* what;
    std::string block;
    SectionReader read;
    int status;
    const char* field;
    unsigned width;
  };
  const std::vector<Case> cases = {
      {"control register without a comment is 32 bits",
       " data control_register_0 (\n  initialize\n   (\n     0000ABCD\n   )\n )",
       ISCReadControlInfo, 1, "Control_Register_0_TDI", 32},
      {"SED without a comment takes the device's length",
       " data sed_crc_tdo (\n  initialize\n   (\n     ABC\n   )\n )", ISCReadSEDInfo, 1,
       "SEDArray_TDO", 12},
      {"the comment wins over the default",
       " data control_register_1 (\n  initialize\n-- ROW_WIDTH = 8\n   (\n     5A\n   )\n )",
       ISCReadControlInfo, 1, "Control_Register_1_TDI", 8},
      {"a register no length is known of",
       " data config_register (\n  initialize\n   (\n     5A\n   )\n )", ISCReadControlInfo, -16,
       nullptr, 0},
      {"a width far past what the file holds",
       " data ebr (\n  repeat\n-- ROW_WIDTH = 2000000000\n   (\n     5A\n   )\n )", ISCReadEBRInfo,
       -16, nullptr, 0},
      {"digits the width does not take",
       " data ufm (\n  repeat\n-- ROW_WIDTH = 8\n   (\n     5A5A\n   )\n )", ISCReadUFMInfo, -13,
       nullptr, 0},
      {"a block of another section is passed over unread",
       " data ufm (\n  repeat\n-- ROW_WIDTH = 8\n   (\n     XYZ\n   )\n )", ISCReadEBRInfo, 0,
       nullptr, 0},
      {"unprocessed blocks are refused",
       " unprocessed data ebr (\n  repeat\n-- ROW_WIDTH = 8\n   (\n     5A\n   )\n )",
       ISCReadEBRInfo, -2, nullptr, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::string path = dir.Write("h.isc", head + c.block + "\n)\n0000");
    SVFPlusData data;
    EXPECT_EQ(c.read(path.data(), &device, &data), c.status);
    if (c.field != nullptr) {
      SVFDataField* field = data.GetDataField(c.field);
      ASSERT_NE(field, nullptr);
      field->ResetRowPointer();
      EXPECT_EQ(field->GetCurrentRowWidth(), c.width);
    }
  }
  std::string path = dir.Write("n.isc", head + "\n)\n");
  SVFPlusData data;
  EXPECT_EQ(ISCReadEBRInfo(path.data(), nullptr, &data), -13);
  EXPECT_EQ(ISCReadEBRInfo(path.data(), &device, nullptr), -13);
}

TEST(IscSections, EbrMaskHoldsTheRowsTheEbrListingShows) {
  TempDir dir;
  DeviceInfo device = BitstreamDevice("TestFamily");
  XFPBitstreamModel model = SampleModel(device, {}, {}, 3);
  XFPBitstreamModel mask;
  mask.SetDevice(device);
  for (const unsigned char m : {0x0F, 0xF0, 0x3C}) mask.AddFrame(Frame("Data Frame", Bytes(8, m)));
  std::string bit = dir.Path("u.bit");
  const std::string msk = dir.Path("u.msk");
  ASSERT_EQ(XFPGenerateBitstream::Generate(model, bit.c_str()), 0);
  ASSERT_EQ(XFPGenerateBitstream::Generate(mask, msk.c_str()), 0);

  SVFPlusData data;
  ASSERT_EQ(WriteEBRMask(bit.data(), &device, msk.c_str(), &data), 3);
  const std::string listing_path = dir.Path("ebr.txt");
  ASSERT_EQ(fnEBRFileDisplay(bit.data(), &device, listing_path.c_str(), msk.c_str(), nullptr), 0);
  const std::string listing = ReadFile(listing_path);
  for (int r = 1; r <= 3; ++r) {
    const Bytes tdi = RowBytes(data, "EBRArray_TDI", r);
    const Bytes keep = RowBytes(data, "EBRArray_MASK", r);
    ASSERT_EQ(tdi.size(), 8u);
    ASSERT_EQ(keep.size(), 8u);
    std::string shown;
    char hex[3];
    for (std::size_t i = 0; i < tdi.size(); ++i) {
      std::snprintf(hex, sizeof hex, "%.2X", tdi[i] & keep[i]);
      shown += hex;
    }
    EXPECT_NE(listing.find("//Row" + std::to_string(r) + "\n" + shown + "\n"), std::string::npos)
        << listing;
  }
  // Written as the EBR section and read back: the same rows.
  const std::string isc = dir.Path("ebr.isc");
  ASSERT_GE(ISCWriteEBRInfo(&data, nullptr, isc.c_str(), "T", "me"), 0);
  SVFPlusData back;
  std::string name = isc;
  ASSERT_EQ(ISCReadEBRInfo(name.data(), &device, &back), 2);
  ExpectSameField(data, back, "EBRArray_TDI");
  ExpectSameField(data, back, "EBRArray_MASK");

  // Without a mask every bit is kept; a mask of fewer frames, or not a .bit, is refused.
  ASSERT_EQ(WriteEBRMask(bit.data(), &device, nullptr, &data), 3);
  EXPECT_EQ(RowBytes(data, "EBRArray_MASK", 2), Bytes(8, 0xFF));
  EXPECT_EQ(data.GetDataFieldCount(), 2);
  XFPBitstreamModel short_mask;
  short_mask.SetDevice(device);
  short_mask.AddFrame(Frame("Data Frame", Bytes(8, 0xFF)));
  const std::string short_msk = dir.Path("s.msk");
  ASSERT_EQ(XFPGenerateBitstream::Generate(short_mask, short_msk.c_str()), 0);
  EXPECT_EQ(WriteEBRMask(bit.data(), &device, short_msk.c_str(), &data), -4);
  std::string rbt = dir.Path("u.rbt");
  EXPECT_EQ(WriteEBRMask(rbt.data(), &device, nullptr, &data), -2);
  EXPECT_EQ(WriteEBRMask(bit.data(), nullptr, nullptr, &data), -13);
}

}  // namespace
