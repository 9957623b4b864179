// The binary and hex-text image readers: BIN2SVFPlus, HEX2SVFPlus, HEXCheck, MCS2SVFPlus and
// Firmware2SVFPlus.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "bitstream/model_access.h"
#include "core/file_io.h"
#include "fusekit/bitstream.h"
#include "fusekit/family.h"
#include "fusekit/image.h"
#include "fusekit/status.h"
#include "image/hex_text.h"
#include "image/image_support.h"
#include "support/devicedb/call_scope.h"
#include "support/util/bit_ops.h"

namespace fusekit::image {
namespace {

constexpr int kOk = 0;
constexpr int kCannotOpen = -2;
constexpr unsigned kWideRowBits = 2048;  // the rows of the 2048-bit families and of MCS images
constexpr unsigned kConfigurationBits = 48;
constexpr int kConfigurationCopyStart = 6;

bool IsWideRowFamily(const DeviceInfo& device) {
  return IsOrlanD6Family(device.GetFamily()) || IsGrendMHFamily(device.GetFamily());
}

// The row width of the generic layout: the fuse number for a device of one address, else the
// data length.
unsigned GenericRowBits(const DeviceInfo& device) {
  return device.GetAddressLength() == 1 ? device.GetFuseNumber() : device.GetDataLength();
}

// The generic layout: rows of "FuseArray_TDI" from the bytes, and the bytes that land on indexes
// 6 down to 0 of a row also at the same indexes of the 48-bit "CFGArray_TDI" row (index 6 lies
// past that row and is left out by the row itself).
int ReadGenericLayout(std::FILE* file, SVFPlusData& data, const DeviceInfo& device,
                      bool close_with_zero) {
  SVFDataField* array = NewField(data, "FuseArray_TDI");
  SVFDataField* configuration = NewField(data, "CFGArray_TDI");
  if (array == nullptr || configuration == nullptr) return kRowFailed;
  const unsigned bits = GenericRowBits(device);
  RowFiller fuses(*array, bits, 0x00);
  RowFiller copy(*configuration, kConfigurationBits, 0x00);
  if (!fuses.StartRow() || !copy.StartRow()) return kRowFailed;
  int copy_index = kConfigurationCopyStart;
  ByteSource source(file);
  for (std::uint8_t byte; source.Next(byte);) {
    if (fuses.RowFull() && bits != 0 && !fuses.StartRow()) return kRowFailed;
    if (copy_index >= 0 && fuses.Index() == copy_index) {
      copy.Row()->WriteData(copy_index--, bits::Mirror(byte));
    }
    if (!fuses.Put(byte)) return kRowFailed;
  }
  if (close_with_zero) {
    fuses.Poke(0x00);
    if (copy_index >= 0) copy.Row()->WriteData(copy_index, 0x00);
  }
  return kOk;
}

// The 2048-bit families: "FuseArray_TDI" rows pre-filled with 0xFF.
int ReadWideLayout(std::FILE* file, SVFPlusData& data) {
  SVFDataField* array = NewField(data, "FuseArray_TDI");
  if (array == nullptr) return kRowFailed;
  RowFiller fuses(*array, kWideRowBits, 0xFF);
  if (!fuses.StartRow()) return kRowFailed;
  ByteSource source(file);
  for (std::uint8_t byte; source.Next(byte);) {
    if (!fuses.Put(byte)) return kRowFailed;
  }
  return kOk;
}

int ReadBinary(const char* file_name, DeviceInfo& device, SVFPlusData& data, bool close_with_zero) {
  core::UniqueFile file = core::OpenFile(file_name, "rb");
  if (!file) return kCannotOpen;
  const bool wide = IsWideRowFamily(device);
  // The rows are built with the geometry in force at the call; whether "ID" follows is decided
  // by the same width, not by what the restore below puts back.
  const unsigned row_bits = GenericRowBits(device);
  const int status = wide ? ReadWideLayout(file.get(), data)
                          : ReadGenericLayout(file.get(), data, device, close_with_zero);
  device.RestoreDeviceBackupValue();
  if (status != kOk) return status;
  if (!wide && row_bits < 1) return kOk;
  return AddIspIdField(data, device);
}

// The temporary binary of the hex-text readers, removed when the object goes.
class TemporaryBinary {
 public:
  explicit TemporaryBinary(const char* work_dir)
      : path_(core::PathInFolder(work_dir, "tmpBitstream.bit")) {}
  ~TemporaryBinary() { std::remove(path_.c_str()); }
  TemporaryBinary(const TemporaryBinary&) = delete;
  TemporaryBinary& operator=(const TemporaryBinary&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

// A firmware image of the bitstream model: the "Data" of the first "Write Patch Program Increment
// Frame" as one row of its bit size, its bytes in order from index 0, each bit-reversed.
int ReadFirmwareModel(const char* file_name, DeviceInfo& device, SVFPlusData& data) {
  XFPBitstreamModel model;
  const int built = bitstream::BuildConfigModel(model, device, file_name);
  if (built < 0) return built;
  const XFPFrameComponentModel* patch =
      model.FindComponent("Write Patch Program Increment Frame", "Data");
  if (patch == nullptr) return kOk;
  SVFDataField* field = NewField(data, "Firmware_FuseArray_TDI");
  if (field == nullptr) return kRowFailed;
  KvByteBuffer* row = field->AddRow(patch->GetBitSize());
  if (row == nullptr) return kRowFailed;
  for (unsigned i = 0; i < patch->GetByteSize(); ++i) {
    if (row->WriteData(bits::Mirror(patch->GetByte(i))) == 0) return kRowFailed;
  }
  return kOk;
}

int ReadHexText(const char* file_name, const char* work_dir,
                const std::function<int(const char*)>& read) {
  if (!core::OpenFile(file_name, "rb")) return kCannotOpen;
  TemporaryBinary binary(work_dir);
  switch (HexTextToBinary(file_name, binary.Path(), WhiteSpaceShift::kLeftFourRightOne)) {
    case HexTextResult::kCannotOpen:
      return kCannotOpen;
    case HexTextResult::kWriteFailed:
      return fusekit::kStatusWriteFailed;
    case HexTextResult::kWritten:
      break;
  }
  return read(binary.Path().c_str());
}

}  // namespace fusekit::image

using fusekit::devicedb::DeviceCallScope;
using fusekit::image::Guarded;

int BIN2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, char*, char*, char*) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  return Guarded([&] { return fusekit::image::ReadBinary(fileName, *device, *data, false); });
}

int HEX2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, char*, char*,
                char* workDir) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  return Guarded([&] {
    return fusekit::image::ReadHexText(fileName, workDir, [&](const char* binary) {
      return fusekit::image::ReadBinary(binary, *device, *data, true);
    });
  });
}

