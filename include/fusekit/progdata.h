// Programming data: the in-memory model that every reader fills and every writer reads.
#ifndef FUSEKIT_PROGDATA_H
#define FUSEKIT_PROGDATA_H

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "fusekit/export.h"
#include "fusekit/util.h"

// One named data field ("FuseArray_TDI", "Usercode_TDI", ...): an ordered list of rows, each
// created with a declared width in bits, and a cursor for reading the rows in order.
class FUSEKIT_API SVFDataField {
 public:
  SVFDataField();
  SVFDataField(const SVFDataField&) = delete;
  SVFDataField& operator=(const SVFDataField&) = delete;
  virtual ~SVFDataField();

  void SetFieldName(const char* name);
  const char* GetFieldName() const;

  // Appends an empty row of the given declared width; null when memory runs out.
  KvByteBuffer* AddRow(unsigned int widthBits);
  // Rows are numbered from 1; null outside 1..GetRowCount().
  KvByteBuffer* GetRow(int index) const;
  // Declared width of row index (numbered from 1), 0 outside the field.
  unsigned int GetRowWidth(int index) const;
  int GetRowCount() const;

  void ResetRowPointer();
  // The row at the cursor, advancing the cursor; null past the last row.
  KvByteBuffer* GetCurrentRow();
  // Declared width of the row at the cursor, 0 past the last row.
  unsigned int GetCurrentRowWidth() const;

  // 32-bit data CRC over every row of the field, from the first (the cursor is not used).
  unsigned int CalculateDataCRC() const;

 private:
  // Rows live in a deque, which keeps them in place as more are added, without an allocation
  // per row; their widths beside them. No standard-library template is instantiated over a
  // type nested in this class (such instantiations would be exported with it).
  // Rows wider than a row holds inside itself get their bytes from blocks of the field, which
  // grow geometrically, instead of an allocation each.
  unsigned char* LendRowStorage(std::size_t bytes);

  std::string name_;
  std::deque<KvByteBuffer> rows_;
  std::vector<unsigned int> widths_;  // declared width in bits of each row
  std::size_t cursor_;                // index of the next row GetCurrentRow hands out
  std::vector<std::unique_ptr<unsigned char[]>> blocks_;  // storage lent to rows
  unsigned char* block_at_ = nullptr;                     // the next free byte of the last block
  std::size_t block_free_ = 0;                            // bytes left in the last block
  std::size_t next_block_ = 0;                            // size of the block to come
};

// The container: an ordered list of data fields, a comment and the flags readers set.
class FUSEKIT_API SVFPlusData {
 public:
  SVFPlusData();
  SVFPlusData(const SVFPlusData&) = delete;
  SVFPlusData& operator=(const SVFPlusData&) = delete;
  virtual ~SVFPlusData();

  // Appends a new empty field owned by the container; null when memory runs out.
  SVFDataField* AddDataField();
  // First field of that name, or null.
  SVFDataField* GetDataField(const char* name) const;
  // Fields are numbered from 0 in the order they were added; null outside.
  SVFDataField* GetDataField(int index) const;
  int GetDataFieldCount() const;
  // Removes the first field of that name; true when one was removed.
  bool DeleteDataField(const char* name);

  void SetComment(const char* text);
  const char* GetComment() const;

  void SetSecurity(int value);
  int GetSecurity() const;
  void SetEncrypted(bool value);
  bool GetEncrypted() const;
  void SetFirmware(bool value);
  bool GetFirmware() const;
  void SetEBRLoc(int value);
  int GetEBRLoc() const;
  void SetTAGLoc(int value);
  int GetTAGLoc() const;
  void SetEndDataLoc(int value);
  int GetEndDataLoc() const;
  void SetFlashA(bool value);
  bool GetFlashA() const;
  void SetFlashB(bool value);
  bool GetFlashB() const;
  void SetFlashC(bool value);
  bool GetFlashC() const;
  void SetFlashCUFM2(bool value);
  bool GetFlashCUFM2() const;
  void SetFlashCUFM3(bool value);
  bool GetFlashCUFM3() const;
  void SetUFMA(bool value);
  bool GetUFMA() const;
  void SetUFMB(bool value);
  bool GetUFMB() const;
  void SetUFMC(bool value);
  bool GetUFMC() const;
  void SetUFM0(bool value);
  bool GetUFM0() const;
  void SetUFM1(bool value);
  bool GetUFM1() const;

 private:
  std::vector<std::unique_ptr<SVFDataField>> fields_;
  std::string comment_;
  int security_ = 0;
  bool encrypted_ = false;
  bool firmware_ = false;
  int ebr_loc_ = 0;
  int tag_loc_ = 0;
  int end_data_loc_ = 0;
  bool flash_a_ = false;
  bool flash_b_ = false;
  bool flash_c_ = false;
  bool flash_c_ufm2_ = false;
  bool flash_c_ufm3_ = false;
  bool ufm_a_ = false;
  bool ufm_b_ = false;
  bool ufm_c_ = false;
  bool ufm0_ = false;
  bool ufm1_ = false;
};

// Compares programming data read from a device (or from one file) with the data meant to be
// programmed (from another, of any format), for one device: each field of the reference that
// read also holds, row by row and bit by bit under the "_MASK" field of its array where one
// exists; fields in one only are listed, not counted, and "ID" is passed over; the security flag
// counts as one bit. Writes the report to reportFile (docs/compare.md). Result: the number of
// differing bits; -2 fields of one name whose rows differ in count or width (the cause is in the
// report); -6 a null argument; -19 the report could not be written whole.
FUSEKIT_API int SVFPlusDataCompare(SVFPlusData* read, SVFPlusData* reference,
                                   const char* reportFile);

#endif  // FUSEKIT_PROGDATA_H
