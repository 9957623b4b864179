// Field extractors: hex texts of single fields, the usercode with its lengths and mask, and the
// fuse-array dump.
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/fields.h"
#include "fusekit/util.h"
#include "support/util/bit_ops.h"

namespace fusekit::fields {
namespace {

constexpr int kExtracted = 1;
constexpr int kNotThere = -1;

const KvByteBuffer* FirstRow(SVFPlusData* data, const char* name) {
  if (data == nullptr) return nullptr;
  const SVFDataField* field = data->GetDataField(name);
  return field != nullptr ? field->GetRow(1) : nullptr;
}

void PutByte(char* out, unsigned char byte) {
  out[0] = util_Hex2HexAnsi(static_cast<unsigned char>(byte >> 4));
  out[1] = util_Hex2HexAnsi(byte);
}

int HexOfField(SVFPlusData* data, const char* name, char* out) {
  const KvByteBuffer* row = FirstRow(data, name);
  if (row == nullptr || out == nullptr) return kNotThere;
  const unsigned int size = row->GetTotalSize();
  for (unsigned int i = 0; i < size; ++i) PutByte(out + 2 * i, row->ReadData(static_cast<int>(i)));
  out[2 * size] = '\0';
  return kExtracted;
}

bool BitOf(const std::vector<unsigned char>& bytes, std::size_t i) {
  return ((bytes[i / 8] >> (7 - i % 8)) & 1u) != 0;
}

// The exclusion mask: the mask text's last ceil(P/4) digits paired into bytes from the first
// digit (an odd last digit padded with ones), stored from the end, each byte mirrored.
std::vector<unsigned char> ExclusionMask(const char* mask, std::size_t physical_bits,
                                         std::size_t bytes) {
  if (mask == nullptr || mask[0] == '\0') return std::vector<unsigned char>(bytes, 0x00);
  std::vector<unsigned char> exclude(bytes, 0xFF);
  std::string digits(mask);
  const std::size_t wanted = (physical_bits + 3) / 4;
  if (digits.size() > wanted) digits = digits.substr(digits.size() - wanted);
  std::vector<unsigned char> m;
  for (std::size_t d = 0; d < digits.size(); d += 2) {
    const unsigned high = util_HexAnsi2Hex(digits[d]);
    const unsigned low = d + 1 < digits.size() ? util_HexAnsi2Hex(digits[d + 1]) : 0xF;
    m.push_back(static_cast<unsigned char>(high * 16 + low));
  }
  const std::size_t count = m.size();
  for (std::size_t k = 0; k < count; ++k) {
    if (count - 1 - k < bytes) exclude[count - 1 - k] = bits::Mirror(m[k]);
  }
  return exclude;
}

int RenderUsercode(DeviceInfo* device, int jtag, SVFPlusData* data, char* out) {
  const KvByteBuffer* row = FirstRow(data, "Usercode_TDI");
  if (row == nullptr || device == nullptr || out == nullptr) return kNotThere;
  std::size_t physical = device->GetPhysicalUESLength();
  std::size_t logical =
      jtag != 0 ? device->GetjtagLogicalUESLength() : device->GetispLogicalUESLength();
  if (std::strcmp(device->GetFamily(), "ispSarn") == 0) physical = logical = 48;
  const std::size_t b = (physical + 7) / 8;
  const std::size_t n = (logical + 7) / 8;
  std::vector<unsigned char> d(b);
  for (std::size_t i = 0; i < b; ++i) d[i] = row->ReadData(static_cast<int>(i));
  const std::vector<unsigned char> x =
      ExclusionMask(jtag != 0 ? device->GetjtagUESMask() : device->GetispUESMask(), physical, b);

  // Bytes are written from the right end of the 2N digits leftwards; unwritten digits read 0.
  out[0] = '0';
  out[1] = 'x';
  std::memset(out + 2, '0', 2 * n);
  out[2 * n + 2] = '\0';
  std::size_t written = 0;
  auto put = [&](unsigned accumulator) {
    if (written >= n) return;
    PutByte(out + 2 + 2 * (n - 1 - written), static_cast<unsigned char>(accumulator));
    ++written;
  };
  unsigned accumulator = 0;
  const bool in_stored_order =
      std::strcmp(device->GetVendor(), "Helvar") == 0 || physical == 16 || physical == 32;
  if (!in_stored_order) {
    // The row holds the usercode in reverse bit order: its first bit is the value's bit 0.
    std::size_t kept = 0;
    for (std::size_t i = 0; i < 8 * b; ++i) {
      if (BitOf(x, i)) continue;
      accumulator = (accumulator >> 1) | (BitOf(d, i) ? 0x80u : 0u);
      if (++kept % 8 == 0) {
        put(accumulator);
        accumulator = 0;
      }
    }
    return kExtracted;
  }
  // Bytes N-1 down to 0, each mirrored and walked from the top: the stored order again.
  for (std::size_t i = 0; i < 8 * b; i += 8) {
    const std::size_t byte_index = i / 8;
    if (byte_index >= n) break;  // past byte 0: stop there
    const std::size_t source = n - 1 - byte_index;
    const unsigned char data_byte = bits::Mirror(source < b ? d[source] : 0);
    const unsigned char mask_byte = bits::Mirror(source < b ? x[source] : 0xFF);
    for (int bit = 7; bit >= 0; --bit) {
      if (((mask_byte >> bit) & 1u) != 0) continue;
      accumulator = (accumulator >> 1) | (((data_byte >> bit) & 1u) != 0 ? 0x80u : 0u);
    }
    put(accumulator);
    accumulator = 0;
  }
  return kExtracted;
}

int DumpFuseArray(const char* path, DeviceInfo& device, SVFPlusData& data) {
  core::UniqueFile file = core::OpenFile(path, "wb");
  if (!file) return kStatusCannotOpenFile;
  const SVFDataField* array = data.GetDataField("FuseArray_TDI");
  if (array == nullptr) return kStatusOk;
  const unsigned long fuses = device.GetFuseNumber();
  const unsigned long width = device.GetDataLength();
  std::string line;
  for (int r = 1; r <= array->GetRowCount(); ++r) {
    const KvByteBuffer* row = array->GetRow(r);
    if (row == nullptr) continue;
    // From the last byte towards the first, each byte from bit 0: column 0 first. Past byte 0
    // the row gives zeros (the dump is meant for one row holding every fuse).
    int index = row->GetDataSize() - 1;
    unsigned char byte = 0;
    for (unsigned long k = 0; k < fuses; ++k) {
      if (k % 8 == 0) byte = row->ReadData(index--);
      line += ((byte >> (k % 8)) & 1u) != 0 ? '1' : '0';
      if (width != 0 && k % width == width - 1) line += '\n';
      if (line.size() >= 65536) {
        std::fwrite(line.data(), 1, line.size(), file.get());
        line.clear();
      }
    }
  }
  std::fwrite(line.data(), 1, line.size(), file.get());
  return core::FinishWriting(file) ? kStatusOk : kStatusWriteFailed;
}

}  // namespace
}  // namespace fusekit::fields

