// fnJEDFileReader: a JEDEC file into the linear fuse buffer and the word maps of one device.
#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/family.h"
#include "fusekit/jedec.h"
#include "jedec/field_stream.h"
#include "jedec/geometry.h"
#include "jedec/jedec_format.h"
#include "jedec/reader.h"
#include "jedec/word_map.h"
#include "support/util/bit_ops.h"

namespace fusekit::jedec {
namespace {

// Families whose usercode follows the architecture bits even when the file has no E field:
// the architecture bytes are then inserted as zeros.
bool PadsArchitecture(const char* family) {
  return IsPelmo2Family(family) || IsPelmo3DFamily(family) || IsOrlanD6Family(family) ||
         IsGrendMHFamily(family);
}

std::uint64_t Bytes(std::uint64_t bits) {
  return (bits + 7) / 8;
}

void SetFuse(std::uint8_t* linear, std::uint64_t n, bool value) {
  const std::uint8_t mask = static_cast<std::uint8_t>(0x80u >> (n % 8));
  linear[n / 8] = static_cast<std::uint8_t>(value ? linear[n / 8] | mask : linear[n / 8] & ~mask);
}

bool GetFuse(const std::uint8_t* linear, std::uint64_t n) {
  return ((linear[n / 8] >> (7 - n % 8)) & 1u) != 0;
}

// The 22V10 file lists 132 product terms of 44 fuses; the device is programmed by 44 addresses
// of 132 bits. Device row a, column p holds the file's fuse p * 44 + a.
void RearrangeInto22V10Order(std::uint8_t* linear) {
  std::vector<std::uint8_t> file_order(linear, linear + Bytes(k22V10ArrayFuses));
  for (std::uint32_t a = 0; a < k22V10TermFuses; ++a) {
    for (std::uint32_t p = 0; p < k22V10ProductTerms; ++p) {
      SetFuse(linear, std::uint64_t{a} * k22V10ProductTerms + p,
              GetFuse(file_order.data(), std::uint64_t{p} * k22V10TermFuses + a));
    }
  }
}

// The legacy switch devices list each row from its last column to its first.
void MirrorRows(std::uint8_t* linear, const ArrayGeometry& main) {
  std::vector<std::uint8_t> row(static_cast<std::size_t>(main.width));
  for (std::uint64_t r = 0; r < main.rows; ++r) {
    const std::uint64_t start = r * main.width;
    for (std::uint64_t c = 0; c < main.width; ++c) row[c] = GetFuse(linear, start + c);
    for (std::uint64_t c = 0; c < main.width; ++c)
      SetFuse(linear, start + c, row[main.width - 1 - c] != 0);
  }
}

void PlaceBits(std::uint8_t* linear, std::uint64_t capacity_bits, std::uint64_t start,
               const std::vector<std::uint8_t>& bits) {
  for (std::uint64_t i = 0; i < bits.size() && start + i < capacity_bits; ++i) {
    SetFuse(linear, start + i, bits[i] != 0);
  }
}

// Positions in the linear buffer after the fuse list has been read and rearranged.
struct Layout {
  std::uint64_t fuse_count;      // main fuses
  std::uint64_t arch_start;      // architecture bits
  std::uint64_t usercode_start;  // usercode bits
};

void BuildMaps(const DeviceInfo& device, const LinearFuses& fuses, const Layout& layout,
               std::uint64_t buffer_bytes, int usercode_bits, const Maps& maps) {
  const ArrayGeometry main = MainArray(device);
  const bool reversed = (device.GetBitMapTransformation() & kBitMapReversedRows) != 0;
  PackRows(fuses, 0, main, reversed, maps.fuse, buffer_bytes / 2);

  const std::uint64_t padring = PadringSectionFuses(device);
  const ArrayGeometry e_section = ESection(device);
  PackRows(fuses, main.Fuses() + padring, e_section, false, maps.e, e_section.Words());
  if (padring != 0) PackBits(fuses, main.Fuses(), padring, maps.last, (padring + 15) / 16);

  const std::uint64_t arch = device.GetARCHLength();
  PackBits(fuses, layout.arch_start, arch, maps.arch, (arch + 15) / 16);

  // The caller's usercode map holds whole 32-bit groups of the physical length.
  const std::uint64_t physical = device.GetPhysicalUESLength();
  const std::uint64_t usercode_words = 2 * ((physical + 31) / 32);
  const std::uint64_t logical = usercode_bits > 0 ? static_cast<std::uint64_t>(usercode_bits) : 0;
  PackBits(fuses, layout.usercode_start, std::min(logical, usercode_words * 16), maps.usercode,
           usercode_words);

  const std::uint64_t sed = device.GetSEDLength();
  PackBits(fuses, layout.usercode_start + physical, sed, maps.sed, (sed + 15) / 16);
}

}  // namespace

std::uint64_t WorkingBytes(const DeviceInfo& device, std::uint64_t buffer_bytes) {
  const std::uint64_t usercode_bytes = Bytes(device.GetPhysicalUESLength());
  if (device.GetARCHLength() == 0) return buffer_bytes + 100 + usercode_bytes;
  if (Is22V10(device)) return k22V10WorkingBytes;
  return buffer_bytes + 100 + Bytes(device.GetARCHLength()) + usercode_bytes;
}

bool ChecksumHolds(const std::uint8_t* linear, const FieldStream& stream, std::uint64_t& checked) {
  checked = stream.fuse_count;
  if (!stream.has_checksum || stream.checksum == 0) return true;
  const std::uint16_t wanted = static_cast<std::uint16_t>(stream.checksum);
  if (FuseChecksum(linear, checked) == wanted) return true;
  if (!stream.has_e) return false;
  const std::uint64_t e_length = stream.e_bits.size();
  checked = stream.fuse_count >= e_length ? stream.fuse_count - e_length : 0;
  return FuseChecksum(linear, checked) == wanted;
}

int ReadJedec(const ReaderArguments& a) {
  const DeviceInfo& device = *a.device;
  core::UniqueFile file = core::OpenFile(a.path, "rb");
  if (!file) return kStatusOpenFailed;

  const std::uint64_t working_bytes = WorkingBytes(device, a.buffer_bytes);
  const std::uint64_t capacity_bits = working_bytes * 8;
  const std::uint8_t clear_value = Is22V10(device) ? 0x00 : 0xFF;

  FuseListLimits limits;
  limits.device_fuses = device.GetFuseNumber();
  limits.accept_plus_64 = Is22V10(device);
  limits.accept_any_count =
      IsOrlanD6Family(device.GetFamily()) || IsGrendMHFamily(device.GetFamily());
  limits.arch_length = device.GetARCHLength();
  limits.capacity_bits = capacity_bits;
  limits.clear_value = clear_value;

  // The buffer holds its cleared value everywhere no fuse was written, whatever the outcome.
  core::TextReader reader(file.get());
  reader.SetObserver(a.observer);
  FieldStream stream;
  if (!SkipToStx(reader)) {
    ClearUpTo(a.fuse_buffer, stream, working_bytes, clear_value);
    return kStatusNoFuseData;
  }
  const int status = ReadFieldStream(reader, limits, a.fuse_buffer, stream);
  ClearUpTo(a.fuse_buffer, stream, working_bytes, clear_value);
  if (status != 0) return status;
  if (a.observer != nullptr) reader.ReadToEnd();  // the observer sees the text after ETX too

  const std::uint64_t e_length = stream.e_bits.size();
  if (std::uint64_t checked = 0; !ChecksumHolds(a.fuse_buffer, stream, checked)) {
    if (a.pin_count_out != nullptr) *a.pin_count_out = static_cast<int>(checked);
    return kStatusChecksumMismatch;
  }

  Layout layout{stream.fuse_count, stream.fuse_count, stream.fuse_count};
  if (Is22V10(device)) {
    // The architecture and usercode fuses follow the array inside the fuse list.
    RearrangeInto22V10Order(a.fuse_buffer);
    layout = {k22V10ArrayFuses, k22V10ArrayFuses, k22V10ArrayFuses + device.GetARCHLength()};
  } else if (IsSarn(device)) {
    MirrorRows(a.fuse_buffer, MainArray(device));
  }
  if (stream.has_e) {
    PlaceBits(a.fuse_buffer, capacity_bits, layout.arch_start, stream.e_bits);
    layout.usercode_start = layout.arch_start + e_length;
  } else if (PadsArchitecture(device.GetFamily())) {
    const std::uint64_t pad_bits = device.GetARCHLength() / 8 * 8;
    for (std::uint64_t i = 0; i < pad_bits && layout.arch_start + i < capacity_bits; ++i) {
      SetFuse(a.fuse_buffer, layout.arch_start + i, false);
    }
    layout.usercode_start = layout.arch_start + pad_bits;
  }
  if (stream.has_u) PlaceBits(a.fuse_buffer, capacity_bits, layout.usercode_start, stream.u_bits);

  BuildMaps(device, LinearFuses{a.fuse_buffer, capacity_bits}, layout, a.buffer_bytes,
            a.usercode_bits, a.maps);
  if (a.checksum_out != nullptr) {
    a.checksum_out[0] = static_cast<std::uint16_t>(stream.checksum >> 16);
    a.checksum_out[1] = static_cast<std::uint16_t>(stream.checksum & 0xFFFF);
  }
  if (a.security_out != nullptr) *a.security_out = stream.security;
  if (a.e_length_out != nullptr) *a.e_length_out = static_cast<unsigned long>(e_length);
  if (a.pin_count_out != nullptr) *a.pin_count_out = static_cast<int>(stream.pin_count);
  return kStatusOk;
}

}  // namespace fusekit::jedec

int fnJEDFileReader(char* path, unsigned short* fuseMap, unsigned short* usercodeMap,
                    unsigned short* sedMap, unsigned short* checksumOut, unsigned short* archMap,
                    DeviceInfo* device, unsigned long bufferBytes, int usercodeBits,
                    int* securityOut, unsigned char* fuseBuffer, unsigned long* eLengthOut,
                    int* pinCountOut, unsigned short* eMap, unsigned short* lastMap) {
  if (device == nullptr || fuseBuffer == nullptr) return fusekit::kStatusNullArgument;
  if (path == nullptr || path[0] == '\0') return fusekit::kStatusOpenFailed;
  try {
    return fusekit::jedec::ReadJedec({path,
                                      device,
                                      bufferBytes,
                                      usercodeBits,
                                      fuseBuffer,
                                      {fuseMap, usercodeMap, sedMap, archMap, eMap, lastMap},
                                      checksumOut,
                                      securityOut,
                                      eLengthOut,
                                      pinCountOut,
                                      nullptr});
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
