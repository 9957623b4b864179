// The "Intel Hex" generator object: an image written as Intel hex records, sixteen data bytes a
// record and never across a 64 KiB boundary, an extended linear address record (type 04) before
// the first record of each 64 KiB segment, the end-of-file record last, lines ending in CR LF.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "core/record_text.h"
#include "fusekit/bitstream_model.h"

namespace {

constexpr std::size_t kRecordBytes = 16;

class IntelHexFile : public XFPGenerateFileObject {
 public:
  int WriteImage(const char* fileName, const unsigned char* bytes, unsigned long size,
                 unsigned int startAddress) override {
    std::FILE* file = fileName != nullptr ? std::fopen(fileName, "wb") : nullptr;
    if (file == nullptr) return kXFPCannotWrite;
    // Written a block of text at a time.
    fusekit::core::IntelHexLines lines(kRecordBytes, "\r\n");
    std::string text;
    bool ok = true;
    constexpr unsigned long kBlock = 1 << 16;
    for (unsigned long done = 0; done < size; done += kBlock) {
      const unsigned long count = size - done < kBlock ? size - done : kBlock;
      lines.Put(startAddress + static_cast<std::uint32_t>(done), bytes + done, count, text);
      ok = std::fwrite(text.data(), 1, text.size(), file) == text.size() && ok;
      text.clear();
    }
    lines.Finish(text);
    ok = std::fwrite(text.data(), 1, text.size(), file) == text.size() && ok;
    const bool flushed = std::fflush(file) == 0;
    return std::fclose(file) == 0 && flushed && ok ? kXFPOk : kXFPWriteFailed;
  }
};

}  // namespace

XFPGenerateFileObject::~XFPGenerateFileObject() = default;

XFPGenerateFileObject* XFPObjectFactory::CreateGenerateFileObject(const char* kind) {
  if (kind != nullptr && std::strcmp(kind, "Intel Hex") == 0) return new IntelHexFile();
  return nullptr;
}
