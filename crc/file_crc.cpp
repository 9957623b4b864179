// File CRC of text files (GetCRCTramission, GetFileCRC16) and the data CRC text of ISC files.
#include "crc/file_crc.h"

#include <cctype>
#include <cstring>
#include <new>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/crc.h"
#include "support/util/crc_engine.h"

namespace fusekit::crc {
namespace {

constexpr int kMarkerLength = 4;
constexpr std::uint8_t kEndOfText = 0xFF;

constexpr std::uint64_t kOnes = 0x0101010101010101ull;
constexpr std::uint64_t kHighBits = 0x8080808080808080ull;

// Non-zero when one of the eight bytes of word equals the byte that pattern repeats.
constexpr std::uint64_t HasByte(std::uint64_t word, std::uint64_t pattern) {
  const std::uint64_t x = word ^ pattern;
  return (x - kOnes) & ~x & kHighBits;
}

// First byte in [p, end) that is a or b or the end-of-text byte, or end. Eight bytes are tested
// at a time, since most of a text holds none of them.
const std::uint8_t* SkipToCandidate(const std::uint8_t* p, const std::uint8_t* end, std::uint8_t a,
                                    std::uint8_t b) {
  const std::uint64_t pa = kOnes * a;
  const std::uint64_t pb = kOnes * b;
  const std::uint64_t pe = kOnes * kEndOfText;
  while (end - p >= 8) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof word);
    if ((HasByte(word, pa) | HasByte(word, pb) | HasByte(word, pe)) != 0) break;
    p += 8;
  }
  while (p != end && *p != a && *p != b && *p != kEndOfText) ++p;
  return p;
}

// The CCITT CRC carried over count bytes, carriage returns left out; the carriage returns are
// added to *left_out when it is not null.
std::uint16_t UpdateLeavingOutCr(std::uint16_t crc, const std::uint8_t* bytes, std::size_t count,
                                 std::uint64_t* left_out = nullptr) {
  const std::uint8_t* p = bytes;
  const std::uint8_t* const end = bytes + count;
  while (p != end) {
    const void* cr = std::memchr(p, '\r', static_cast<std::size_t>(end - p));
    const std::uint8_t* run_end = cr != nullptr ? static_cast<const std::uint8_t*>(cr) : end;
    crc = crc_engine::Ccitt16::Update(crc, p, static_cast<std::size_t>(run_end - p));
    p = cr != nullptr ? run_end + 1 : end;
    if (cr != nullptr && left_out != nullptr) ++*left_out;
  }
  return crc;
}

}  // namespace

std::uint64_t FileCrcExtent(std::FILE* file, const char* marker) {
  std::uint8_t as_given[kMarkerLength] = {};
  std::uint8_t lowered[kMarkerLength] = {};
  const bool searching = marker != nullptr;
  if (searching) {
    // A marker shorter than four characters is padded with NULs, which only a NUL matches.
    for (int i = 0; i < kMarkerLength && marker[i] != '\0'; ++i) {
      as_given[i] = static_cast<std::uint8_t>(marker[i]);
      lowered[i] = static_cast<std::uint8_t>(std::tolower(as_given[i]));
    }
  }
  std::uint64_t offset = 0;  // bytes before the current chunk
  std::uint64_t extent = UINT64_MAX;
  int matched = 0;
  core::ForEachChunk(file, [&](const std::uint8_t* bytes, std::size_t count) {
    const std::uint8_t* p = bytes;
    const std::uint8_t* const end = bytes + count;
    while (p != end) {
      if (matched == 0) {
        p = SkipToCandidate(p, end, as_given[0], lowered[0]);
        if (p == end) break;
      }
      const std::uint8_t c = *p++;
      if (c == kEndOfText) {
        extent = offset + static_cast<std::uint64_t>(p - bytes) - 1;
        return false;
      }
      if (!searching) continue;
      if (c == as_given[matched] || c == lowered[matched]) {
        if (++matched == kMarkerLength) {
          extent = offset + static_cast<std::uint64_t>(p - bytes) - kMarkerLength;
          return false;
        }
      } else {
        matched = 0;
      }
    }
    offset += count;
    return true;
  });
  return extent == UINT64_MAX ? offset : extent;
}

