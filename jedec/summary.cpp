// GetJEDECSummary: what a JEDEC file declares, read without a device record.
#include <cstring>
#include <new>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/jedec.h"
#include "jedec/field_stream.h"

int GetJEDECSummary(const char* path, JEDECSummary* summary) {
  if (summary == nullptr) return fusekit::kStatusNullArgument;
  std::memset(summary, 0, sizeof *summary);
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(path, "rb");
  if (!file) return fusekit::kStatusOpenFailed;
  try {
    fusekit::core::TextReader in(file.get());
    if (!fusekit::jedec::SkipToStx(in)) return fusekit::kStatusNoFuseData;
    fusekit::jedec::FieldStream stream;
    const int status =
        fusekit::jedec::ReadFieldStream(in, fusekit::jedec::LimitsWithoutDevice(), nullptr, stream);
    if (status != 0) return status;
    summary->hasFuseCount = stream.has_qf ? 1 : 0;
    summary->fuseCount = stream.has_qf ? static_cast<unsigned long>(stream.fuse_count) : 0;
    summary->hasPinCount = stream.has_qp ? 1 : 0;
    summary->pinCount = stream.pin_count;
    summary->hasDefaultFuse = stream.has_default_fuse ? 1 : 0;
    summary->defaultFuse = stream.default_fuse;
    summary->hasSecurity = stream.has_security ? 1 : 0;
    summary->security = stream.security;
    summary->hasChecksum = stream.has_checksum ? 1 : 0;
    summary->checksum = stream.checksum;
    summary->eLength = static_cast<unsigned long>(stream.e_bits.size());
    summary->usercodeBits = static_cast<unsigned long>(stream.u_bits.size());
    std::size_t n = 0;
    for (std::size_t i = 0; i < stream.u_bits.size() && n + 1 < sizeof summary->usercode; i += 4) {
      unsigned nibble = 0;
      for (std::size_t b = i; b < i + 4; ++b)
        nibble = (nibble << 1) | (b < stream.u_bits.size() ? stream.u_bits[b] : 0u);
      summary->usercode[n++] = "0123456789ABCDEF"[nibble];
    }
    summary->usercode[n] = '\0';
    return fusekit::kStatusOk;
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
