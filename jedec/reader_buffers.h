// The buffers of one fnJEDFileReader call, allocated from a device record, and the call itself.
#ifndef FUSEKIT_JEDEC_READER_BUFFERS_H
#define FUSEKIT_JEDEC_READER_BUFFERS_H

#include <array>
#include <cstdint>
#include <vector>

#include "core/file_io.h"
#include "fusekit/devicedb.h"

namespace fusekit::jedec {

struct ReaderBuffers {
  unsigned long buffer_bytes = 0;  // the size the reader is told its fuse map has
  std::vector<std::uint16_t> fuse_map;
  std::vector<std::uint16_t> usercode_map;
  std::vector<std::uint16_t> sed_map;
  std::vector<std::uint16_t> arch_map;
  std::vector<std::uint16_t> e_map;
  std::vector<std::uint16_t> last_map;
  std::array<std::uint16_t, 2> checksum{};
  std::vector<std::uint8_t> linear;
  int security = 0;
  unsigned long e_length = 0;
  int pin_count = 0;

  // The sizes the verify and usercode-read functions allocate: a fuse map of two bytes a fuse
  // and a linear buffer of 2 x fuse number + 216 bytes and more. Throws std::bad_alloc.
  static ReaderBuffers ForVerify(const DeviceInfo& device);
  // Just what the reader fills, for conversions of large arrays: about a quarter of a byte a
  // fuse, an eighth without the fuse map (the conversion can take the main array from the
  // linear buffer). Throws std::bad_alloc.
  static ReaderBuffers Tight(const DeviceInfo& device, bool with_fuse_map = true);

  // Runs the reader over these buffers; observer (when given) sees the whole file as it is read.
  int Read(const char* path, DeviceInfo& device, int usercode_bits,
           core::ChunkObserver* observer = nullptr);
};

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_READER_BUFFERS_H