std::uint16_t FileCrcOfLeadingBytes(std::FILE* file, std::uint64_t count) {
  std::uint16_t crc = crc_engine::kCcittInitial;
  std::uint64_t left = count;
  core::ForEachChunk(file, [&](const std::uint8_t* bytes, std::size_t size) {
    const std::size_t take = left < size ? static_cast<std::size_t>(left) : size;
    crc = UpdateLeavingOutCr(crc, bytes, take);
    left -= take;
    return left > 0;
  });
  return crc;
}

void FileCrcOfPieces::Add(const std::uint8_t* bytes, std::size_t count) {
  if (ended_ || count == 0) return;
  const void* end = std::memchr(bytes, kEndOfText, count);
  if (end != nullptr) {
    count = static_cast<std::size_t>(static_cast<const std::uint8_t*>(end) - bytes);
    ended_ = true;
  }
  std::uint64_t left_out = 0;
  crc_ = UpdateLeavingOutCr(crc_, bytes, count, &left_out);
  counted_ += count - left_out;
}

void FileCrcOfPieces::Join(const FileCrcOfPieces& later) {
  if (ended_) return;
  crc_ = crc_engine::Ccitt16::Join(crc_, later.crc_, later.counted_);
  counted_ += later.counted_;
  ended_ = later.ended_;
}

namespace {

std::uint16_t FileCrc(const char* fileName, const char* marker) {
  core::UniqueFile file = core::OpenFile(fileName, "rb");
  if (!file) return kFileCrcOpenFailed;
  const std::uint64_t extent = FileCrcExtent(file.get(), marker);
  std::rewind(file.get());
  return FileCrcOfLeadingBytes(file.get(), extent);
}

}  // namespace
}  // namespace fusekit::crc

unsigned short GetCRCTramission(char* fileName, char* marker) {
  if (marker == nullptr || marker[0] == '\0') return 0;
  try {
    return fusekit::crc::FileCrc(fileName, marker);
  } catch (const std::bad_alloc&) {
    return fusekit::crc::kFileCrcOpenFailed;
  }
}

unsigned short GetFileCRC16(const char* fileName) {
  try {
    return fusekit::crc::FileCrc(fileName, nullptr);
  } catch (const std::bad_alloc&) {
    return fusekit::crc::kFileCrcOpenFailed;
  }
}

namespace {

// Lines are read 255 characters at a time; a longer line is seen as several.
constexpr std::size_t kCrcLineBytes = 256;
constexpr char kHeaderCrcPrefix[] = "-- DATA_CRC";
constexpr char kBlockCrcKeyword[] = "data_CRC";

}  // namespace

int GetCRCData(const char* fileName, char* crcText) {
  if (crcText != nullptr) crcText[0] = '\0';
  // Opened for reading and writing, so a read-only file counts as one that cannot be opened.
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "r+b");
  if (!file) return fusekit::kStatusCannotOpenFile;
  try {
    fusekit::core::TextReader reader(file.get());
    char line[kCrcLineBytes];
    bool next_line_is_crc = false;
    while (reader.ReadLine(line, sizeof line) > 0) {
      if (next_line_is_crc) {
        if (crcText != nullptr) util_strncpy(crcText, line, kCrcLineBytes);
        break;
      }
      if (std::strncmp(line, kHeaderCrcPrefix, sizeof kHeaderCrcPrefix - 1) == 0) {
        if (crcText != nullptr) util_strncpy(crcText, std::strrchr(line, ' '), kCrcLineBytes);
        break;
      }
      next_line_is_crc = std::strstr(line, kBlockCrcKeyword) != nullptr;
    }
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
  return fusekit::kStatusOk;
}
