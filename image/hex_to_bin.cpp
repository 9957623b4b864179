// HEX2BIN, MOT2BIN and TEKHEX2BIN: record files to flat binary files, with the raw-hex fallback of
// HEX2BIN, and the small classifiers of image files.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <string_view>
#include <vector>

#include "core/file_io.h"
#include "fusekit/image.h"
#include "fusekit/status.h"
#include "fusekit/util.h"
#include "image/hex_text.h"
#include "image/line_reader.h"
#include "image/records.h"
#include "image/sparse_image.h"
#include "support/util/bit_ops.h"

namespace fusekit::image {
namespace {

constexpr int kFailed = -1;

// The Intel address mode: fixed by the file's first extended-address record.
struct IntelBase {
  RecordKind mode = RecordKind::kIgnored;  // kSegmentAddress, kLinearAddress, or not yet fixed
  std::uint64_t base = 0;

  // Takes an extended-address record; false when the mode passes it over.
  bool Takes(const Record& record) {
    if (mode == RecordKind::kIgnored) mode = record.kind;
    return record.kind == mode;
  }
  void Set(const Record& record) {
    base = record.kind == RecordKind::kLinearAddress ? std::uint64_t{record.value} << 16
                                                     : std::uint64_t{record.value} * 16;
  }
};

// Where a data record's bytes start: Intel adds the base of the last extended-address record.
std::uint64_t StartOf(RecordFormat format, const Record& record, const IntelBase& intel) {
  return format == RecordFormat::kIntel ? intel.base + record.address : record.address;
}

// The first pass: the highest data address of the records before the first line that is not a
// record. kFailed for a Tektronix address length other than 8.
int FirstPass(std::FILE* file, RecordFormat format, std::uint64_t& highest, RecordKind& mode) {
  LineReader lines(file);
  IntelBase intel;
  std::string_view line;
  highest = 0;
  while (lines.Next(line) && !line.empty() && IsRecordMark(format, line[0])) {
    const Record record = ParseRecord(format, line);
    if (record.kind == RecordKind::kBadAddressLength) return kFailed;
    if (record.kind == RecordKind::kSegmentAddress || record.kind == RecordKind::kLinearAddress) {
      if (intel.Takes(record)) intel.Set(record);
    } else if (record.kind == RecordKind::kData && record.data_bytes > 0) {
      const std::uint64_t last =
          StartOf(format, record, intel) + static_cast<std::uint64_t>(record.data_bytes) - 1;
      if (last > highest) highest = last;
    }
  }
  mode = intel.mode;
  return 0;
}

// Where the second pass puts a data record's bytes (as the record holds them).
using PlaceBytes =
    std::function<void(std::uint64_t start, const std::uint8_t* bytes, std::size_t count)>;

// The second pass: every data record that ends below limit is checked and handed to place;
// error is set for a record that is malformed or fails its checksum.
int SecondPass(std::FILE* file, RecordFormat format, RecordKind mode, std::uint64_t limit,
               bool& error, const PlaceBytes& place) {
  LineReader lines(file);
  IntelBase intel;
  intel.mode = mode;
  std::string_view line;
  std::uint8_t data[256];
  while (lines.Next(line) && !line.empty()) {
    if (line[0] == ' ' || line[0] == '\t') continue;  // passed over, no record of its own
    if (!IsRecordMark(format, line[0])) break;
    const Record record = ParseRecord(format, line);
    switch (record.kind) {
      case RecordKind::kBadAddressLength:
        return kFailed;
      case RecordKind::kMalformed:
        error = true;
        break;
      case RecordKind::kSegmentAddress:
      case RecordKind::kLinearAddress:
        if (!intel.Takes(record)) break;
        if (!CheckRecord(format, record, data)) error = true;
        intel.Set(record);
        break;
      case RecordKind::kChecked:
        if (!CheckRecord(format, record, data)) error = true;
        break;
      case RecordKind::kData: {
        const std::uint64_t start = StartOf(format, record, intel);
        const std::uint64_t length = record.data_bytes > 0 ? record.data_bytes : 0;
        if (record.data_bytes < 0 || start + length > limit) {
          if (record.data_bytes < 0) error = true;
          break;  // beyond the buffer: skipped unchecked
        }
        if (!CheckRecord(format, record, data)) {
          error = true;
          if (record.rest.size() < length * 2) break;  // the bytes are not all there
        }
        if (length != 0) place(start, data, static_cast<std::size_t>(length));
        break;
      }
      default:
        break;
    }
  }
  return 0;
}

struct Placement {
  SparseImage image;
  std::uint64_t lowest = 0;
  std::uint64_t highest = 0;
  bool any = false;
  bool error = false;
};

int Convert(RecordFormat format, const char* in_name, unsigned int* start_address,
            const char* out_name, int alignment) {
  core::UniqueFile in = core::OpenFile(in_name, "rb");
  if (!in) return kFailed;
  std::uint64_t highest = 0;
  RecordKind mode = RecordKind::kIgnored;
  if (FirstPass(in.get(), format, highest, mode) != 0) return kFailed;
  std::rewind(in.get());
  core::UniqueFile out = core::OpenFile(out_name, "wb");
  if (!out) return kFailed;
  Placement placement;
  const PlaceBytes mirrored = [&placement](std::uint64_t start, const std::uint8_t* bytes,
                                           std::size_t count) {
    std::uint8_t data[256];
    for (std::size_t i = 0; i < count; ++i) data[i] = bits::Mirror(bytes[i]);
    placement.image.Write(start, data, count);
    if (!placement.any || start < placement.lowest) placement.lowest = start;
    if (!placement.any || start + count - 1 > placement.highest)
      placement.highest = start + count - 1;
    placement.any = true;
  };
  // The flat buffer holds up to the highest address and 16 bytes more.
  if (SecondPass(in.get(), format, mode, highest + 15, placement.error, mirrored) != 0)
    return kFailed;
  std::uint64_t first = placement.lowest;
  if (!placement.any) {
    if (start_address != nullptr) *start_address = 0;
    if (!core::FinishWriting(out)) return kStatusWriteFailed;
    return placement.error ? kFailed : 0;  // no data record: an empty file
  }
  if (start_address != nullptr) {
    const auto align = static_cast<std::uint64_t>(static_cast<unsigned int>(alignment));
    if (first != 0 && align != 0) first -= first % align;
    *start_address = static_cast<unsigned int>(first);
  }
  const bool written = placement.image.WriteRange(out.get(), first, placement.highest);
  if (!core::FinishWriting(out) || !written) return kStatusWriteFailed;
  return placement.error ? kFailed : 0;
}

// Bytes by address as the records give them, later records over earlier ones, kept in pages
// that exist only where data was written.
class PlacedBytes {
 public:
  void Write(std::uint64_t start, const std::uint8_t* bytes, std::size_t count) {
    while (count != 0) {
      Page& page = PageOf(start >> kPageBits);
      const auto at = static_cast<std::size_t>(start & (kPageBytes - 1));
      const std::size_t take = std::min(count, kPageBytes - at);
      std::memcpy(page.bytes + at, bytes, take);
      std::fill_n(page.present + at, take, true);
      start += take;
      bytes += take;
      count -= take;
    }
  }
  // The bytes as runs of consecutive addresses, in address order.
  std::vector<ImageRun> Runs() const {
    std::vector<ImageRun> runs;
    for (const auto& [number, page] : pages_) {
      const bool* const end = page.present + kPageBytes;
      for (const bool* from = std::find(page.present, end, true); from != end;) {
        const bool* const to = std::find(from, end, false);
        const auto at = static_cast<std::size_t>(from - page.present);
        const std::uint64_t address = (number << kPageBits) + at;
        if (runs.empty() || runs.back().address + runs.back().bytes.size() != address)
          runs.push_back({address, {}});
        runs.back().bytes.insert(runs.back().bytes.end(), page.bytes + at,
                                 page.bytes + (to - page.present));
        from = std::find(to, end, true);
      }
    }
    return runs;
  }

