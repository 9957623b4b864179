// JEDEC2ISC: a JEDEC file converted to an ISC data file in one call, through programming data.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/crc.h"
#include "fusekit/family.h"
#include "fusekit/isc.h"
#include "fusekit/jedec.h"
#include "isc/header_builders.h"
#include "support/util/crc_engine.h"
#include "support/util/side_task.h"

namespace fusekit::isc {
namespace {

struct Reading {
  int status;
  std::unique_ptr<SVFPlusData> data;
  unsigned long checksum = 0;
};

struct ReaderOptions {
  int jedec_mode;
  const char* option1;
  const char* work_dir;
  const char* option2;
  const char* option3;
};

// Reads a JEDEC file into a new container, with the file's C value. The C value comes from a
// walk of its own over the file, a second pass as long as the first; it runs on another thread
// while the file is read into programming data.
Reading ReadJedecFile(const std::string& path, DeviceInfo& device, const ReaderOptions& o) {
  Reading r{0, std::make_unique<SVFPlusData>()};
  int checksum_status = 0;
  util::SideTask checksum_walk([&] {
    try {
      checksum_status = Jedec_read_Checksum(path.c_str(), &r.checksum);
    } catch (const std::bad_alloc&) {
      checksum_status = kStatusNoMemory;
    }
  });
  std::string name = path;
  r.status = JEDEC2SVFPlus(name.data(), &device, o.jedec_mode, r.data.get(), o.option1, o.work_dir,
                           o.option2, o.option3);
  checksum_walk.Wait();
  if (r.status >= 0 && checksum_status < 0) r.status = checksum_status;
  return r;
}

// GetDataCRC of up to two fields from their first rows, as eight hex digits.
std::string DataCrcText(SVFDataField* first, SVFDataField* second) {
  char text[16] = "";
  if (first != nullptr) first->ResetRowPointer();
  if (second != nullptr) second->ResetRowPointer();
  GetDataCRC(nullptr, nullptr, first, second, true, text);
  return text;
}

// The block CRC of the writer over one field's rows only.
std::string BlockCrcText(const SVFDataField& field) {
  crc_engine::DataCrc32Batch crc;
  for (int r = 1; r <= field.GetRowCount(); ++r) {
    const KvByteBuffer* row = field.GetRow(r);
    if (row != nullptr) crc.AddRow(row->GetBuffer(), row->GetTotalSize(), field.GetRowWidth(r));
  }
  char text[16];
  std::snprintf(text, sizeof text, "%.8X", crc.Value());
  return text;
}

// The CRC text of the comment block, by the device's kind.
std::string CrcTextOf(SVFPlusData& data, const DeviceInfo& device) {
  if (std::strcmp(device.GetVendor(), "Helvar") == 0) {
    SVFDataField* tdo = data.GetDataField("FuseArray_TDO");
    return tdo == nullptr ? "" : DataCrcText(tdo, data.GetDataField("EFuseArray_TDO"));
  }
  SVFDataField* array = data.GetDataField("FuseArray_TDI");
  if (array == nullptr) return "";
  if (IsOmbrelFamily(device.GetFamily()) && device.GetARCHRow() != 0) return BlockCrcText(*array);
  return DataCrcText(array, data.GetDataField("ArchArray_TDI"));
}

// Ombrel devices carry configuration rows in their architecture field: it is replaced by
// "CFGArray_TDI" (N rows of ARCHRow bits, taken from the end of the architecture row) and
// "CFGArray_TDO" (the same walk without the groups 0 and 3).
int MakeOmbrelConfiguration(SVFPlusData& data, const DeviceInfo& device) {
  SVFDataField* arch = data.GetDataField("ArchArray_TDI");
  if (!IsOmbrelFamily(device.GetFamily()) || device.GetARCHRow() == 0 || arch == nullptr) return 0;
  arch->ResetRowPointer();
  const KvByteBuffer* source = arch->GetRow(1);
  if (source == nullptr) return kStatusRowWriteFailed;
  const std::vector<unsigned char> bytes(source->GetBuffer(),
                                         source->GetBuffer() + source->GetTotalSize());
  data.DeleteDataField("ArchArray_TDI");
  const unsigned int row_bits = device.GetARCHRow();
  const std::size_t group = (row_bits + 7) / 8;
  const unsigned int rows = device.GetARCHLength() / row_bits;
  SVFDataField* program = data.AddDataField();
  if (program == nullptr) return kStatusNoMemory;
  program->SetFieldName("CFGArray_TDI");
  SVFDataField* verify = nullptr;
  auto add_group = [&](SVFDataField& field, unsigned int k) -> int {
    KvByteBuffer* row = field.AddRow(row_bits);
    if (row == nullptr) return kStatusNoMemory;
    const std::size_t end = bytes.size() >= group * k ? bytes.size() - group * k : 0;
    const std::size_t start = end >= group ? end - group : 0;
    for (std::size_t i = start; i < end; ++i) {
      if (row->WriteData(bytes[i]) == 0) return kStatusRowWriteFailed;
    }
    return 0;
  };
  for (unsigned int k = 0; k < rows; ++k) {
    if (const int status = add_group(*program, k); status != 0) return status;
  }
  verify = data.AddDataField();
  if (verify == nullptr) return kStatusNoMemory;
  verify->SetFieldName("CFGArray_TDO");
  for (unsigned int k = 0; k < rows; ++k) {
    if (k == 0 || k == 3) continue;  // these groups are not verified
    if (const int status = add_group(*verify, k); status != 0) return status;
  }
  return 0;
}

int ConvertJedecToIsc(const char* source, DeviceInfo& device, const ReaderOptions& options,
                      const char* entity, const char* out_file, int usercode_from_crc,
                      const char* creator) {
  Reading reading = ReadJedecFile(source, device, options);
  if (reading.status < 0) return reading.status;
  const unsigned long source_checksum = reading.checksum;
  std::string crc_text;
  if (std::strcmp(device.GetVendor(), "Helvar") == 0 && usercode_from_crc != 0) {
    // The usercode is rewritten to the read-back CRC, through a copy of the JEDEC file that is
    // left in the work folder, and the copy is read instead.
    crc_text = CrcTextOf(*reading.data, device);
    if (!crc_text.empty()) {
      const std::string copy = core::PathInFolder(options.work_dir, "CRCTemp.jed");
      const int written = WriteUESInfo(source, copy.c_str(), &device, options.jedec_mode,
                                       crc_text.c_str(), nullptr);
      if (written < 0) return written;
      reading = ReadJedecFile(copy, device, options);
      if (reading.status < 0) return reading.status;
    }
  } else {
    crc_text = CrcTextOf(*reading.data, device);
  }
  if (const int status = MakeOmbrelConfiguration(*reading.data, device); status != 0) return status;

  // The comment block: its fixed lines, the names given, and the JEDEC file's header notes,
  // all of them.
  const std::string header =
      CommentBlock(creator, static_cast<int>(device.GetFuseNumber()), device.GetPON(), source,
                   static_cast<unsigned int>(source_checksum), crc_text.c_str());
  return SVFPlus2ISC(reading.data.get(), header.c_str(), out_file, entity, usercode_from_crc, 0,
                     creator);
}

}  // namespace
}  // namespace fusekit::isc

int JEDEC2ISC(char* sourceFile, DeviceInfo* device, int jedecMode, const char* readerOption1,
              const char* workDir, char* readerOption2, const char* readerOption3, char* entity,
              char* outFile, int usercodeFromCRC, const char* creator) {
  if (device == nullptr) return fusekit::kStatusNullModel;
  try {
    return fusekit::isc::ConvertJedecToIsc(
        sourceFile, *device, {jedecMode, readerOption1, workDir, readerOption2, readerOption3},
        entity, outFile, usercodeFromCRC, creator);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
