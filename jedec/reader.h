// The JEDEC reader behind fnJEDFileReader, for the library's own callers.
#ifndef FUSEKIT_JEDEC_READER_H
#define FUSEKIT_JEDEC_READER_H

#include <cstdint>

#include "core/file_io.h"
#include "fusekit/devicedb.h"

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

// fnJEDFileReader's work; may throw std::bad_alloc.
int ReadJedec(const ReaderArguments& arguments);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_READER_H