int HEXCheck(const char* fileName, DeviceInfo* device, unsigned long* bitLength) {
  if (device == nullptr) return -6;
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "rb");
  if (!file) return -1;
  const std::uint64_t pairs = fusekit::image::DecodeHexPairs(
      file.get(), fusekit::image::WhiteSpaceShift::kLeftFourRightOne, [](std::uint8_t) {});
  if (bitLength != nullptr) *bitLength = static_cast<unsigned long>(pairs * 8 + 8);
  return 0;
}

int MCS2SVFPlus(char* fileName, DeviceInfo* device, unsigned long, SVFPlusData* data, char*, char*,
                char*) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  return Guarded([&] {
    fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "rb");
    if (!file) return fusekit::image::kCannotOpen;
    SVFDataField* field = fusekit::image::NewField(*data, "EFuseArray_TDI");
    if (field == nullptr) return fusekit::image::kRowFailed;
    fusekit::image::RowFiller rows(*field, fusekit::image::kWideRowBits, 0xFF);
    if (!rows.StartRow()) return fusekit::image::kRowFailed;
    fusekit::image::ByteSource source(file.get());
    for (std::uint8_t byte; source.Next(byte);) {
      if (!rows.Put(byte)) return fusekit::image::kRowFailed;
    }
    return fusekit::image::kOk;
  });
}

int Firmware2SVFPlus(char* fileName, DeviceInfo* device, int, SVFPlusData* data, char*, char*,
                     char*) {
  if (data == nullptr || device == nullptr || fileName == nullptr) return -6;
  DeviceCallScope device_scope(device);
  const std::string name(fileName);
  const std::size_t dot = name.find_last_of('.');
  std::string extension = dot == std::string::npos ? "" : name.substr(dot);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension != ".bin") {
    return Guarded([&] { return fusekit::image::ReadFirmwareModel(fileName, *device, *data); });
  }
  return Guarded([&] {
    unsigned long bits = 0;
    if (BITCheck(fileName, &bits) < 0) return fusekit::image::kCannotOpen;
    fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "rb");
    if (!file) return fusekit::image::kCannotOpen;
    SVFDataField* field = fusekit::image::NewField(*data, "Firmware_FuseArray_TDI");
    if (field == nullptr) return fusekit::image::kRowFailed;
    fusekit::image::RowFiller row(*field, static_cast<unsigned int>(bits), 0x00);
    if (!row.StartRow()) return fusekit::image::kRowFailed;
    fusekit::image::ByteSource source(file.get());
    for (std::uint8_t byte; source.Next(byte) && !row.RowFull();) row.Put(byte);
    device->RestoreDeviceBackupValue();
    return fusekit::image::kOk;
  });
}