using fusekit::fields::HexOfField;

int SVFPlus2ID(SVFPlusData* data, char* out) {
  return HexOfField(data, "ID", out);
}
int SVFPlus2CONFIGBit(SVFPlusData* data, char* out) {
  return HexOfField(data, "CONFIG_BIT", out);
}
int SVFPlus2DONEBit(SVFPlusData* data, char* out) {
  return HexOfField(data, "DONE_BIT", out);
}
int SVFPlus2STATUSBit(SVFPlusData* data, char* out) {
  return HexOfField(data, "STATUS_BIT", out);
}

int SVFPlus2CONTROL(SVFPlusData* data, char* out, int which) {
  const char* name = which == 0   ? "Control_Register_0_TDI"
                     : which == 3 ? "UserMode_Register_TDI"
                                  : "Control_Register_1_TDI";
  return HexOfField(data, name, out);
}

int SVFPlus2USERCODE(DeviceInfo* device, int jtag, SVFPlusData* data, char* out) {
  try {
    return fusekit::fields::RenderUsercode(device, jtag, data, out);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

int SVFPlus2DISPLAYUSERCODE(DeviceInfo* device, int jtag, SVFPlusData* data, char* out) {
  const int status = SVFPlus2USERCODE(device, jtag, data, out);
  if (status != 1) return status;
  std::string text(out);
  if (std::strcmp(device->GetFamily(), "ispSarn") == 0) {
    for (std::size_t position : {13u, 12u, 7u, 6u}) {
      if (position < text.size()) text.erase(position, 1);
    }
  } else if (std::strcmp(device->GetCodeName(), "22V10") == 0 && text.size() > 18) {
    text.resize(18);
  }
  std::strcpy(out, text.c_str());
  return status;
}

int SVFPlus2XXX(const char* path, DeviceInfo* device, SVFPlusData* data) {
  if (data == nullptr || device == nullptr) return fusekit::kStatusNullModel;
  try {
    return fusekit::fields::DumpFuseArray(path, *device, *data);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
