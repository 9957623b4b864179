// Worked values of the data CRC, the device CRC-16s and the CCITT trio.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"

namespace {

struct RowSpec {
  unsigned width;
  std::vector<unsigned char> bytes;
};

SVFDataField* AddField(SVFPlusData& data, const char* name, const std::vector<RowSpec>& rows) {
  SVFDataField* field = data.AddDataField();
  field->SetFieldName(name);
  for (const RowSpec& layout : rows) {
    KvByteBuffer* row = field->AddRow(layout.width);
    for (unsigned char b : layout.bytes) row->WriteData(b);
  }
  return field;
}

std::string DataCrcText(SVFDataField* a, SVFDataField* b = nullptr, SVFDataField* c = nullptr) {
  char text[16];
  std::memset(text, 'x', sizeof text);
  GetDataCRC(nullptr, a, b, c, true, text);
  return text;
}

TEST(DataCrc, WorkedValues) {
  struct Case {
    const char* what;
    std::vector<RowSpec> rows;
    const char* expected;
  };
  const Case cases[] = {
      {"width 8 holding 0x01", {{8, {0x01}}}, "00000080"},
      {"width 16 holding 0x12 0x34", {{16, {0x12, 0x34}}}, "00002C48"},
      {"width 12 holding 0x0F 0xFF", {{12, {0x0F, 0xFF}}}, "00000FFF"},
      {"width 32 then width 8", {{32, {0x00, 0x00, 0x00, 0x80}}, {8, {0x01}}}, "04C11D37"},
  };
  for (const Case& c : cases) {
    SVFPlusData data;
    SVFDataField* field = AddField(data, "FuseArray_TDI", c.rows);
    EXPECT_EQ(DataCrcText(field), c.expected) << c.what;
    EXPECT_EQ(GetBlockCRCRegister(), std::stoul(c.expected, nullptr, 16)) << c.what;
    EXPECT_EQ(field->CalculateDataCRC(), std::stoul(c.expected, nullptr, 16)) << c.what;
  }
}

TEST(DataCrc, AllFieldsNullGivesZero) {
  EXPECT_EQ(DataCrcText(nullptr, nullptr, nullptr), "00000000");
  EXPECT_EQ(GetBlockCRCRegister(), 0u);
}

TEST(DataCrc, RegisterCarriesAcrossFieldsInArgumentOrder) {
  // The two-row worked value split over two fields gives the same CRC; swapped it does not.
  SVFPlusData data;
  SVFDataField* high = AddField(data, "A", {{32, {0x00, 0x00, 0x00, 0x80}}});
  SVFDataField* low = AddField(data, "B", {{8, {0x01}}});
  EXPECT_EQ(DataCrcText(nullptr, high, low), "04C11D37");
  high->ResetRowPointer();
  low->ResetRowPointer();
  EXPECT_NE(DataCrcText(low, high), "04C11D37");
}

TEST(DataCrc, StartsFromTheCursorWithoutResettingIt) {
  SVFPlusData data;
  SVFDataField* field = AddField(data, "F", {{8, {0x01}}, {8, {0x02}}});
  EXPECT_EQ(DataCrcText(field), "00008040");
  EXPECT_EQ(DataCrcText(field), "00000000");  // the first call left the cursor at the end
  field->ResetRowPointer();
  field->GetCurrentRow();  // skip the first row: only the second is fed
  SVFPlusData single;
  EXPECT_EQ(DataCrcText(field), DataCrcText(AddField(single, "G", {{8, {0x02}}})));
}

TEST(DataCrc, WidthDecidesHowManyBitsAreFed) {
  // Width 4 of a three-byte row feeds only the low nibble of the last byte, bit 0 first (so
  // 1010 arrives as 0101); a width beyond the bytes feeds each bit once and nothing more.
  SVFPlusData data;
  SVFDataField* narrow = AddField(data, "N", {{4, {0xFF, 0xFF, 0x0A}}});
  SVFDataField* nibble = AddField(data, "M", {{4, {0x0A}}});
  EXPECT_EQ(DataCrcText(narrow), "00000005");
  EXPECT_EQ(DataCrcText(nibble), "00000005");
  SVFDataField* wide = AddField(data, "W", {{40, {0x12, 0x34}}});
  SVFDataField* exact = AddField(data, "E", {{16, {0x12, 0x34}}});
  EXPECT_EQ(DataCrcText(wide), DataCrcText(exact));
}

TEST(DataCrc, FormatFalseWritesNoText) {
  SVFPlusData data;
  SVFDataField* field = AddField(data, "F", {{8, {0x01}}});
  char text[16] = "untouched";
  GetDataCRC(nullptr, field, nullptr, nullptr, false, text);
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(GetBlockCRCRegister(), 0x80u);
}

TEST(DeviceCrc16, WorkedValues) {
  const std::vector<unsigned char> digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(GetVandi_CRC16(digits), 0x5118);
  EXPECT_EQ(GetVandi_CRC16({0x00}), 0x02FD);
  EXPECT_EQ(GetVandi_CRC16({0xFF}), 0x00FF);
  EXPECT_EQ(GetVandi_CRC16({}), 0x0000);  // the initial value is not complemented

  std::vector<unsigned char> bytes = digits;
  char text[17];
  EXPECT_EQ(GetNix_CRC16(bytes.data(), 9, text), 0);
  EXPECT_STREQ(text, "0010100110110001");
  EXPECT_EQ(GetNix_CRC16(bytes.data(), 0, text), 0);
  EXPECT_STREQ(text, "1111111111111111");
}

TEST(CcittTrio, CheckValueAndNoResetOnRead) {
  init_crc_ccitt();
  char digits[] = "123456789";
  for (int i = 0; i < 9; ++i) get_crc_ccitt(&digits[i], false);
  EXPECT_EQ(return_crc_ccitt(), 0x29B1);
  EXPECT_EQ(return_crc_ccitt(), 0x29B1);
  init_crc_ccitt();
  EXPECT_EQ(return_crc_ccitt(), 0xFFFF);
}

TEST(Exor, OneWhenDifferent) {
  EXPECT_EQ(Exor(0, 0), 0);
  EXPECT_EQ(Exor(1, 1), 0);
  EXPECT_EQ(Exor(0, 1), 1);
  EXPECT_EQ(Exor(1, 0), 1);
  EXPECT_EQ(Exor('a', 'b'), 1);
}

}  // namespace
