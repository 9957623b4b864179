// Buffers of the JEDEC reader, and the verify and usercode-read functions that use them.
#include "jedec/reader_buffers.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/family.h"
#include "fusekit/jedec.h"
#include "fusekit/util.h"
#include "jedec/geometry.h"
#include "jedec/jedec_format.h"
#include "jedec/reader.h"

namespace fusekit::jedec {
namespace {

std::size_t Groups32(std::uint64_t bits) {
  return static_cast<std::size_t>((bits + 31) / 32);
}
std::size_t Bytes(std::uint64_t bits) {
  return static_cast<std::size_t>((bits + 7) / 8);
}

// The side maps, sized alike by both allocations: two words a 32-bit group of each length.
void AllocateSideMaps(const DeviceInfo& device, ReaderBuffers& b) {
  b.usercode_map.assign(2 * Groups32(device.GetPhysicalUESLength()) + 2, 0xFFFF);
  b.usercode_map[0] = 0;
  if (device.GetSEDLength() != 0) b.sed_map.assign(2 * Groups32(device.GetSEDLength()), 0);
  if (device.GetARCHLength() != 0) b.arch_map.assign(2 * Groups32(device.GetARCHLength()), 0);
}

}  // namespace

ReaderBuffers ReaderBuffers::ForVerify(const DeviceInfo& device) {
  ReaderBuffers b;
  const std::uint64_t fuses = device.GetFuseNumber();
  const std::uint64_t physical = device.GetPhysicalUESLength();
  b.buffer_bytes = static_cast<unsigned long>(2 * fuses);
  b.fuse_map.assign(static_cast<std::size_t>(fuses), 0);
  AllocateSideMaps(device, b);
  const std::size_t linear_bytes = Is22V10(device) ? 11780 + Bytes(physical)
                                                   : 2 * Bytes(physical) + 216 +
                                                         static_cast<std::size_t>(2 * fuses) +
                                                         4 * Groups32(device.GetARCHLength());
  b.linear.assign(linear_bytes, 0);
  if (device.GetERow() != 0 && device.GetELength() != 0) {
    b.e_map.assign(static_cast<std::size_t>(device.GetELength()) * device.GetERow(), 0);
  }
  if (IsFendra2Family(device.GetFamily())) {
    b.last_map.assign(static_cast<std::size_t>(FirstPadringRow(device)), 0);
  }
  return b;
}

ReaderBuffers ReaderBuffers::Tight(const DeviceInfo& device, bool with_fuse_map) {
  ReaderBuffers b;
  const ArrayGeometry main = MainArray(device);
  const std::uint64_t fuse_bytes = Bytes(device.GetFuseNumber());
  const std::uint64_t map_bytes = 2 * main.Words();
  b.buffer_bytes = static_cast<unsigned long>(map_bytes > fuse_bytes ? map_bytes : fuse_bytes);
  if (with_fuse_map) b.fuse_map.assign(static_cast<std::size_t>(main.Words()), 0);
  AllocateSideMaps(device, b);
  const std::uint64_t working = Is22V10(device) && device.GetARCHLength() != 0
                                    ? k22V10WorkingBytes
                                    : b.buffer_bytes + 100 + Bytes(device.GetARCHLength()) +
                                          Bytes(device.GetPhysicalUESLength());
  b.linear.assign(static_cast<std::size_t>(working), 0);
  b.e_map.assign(static_cast<std::size_t>(ESection(device).Words()), 0);
  b.last_map.assign(static_cast<std::size_t>((PadringSectionFuses(device) + 15) / 16), 0);
  return b;
}

int ReaderBuffers::Read(const char* path, DeviceInfo& device, int usercode_bits,
                        core::ChunkObserver* observer) {
  if (path == nullptr || path[0] == '\0') return kStatusOpenFailed;
  auto data_or_null = [](std::vector<std::uint16_t>& v) { return v.empty() ? nullptr : v.data(); };
  return ReadJedec({path,
                    &device,
                    buffer_bytes,
                    usercode_bits,
                    linear.data(),
                    {data_or_null(fuse_map), data_or_null(usercode_map), data_or_null(sed_map),
                     data_or_null(arch_map), data_or_null(e_map), data_or_null(last_map)},
                    checksum.data(),
                    &security,
                    &e_length,
                    &pin_count,
                    observer});
}

}  // namespace fusekit::jedec

namespace {

int LogicalUsercodeBits(const DeviceInfo& device, int jtag) {
  return static_cast<int>(jtag != 0 ? device.GetjtagLogicalUESLength()
                                    : device.GetispLogicalUESLength());
}

bool CanOpen(const char* path) {
  return path != nullptr && path[0] != '\0' && fusekit::core::OpenFile(path, "rb") != nullptr;
}

}  // namespace

int VerifyJEDECfile(char* path, DeviceInfo* device, int jtag) {
  if (!CanOpen(path)) return fusekit::kStatusOpenFailed;
  if (device == nullptr) return fusekit::kStatusNullArgument;
  try {
    auto buffers = fusekit::jedec::ReaderBuffers::ForVerify(*device);
    return buffers.Read(path, *device, LogicalUsercodeBits(*device, jtag));
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  } catch (const std::length_error&) {
    return fusekit::kStatusNoMemory;
  }
}

int ReadUESInfo(char* path, DeviceInfo* device, int jtag, char* out) {
  if (!CanOpen(path)) return fusekit::kStatusOpenFailed;
  if (device == nullptr) return fusekit::kStatusNullArgument;
  try {
    auto buffers = fusekit::jedec::ReaderBuffers::ForVerify(*device);
    const int status = buffers.Read(path, *device, LogicalUsercodeBits(*device, jtag));
    if (status != fusekit::kStatusOk || out == nullptr) return status;
    // Four digits a word over ceil(L/16) words, then cut after L/4 digits.
    const unsigned length = static_cast<std::uint16_t>(LogicalUsercodeBits(*device, jtag));
    const std::size_t words =
        std::min<std::size_t>((length + 15) / 16, buffers.usercode_map.size());
    std::size_t n = 0;
    for (std::size_t w = 0; w < words; ++w) {
      for (int shift = 12; shift >= 0; shift -= 4) {
        out[n++] = util_Hex2HexAnsi(static_cast<unsigned char>(buffers.usercode_map[w] >> shift));
      }
    }
    out[std::min<std::size_t>(length / 4, n)] = '\0';
    return status;
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  } catch (const std::length_error&) {
    return fusekit::kStatusNoMemory;
  }
}
