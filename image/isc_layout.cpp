// The ISC-layout image readers: BIN2ISCSVFPlus, HEX2ISCSVFPlus and NVCM2SVFPlus.
//
// After the synchronisation sequence 7E AA 99 7E and 20 bytes, the image holds the fuse rows
// (four rows of the data length, each after 4 skipped bytes but the first; for the Marsk family
// four blocks: fuse row, E row, fuse row, E row, each after 7 skipped bytes but the first), then
// when the device has an architecture section 4 skipped bytes and its rows (and for Marsk the
// padring row), then 4 skipped bytes and the 6 configuration bytes.
#include <cstdio>

#include "core/file_io.h"
#include "fusekit/family.h"
#include "fusekit/image.h"
#include "image/hex_text.h"
#include "image/image_support.h"
#include "support/devicedb/call_scope.h"

namespace fusekit::image {
namespace {

constexpr int kOk = 0;
constexpr int kNoSync = -1;
constexpr int kCannotOpen = -2;
constexpr int kFuseRows = 4;
constexpr int kSkipAfterSync = 20;
constexpr int kSkipBeforeFuseRow = 4;
constexpr int kSkipBeforeMarskBlock = 7;
constexpr int kSkipBeforeArchitecture = 4;
constexpr int kSkipBeforeConfiguration = 4;
constexpr unsigned kConfigurationBytes = 6;

// Reads up to and including 7E AA 99 7E; bytes between them are tolerated.
bool FindSync(ByteSource& source) {
  int state = 0;
  for (std::uint8_t byte; source.Next(byte);) {
    if (byte == 0x7E) {
      if (state == 0x99) return true;
      state = 0x7E;
    } else if (byte == 0xAA && state == 0x7E) {
      state = 0xAA;
    } else if (byte == 0x99 && state == 0xAA) {
      state = 0x99;
    }
  }
  return false;
}

// Fills the open row of rows to its index 0 from source; false when the file ended first.
bool FillRow(ByteSource& source, RowFiller& rows) {
  while (!rows.RowFull()) {
    std::uint8_t byte;
    if (!source.Next(byte)) return false;
    rows.Put(byte);
  }
  return true;
}

// A row of bits bits added to field and filled; false at the end of the file or on a failed row.
bool NextRow(ByteSource& source, SVFDataField& field, unsigned bits, int& status) {
  RowFiller row(field, bits, 0x00);
  if (!row.StartRow()) {
    status = kRowFailed;
    return false;
  }
  return FillRow(source, row);
}

// The fuse rows of the families other than Marsk. -1 when the file ends right after the first.
int ReadFuseRows(ByteSource& source, SVFDataField& array, unsigned bits, int& status) {
  RowFiller first(array, bits, 0x00);
  if (!first.StartRow()) return kRowFailed;
  if (!FillRow(source, first)) return kOk;
  if (source.AtEnd()) return kNoSync;
  for (int row = 1; row < kFuseRows; ++row) {
    if (!source.Skip(kSkipBeforeFuseRow) || !NextRow(source, array, bits, status)) return status;
  }
  return kOk;
}

// The Marsk blocks: fuse row, E row, fuse row, E row.
int ReadMarskBlocks(ByteSource& source, SVFPlusData& data, const DeviceInfo& device, int& status) {
  SVFDataField* array = data.GetDataField("FuseArray_TDI");
  SVFDataField* e_fuses = data.GetDataField("EFuseArray_TDI");
  const unsigned e_bits = IsZentivFamily(device.GetFamily()) ? 121808 : 53008;
  for (int block = 0; block < 4; ++block) {
    if (block != 0 && !source.Skip(kSkipBeforeMarskBlock)) return status;
    const bool fuse_block = block % 2 == 0;
    if (!NextRow(source, fuse_block ? *array : *e_fuses,
                 fuse_block ? device.GetDataLength() : e_bits, status))
      return status;
  }
  return kOk;
}

int ReadArchitecture(ByteSource& source, SVFPlusData& data, const DeviceInfo& device, int& status) {
  if (device.GetARCHLength() == 0 || device.GetARCHRow() == 0) return kOk;
  SVFDataField* arch = NewField(data, "ArchArray_TDI");
  if (arch == nullptr) return kRowFailed;
  bool more = source.Skip(kSkipBeforeArchitecture);
  for (unsigned r = 0; r < device.GetARCHRow(); ++r) {
    if (more) {
      more = NextRow(source, *arch, device.GetARCHLength(), status);
    } else {
      RowFiller empty(*arch, device.GetARCHLength(), 0x00);
      if (!empty.StartRow()) return kRowFailed;
    }
  }
  if (IsMarskFamily(device.GetFamily())) {
    SVFDataField* padring = NewField(data, "PadringArray_TDI");
    if (padring == nullptr) return kRowFailed;
    const unsigned bits = IsZentivFamily(device.GetFamily()) ? 10256 : 8208;
    if (more) {
      NextRow(source, *padring, bits, status);
    } else if (!RowFiller(*padring, bits, 0x00).StartRow()) {
      return kRowFailed;
    }
  }
  return status;
}

int ReadConfiguration(ByteSource& source, SVFPlusData& data) {
  SVFDataField* configuration = NewField(data, "CFGArray_TDI");
  if (configuration == nullptr) return kRowFailed;
  RowFiller row(*configuration, kConfigurationBytes * 8, 0x00);
  if (!row.StartRow()) return kRowFailed;
  if (source.Skip(kSkipBeforeConfiguration)) FillRow(source, row);
  return kOk;
}

int ReadIscLayout(const char* file_name, DeviceInfo& device, SVFPlusData& data) {
  core::UniqueFile file = core::OpenFile(file_name, "rb");
  if (!file) return kCannotOpen;
  ByteSource source(file.get());
  SVFDataField* array = NewField(data, "FuseArray_TDI");
  SVFDataField* e_fuses = NewField(data, "EFuseArray_TDI");
  if (array == nullptr || e_fuses == nullptr) return kRowFailed;
  if (!FindSync(source)) return kNoSync;
  source.Skip(kSkipAfterSync);
  int status = kOk;
  const int rows = IsMarskFamily(device.GetFamily())
                       ? ReadMarskBlocks(source, data, device, status)
                       : ReadFuseRows(source, *array,
                                      device.GetAddressLength() == 1 ? device.GetFuseNumber()
                                                                     : device.GetDataLength(),
                                      status);
  if (rows < 0) return rows;
  if (const int arch = ReadArchitecture(source, data, device, status); arch < 0) return arch;
  if (const int configuration = ReadConfiguration(source, data); configuration < 0)
    return configuration;
  device.RestoreDeviceBackupValue();
  return AddIspIdField(data, device);
}

// "FuseArray_TDO": the read-back the one-time-programmable array gives, equal to what is
// programmed.
int AddExpectedReadBack(SVFPlusData& data) {
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  SVFDataField* read_back = NewField(data, "FuseArray_TDO");
  if (array == nullptr || read_back == nullptr) return kRowFailed;
  for (int r = 1; r <= array->GetRowCount(); ++r) {
    const KvByteBuffer* row = array->GetRow(r);
    KvByteBuffer* copy = read_back->AddRow(array->GetRowWidth(r));
    if (row == nullptr || copy == nullptr) return kRowFailed;
    if (row->GetDataSize() > 0 && copy->AppendData(row->GetBuffer(), row->GetTotalSize()) == 0)
      return kRowFailed;
  }
  return kOk;
}

}  // namespace
}  // namespace fusekit::image

using fusekit::devicedb::DeviceCallScope;
using fusekit::image::Guarded;

int BIN2ISCSVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, char*, char*,
                   char*) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  return Guarded([&] { return fusekit::image::ReadIscLayout(fileName, *device, *data); });
}

int HEX2ISCSVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, char*, char*,
                   char* workDir) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  return Guarded([&] {
    return fusekit::image::ReadHexText(fileName, workDir, [&](const char* binary) {
      return fusekit::image::ReadIscLayout(binary, *device, *data);
    });
  });
}

int NVCM2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, char*, char*,
                 char* workDir) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  return Guarded([&] {
    return fusekit::image::ReadHexText(fileName, workDir, [&](const char* binary) {
      const int status = fusekit::image::ReadIscLayout(binary, *device, *data);
      return status < 0 ? status : fusekit::image::AddExpectedReadBack(*data);
    });
  });
}
