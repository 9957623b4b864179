// The programming-data container: fields by name and index, rows from 1, the cursor, flags.
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
