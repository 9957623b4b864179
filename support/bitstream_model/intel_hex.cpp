// The "Intel Hex" generator object: an image written as Intel hex records, sixteen data bytes a
// record and never across a 64 KiB boundary, an extended linear address record (type 04) before
// the first record of each 64 KiB segment, the end-of-file record last, lines ending in CR LF.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "fusekit/bitstream_model.h"

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

class IntelHexFile : public XFPGenerateFileObject {
 public:
  int WriteImage(const char* fileName, const unsigned char* bytes, unsigned long size,
                 unsigned int startAddress) override {
    std::FILE* file = fileName != nullptr ? std::fopen(fileName, "wb") : nullptr;
    if (file == nullptr) return kXFPCannotWrite;
    IntelHexWriter writer(file, startAddress);
    for (unsigned long i = 0; i < size; ++i) writer.Put(bytes[i]);
    const bool ok = writer.Finish();
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
