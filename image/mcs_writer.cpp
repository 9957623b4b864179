// SVFPlus2MCS: "FuseArray_TDI" written as an Intel hex (MCS) image.
//
// The rows follow one another from the start address; each row's bytes go from its last index
// down to index 0, so that the MCS reading path (HEX2BIN, which mirrors every byte, then
// MCS2SVFPlus, which stores every byte bit-reversed from a row's last index down) gives the rows
// back. Records carry sixteen data bytes; an extended linear address record (type 04) opens the
// file and every 64 KiB segment, and the end-of-file record closes it. Lines end in CR LF.
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/file_io.h"
#include "fusekit/image.h"
#include "image/image_support.h"

namespace fusekit::image {
namespace {

constexpr std::size_t kRecordBytes = 16;

class IntelHexWriter {
 public:
  IntelHexWriter(std::FILE* file, std::uint32_t address) : file_(file), address_(address) {}

  void Put(std::uint8_t byte) {
    pending_[count_++] = byte;
    if (count_ == kRecordBytes || ((address_ + count_) & 0xFFFF) == 0) Flush();
  }
  bool Finish() {
    Flush();
    Record(0x01, 0, nullptr, 0);
    return ok_;
  }

 private:
  void Flush() {
    if (count_ == 0) return;
    const std::uint32_t upper = address_ >> 16;
    if (!segment_written_ || upper != segment_) {
      const std::uint8_t value[2] = {static_cast<std::uint8_t>(upper >> 8),
                                     static_cast<std::uint8_t>(upper)};
      Record(0x04, 0, value, 2);
      segment_ = upper;
      segment_written_ = true;
    }
    Record(0x00, static_cast<std::uint16_t>(address_), pending_, count_);
    address_ += static_cast<std::uint32_t>(count_);
    count_ = 0;
  }
  void Record(unsigned type, std::uint16_t address, const std::uint8_t* bytes, std::size_t n) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    char line[64];
    std::size_t at = 0;
    unsigned sum = static_cast<unsigned>(n) + (address >> 8) + (address & 0xFF) + type;
    auto put_byte = [&](unsigned value) {
      line[at++] = kDigits[(value >> 4) & 0xF];
      line[at++] = kDigits[value & 0xF];
    };
    line[at++] = ':';
    put_byte(static_cast<unsigned>(n));
    put_byte(address >> 8);
    put_byte(address & 0xFF);
    put_byte(type);
    for (std::size_t i = 0; i < n; ++i) {
      put_byte(bytes[i]);
      sum += bytes[i];
    }
    put_byte((0x100 - (sum & 0xFF)) & 0xFF);
    line[at++] = '\r';
    line[at++] = '\n';
    ok_ = std::fwrite(line, 1, at, file_) == at && ok_;
  }

  std::FILE* file_;
  std::uint32_t address_;
  std::uint8_t pending_[kRecordBytes] = {};
  std::size_t count_ = 0;
  std::uint32_t segment_ = 0;
  bool segment_written_ = false;
  bool ok_ = true;
};

int WriteMcs(const char* file_name, const SVFDataField& array, unsigned int start) {
  core::UniqueFile file = core::OpenFile(file_name, "wb");
  if (!file) return -2;
  IntelHexWriter writer(file.get(), start);
  for (int r = 1; r <= array.GetRowCount(); ++r) {
    const KvByteBuffer* row = array.GetRow(r);
    if (row == nullptr) continue;
    for (int i = row->GetDataSize() - 1; i >= 0; --i) writer.Put(row->GetBuffer()[i]);
  }
  return writer.Finish() ? 0 : -2;
}

}  // namespace
}  // namespace fusekit::image

int SVFPlus2MCS(const char* fileName, DeviceInfo* device, SVFPlusData* data, const char*,
                const char*, const char*, unsigned int startAddress) {
  if (fileName == nullptr || device == nullptr || data == nullptr) return -6;
  const SVFDataField* array = data->GetDataField("FuseArray_TDI");
  if (array == nullptr) return fusekit::image::kRowFailed;
  return fusekit::image::Guarded(
      [&] { return fusekit::image::WriteMcs(fileName, *array, startAddress); });
}