 private:
  static constexpr unsigned kPageBits = 12;
  static constexpr std::size_t kPageBytes = std::size_t{1} << kPageBits;
  struct Page {
    std::uint8_t bytes[kPageBytes];
    bool present[kPageBytes] = {};
  };

  // The page of that number, made when absent; records follow one another, so the page of the
  // last write is looked for first.
  Page& PageOf(std::uint64_t number) {
    if (last_ == nullptr || last_number_ != number) {
      last_ = &pages_[number];
      last_number_ = number;
    }
    return *last_;
  }

  std::map<std::uint64_t, Page> pages_;
  Page* last_ = nullptr;  // the map's nodes stay where they are
  std::uint64_t last_number_ = 0;
};

// The format of a record file from its first character, or false for a file of other bytes.
bool RecordFormatOf(std::FILE* file, RecordFormat& format) {
  int c = std::fgetc(file);
  while (c == ' ' || c == '\t' || c == '\r' || c == '\n') c = std::fgetc(file);
  std::rewind(file);
  if (c == ':')
    format = RecordFormat::kIntel;
  else if (c == 'S' || c == 's')
    format = RecordFormat::kMotorola;
  else if (c == '%')
    format = RecordFormat::kTektronix;
  else
    return false;
  return true;
}

int ReadRuns(const char* file_name, std::vector<ImageRun>& runs) {
  core::UniqueFile in = core::OpenFile(file_name, "rb");
  if (!in) return kFailed;
  RecordFormat format = RecordFormat::kIntel;
  if (!RecordFormatOf(in.get(), format)) {  // a binary image: its bytes from address 0
    ImageRun run{0, {}};
    const bool read = core::ForEachChunk(in.get(), [&](const std::uint8_t* bytes, std::size_t n) {
      run.bytes.insert(run.bytes.end(), bytes, bytes + n);
      return true;
    });
    if (!run.bytes.empty()) runs.push_back(std::move(run));
    return read ? 0 : kFailed;
  }
  std::uint64_t highest = 0;
  RecordKind mode = RecordKind::kIgnored;
  if (FirstPass(in.get(), format, highest, mode) != 0) return kFailed;
  std::rewind(in.get());
  PlacedBytes placed;
  bool error = false;
  const PlaceBytes place = [&placed](std::uint64_t start, const std::uint8_t* bytes,
                                     std::size_t count) { placed.Write(start, bytes, count); };
  if (SecondPass(in.get(), format, mode, highest + 15, error, place) != 0) return kFailed;
  runs = placed.Runs();
  return error ? kFailed : 0;
}

int ConvertGuarded(RecordFormat format, const char* in_name, unsigned int* start_address,
                   const char* out_name, int alignment) {
  try {
    return Convert(format, in_name, start_address, out_name, alignment);
  } catch (const std::bad_alloc&) {
    return kFailed;
  }
}

}  // namespace
}  // namespace fusekit::image

