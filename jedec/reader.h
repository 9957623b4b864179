// The JEDEC reader behind fnJEDFileReader, for the library's own callers.
#ifndef FUSEKIT_JEDEC_READER_H
#define FUSEKIT_JEDEC_READER_H

#include <cstdint>

#include "core/file_io.h"
#include "fusekit/devicedb.h"
#include "jedec/field_stream.h"

namespace fusekit::jedec {

struct Maps {
  std::uint16_t* fuse;
  std::uint16_t* usercode;
  std::uint16_t* sed;
  std::uint16_t* arch;
  std::uint16_t* e;
  std::uint16_t* last;
};

struct ReaderArguments {
  const char* path;
  DeviceInfo* device;
  std::uint64_t buffer_bytes;
  int usercode_bits;
  std::uint8_t* fuse_buffer;
  Maps maps;
  std::uint16_t* checksum_out;
  int* security_out;
  unsigned long* e_length_out;
  int* pin_count_out;
  core::ChunkObserver* observer;  // sees the whole file while it is parsed, or null
};

// Bytes of the linear buffer the reader works in for the device, with buffer_bytes of fuses: the
// caller's fuse buffer holds at least this many.
std::uint64_t WorkingBytes(const DeviceInfo& device, std::uint64_t buffer_bytes);

// Whether the stream's C value, when it has one other than 0, is the checksum of its fuses in
// linear: of all of them, or, in a file with an E field, of those before the E field's length.
// checked is the fuse count compared last.
bool ChecksumHolds(const std::uint8_t* linear, const FieldStream& stream, std::uint64_t& checked);

// fnJEDFileReader's work; may throw std::bad_alloc.
int ReadJedec(const ReaderArguments& arguments);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_READER_H
