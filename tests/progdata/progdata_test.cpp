// The programming-data container: fields by name and index, rows from 1, the cursor, flags.
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"

namespace {

TEST(SVFPlusData, FieldsByNameAndIndex) {
  SVFPlusData data;
  EXPECT_EQ(data.GetDataFieldCount(), 0);
  EXPECT_EQ(data.GetDataField("FuseArray_TDI"), nullptr);
  const char* names[] = {"FuseArray_TDI", "Usercode_TDI", "ID"};
  for (const char* name : names) data.AddDataField()->SetFieldName(name);
  ASSERT_EQ(data.GetDataFieldCount(), 3);
  EXPECT_STREQ(data.GetDataField(0)->GetFieldName(), "FuseArray_TDI");
  EXPECT_STREQ(data.GetDataField(2)->GetFieldName(), "ID");
  EXPECT_EQ(data.GetDataField(3), nullptr);
  EXPECT_EQ(data.GetDataField(-1), nullptr);
  EXPECT_EQ(data.GetDataField("Usercode_TDI"), data.GetDataField(1));
  EXPECT_EQ(data.GetDataField("usercode_tdi"), nullptr);  // names keep their case
  EXPECT_EQ(data.GetDataField(static_cast<const char*>(nullptr)), nullptr);

  EXPECT_TRUE(data.DeleteDataField("Usercode_TDI"));
  EXPECT_FALSE(data.DeleteDataField("Usercode_TDI"));
  EXPECT_EQ(data.GetDataFieldCount(), 2);
  EXPECT_STREQ(data.GetDataField(1)->GetFieldName(), "ID");
}

TEST(SVFDataField, RowsNumberedFromOneAndTheCursor) {
  SVFDataField field;
  EXPECT_EQ(field.GetCurrentRow(), nullptr);
  EXPECT_EQ(field.GetCurrentRowWidth(), 0u);
  KvByteBuffer* first = field.AddRow(12);
  KvByteBuffer* second = field.AddRow(64);
  EXPECT_EQ(field.GetRowCount(), 2);
  EXPECT_EQ(field.GetRow(1), first);
  EXPECT_EQ(field.GetRow(2), second);
  EXPECT_EQ(field.GetRow(0), nullptr);
  EXPECT_EQ(field.GetRow(3), nullptr);
  EXPECT_EQ(field.GetRowWidth(1), 12u);

  EXPECT_EQ(field.GetCurrentRowWidth(), 12u);
  EXPECT_EQ(field.GetCurrentRow(), first);
  EXPECT_EQ(field.GetCurrentRowWidth(), 64u);
  EXPECT_EQ(field.GetCurrentRow(), second);
  EXPECT_EQ(field.GetCurrentRow(), nullptr);
  field.ResetRowPointer();
  EXPECT_EQ(field.GetCurrentRow(), first);
}

// Rows of every width keep their own bytes: neighbours filled to their widths, a row that grows
// past its width, a copy that outlives the field, and rows far wider than they are filled.
TEST(SVFDataField, RowsOfManyWidthsKeepTheirBytes) {
  std::vector<KvByteBuffer> copies;
  {
    SVFDataField field;
    const unsigned widths[] = {8, 128, 136, 8000, 256, 1 << 20, 8 * 70000, 4000};
    std::vector<KvByteBuffer*> rows;
    for (int round = 0; round < 40; ++round) {
      for (const unsigned width : widths) rows.push_back(field.AddRow(width));
    }
    for (std::size_t r = 0; r < rows.size(); ++r) {
      const unsigned width = field.GetRowWidth(static_cast<int>(r + 1));
      const std::size_t bytes = width > 8 * 4096 ? 3 : (width + 7) / 8;
      for (std::size_t i = 0; i < bytes; ++i)
        ASSERT_EQ(rows[r]->WriteData(static_cast<unsigned char>(r + i)), 1);
    }
    // The third row grows past its width: it moves, its neighbours stay.
    for (int i = 0; i < 100; ++i) rows[2]->WriteData(0xEE);
    for (std::size_t r = 0; r < rows.size(); ++r) {
      const unsigned width = field.GetRowWidth(static_cast<int>(r + 1));
      const std::size_t bytes = width > 8 * 4096 ? 3 : (width + 7) / 8;
      ASSERT_EQ(rows[r]->GetTotalSize(), bytes + (r == 2 ? 100 : 0)) << r;
      for (std::size_t i = 0; i < bytes; ++i)
        ASSERT_EQ(rows[r]->ReadData(static_cast<int>(i)), static_cast<unsigned char>(r + i)) << r;
    }
    EXPECT_EQ(rows[2]->ReadData(static_cast<int>(17 + 99)), 0xEE);
    copies.push_back(*rows[3]);
    copies.push_back(KvByteBuffer());
    copies.back() = *rows[1];
  }
  ASSERT_EQ(copies[0].GetTotalSize(), 1000u);
  EXPECT_EQ(copies[0].ReadData(999), static_cast<unsigned char>(3 + 999));
  ASSERT_EQ(copies[1].GetTotalSize(), 16u);
  EXPECT_EQ(copies[1].ReadData(15), 16);
}

TEST(SVFDataField, CalculateDataCrcIgnoresTheCursor) {
  SVFDataField field;
  KvByteBuffer* row = field.AddRow(16);
  row->WriteData(0x12);
  row->WriteData(0x34);
  const unsigned crc = field.CalculateDataCRC();
  EXPECT_EQ(crc, 0x2C48u);
  field.GetCurrentRow();
  EXPECT_EQ(field.CalculateDataCRC(), crc);
}

}  // namespace