using fusekit::image::ConvertGuarded;
using fusekit::image::RecordFormat;

int CheckValidIntelHexFile(char* fileName) {
  fusekit::core::UniqueFile file = fusekit::core::OpenFile(fileName, "rb");
  if (!file) return -1;
  return std::fgetc(file.get()) == ':' ? 0 : -1;
}

int HEX2BIN(char* hexFile, unsigned int* startAddress, char* binFile, int alignment) {
  if (CheckValidIntelHexFile(hexFile) != 0) {
    if (hexFile == nullptr || binFile == nullptr) return -1;
    switch (fusekit::image::HexTextToBinary(hexFile, binFile,
                                            fusekit::image::WhiteSpaceShift::kRightOne)) {
      case fusekit::image::HexTextResult::kWritten:
        return 0;
      case fusekit::image::HexTextResult::kWriteFailed:
        return fusekit::kStatusWriteFailed;
      case fusekit::image::HexTextResult::kCannotOpen:
        break;
    }
    return -1;
  }
  return ConvertGuarded(RecordFormat::kIntel, hexFile, startAddress, binFile, alignment);
}

int MOT2BIN(char* motFile, unsigned int* startAddress, char* binFile, int alignment) {
  return ConvertGuarded(RecordFormat::kMotorola, motFile, startAddress, binFile, alignment);
}

int TEKHEX2BIN(char* tekFile, unsigned int* startAddress, char* binFile, int alignment) {
  return ConvertGuarded(RecordFormat::kTektronix, tekFile, startAddress, binFile, alignment);
}

int IsITELAndMOTFile(const char* fileName) {
  if (fileName == nullptr) return -1;
  const std::string_view name(fileName);
  // Each ending is searched for from four characters (five for ".xtek") before the end.
  auto ends_with = [&](const char* ending) {
    const std::size_t length = std::char_traits<char>::length(ending);
    const std::size_t from = name.size() >= length ? name.size() - length : 0;
    return FindSubString(fileName + from, ending) >= 0;
  };
  if (ends_with(".bit")) return -1;
  if (ends_with(".mcs") || ends_with(".MCS") || ends_with(".hex") || ends_with(".HEX")) return 0;
  if (ends_with(".exo") || ends_with(".EXO")) return 1;
  if (ends_with(".xtek") || ends_with(".XTEK")) return 2;
  if (ends_with(".BIN") || ends_with(".bin")) return 3;
  return -1;
}

int hex_parse_raw_hex(FILE* stream, unsigned char** buffer, unsigned int count,
                      unsigned int* readCount) {
  if (readCount != nullptr) *readCount = 0;
  if (stream == nullptr) return -1;
  const int first = std::fgetc(stream);
  if (first == ':') return -1;
  std::rewind(stream);
  for (unsigned int i = 0; i < count; ++i) {
    unsigned int value = 0;
    if (std::fscanf(stream, "%x", &value) != 1) continue;  // the end is not checked for
    if (buffer != nullptr && *buffer != nullptr) (*buffer)[i] = static_cast<unsigned char>(value);
  }
  if (readCount != nullptr) *readCount = count;
  return 1;
}

int ReadImageRuns(const char* fileName, std::vector<ImageRun>* runs) {
  if (runs == nullptr) return fusekit::kStatusNullArgument;
  runs->clear();
  try {
    return fusekit::image::ReadRuns(fileName, *runs);
  } catch (const std::bad_alloc&) {
    runs->clear();
    return fusekit::kStatusNoMemory;
  }
}
