// GetImageSummary: the records of an image file, counted and checked the way the converters
// read them, with nothing stored.
#include <cstdint>
#include <cstdio>
#include <map>
#include <new>
#include <string>
#include <string_view>

#include "core/file_io.h"
#include "fusekit/image.h"
#include "image/hex_text.h"
#include "image/line_reader.h"
#include "image/records.h"

namespace fusekit::image {
namespace {

constexpr std::size_t kMaxBadLines = 100;

std::string KindName(RecordFormat format, const Record& record) {
  char text[64];
  switch (format) {
    case RecordFormat::kIntel: {
      const char* names[] = {"data",
                             "end of file",
                             "extended segment address",
                             "start segment address",
                             "extended linear address",
                             "start linear address"};
      const char* name = record.type >= 0 && record.type <= 5 ? names[record.type] : "unknown";
      std::snprintf(text, sizeof text, "%s (%02X)", name, static_cast<unsigned>(record.type));
      break;
    }
    case RecordFormat::kMotorola:
      std::snprintf(text, sizeof text, "S%X%s", static_cast<unsigned>(record.type),
                    record.type >= 1 && record.type <= 3 ? " data" : "");
      break;
    default:
      std::snprintf(text, sizeof text, "type %X%s", static_cast<unsigned>(record.type),
                    record.type == 6 ? " data" : "");
      break;
  }
  return text;
}

void NoteBad(ImageSummary& summary, unsigned long line) {
  ++summary.badRecords;
  if (summary.badLines.size() < kMaxBadLines) summary.badLines.push_back(line);
}

void NoteData(ImageSummary& summary, std::uint64_t start, long bytes) {
  if (bytes <= 0) return;
  const std::uint64_t last = start + static_cast<std::uint64_t>(bytes) - 1;
  if (!summary.hasData || start < summary.lowestAddress) summary.lowestAddress = start;
  if (!summary.hasData || last > summary.highestAddress) summary.highestAddress = last;
  summary.hasData = true;
  summary.dataBytes += static_cast<std::uint64_t>(bytes);
}

int SummarizeRecords(std::FILE* file, RecordFormat format, ImageSummary& summary) {
  LineReader lines(file);
  std::map<std::string, ImageRecordCount> counts;
  std::vector<std::string> order;
  RecordKind mode = RecordKind::kIgnored;
  std::uint64_t base = 0;
  std::uint8_t data[256];
  std::string_view line;
  while (lines.Next(line) && !line.empty()) {
    if (line[0] == ' ' || line[0] == '\t') continue;
    if (!IsRecordMark(format, line[0])) break;
    summary.lines = lines.LineNumber();
    const Record record = ParseRecord(format, line);
    if (record.kind == RecordKind::kBadAddressLength) return -1;
    if (record.kind == RecordKind::kMalformed) {
      NoteBad(summary, lines.LineNumber());
      continue;
    }
    const std::string name = KindName(format, record);
    if (counts.find(name) == counts.end()) order.push_back(name);
    ImageRecordCount& count = counts[name];
    count.kind = name;
    ++count.count;
    if (record.kind == RecordKind::kIgnored) continue;
    const bool address_record =
        record.kind == RecordKind::kSegmentAddress || record.kind == RecordKind::kLinearAddress;
    if (address_record) {
      if (mode == RecordKind::kIgnored) mode = record.kind;
      if (record.kind != mode) continue;  // the other mode's records are passed over
      base = record.kind == RecordKind::kLinearAddress ? std::uint64_t{record.value} << 16
                                                       : std::uint64_t{record.value} * 16;
    }
    if (!CheckRecord(format, record, data)) {
      ++count.badChecksum;
      NoteBad(summary, lines.LineNumber());
      continue;
    }
    if (record.kind == RecordKind::kData) {
      NoteData(summary, format == RecordFormat::kIntel ? base + record.address : record.address,
               record.data_bytes);
    }
  }
  for (const std::string& name : order) summary.records.push_back(counts[name]);
  return 0;
}

bool LooksLikeHexText(std::FILE* file) {
  int c;
  bool any = false;
  for (int i = 0; i < 4096 && (c = std::getc(file)) != EOF; ++i) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (HexValue(static_cast<char>(c)) < 0) return false;
    any = true;
  }
  return any;
}

int Summarize(const char* file_name, ImageSummary& summary) {
  core::UniqueFile file = core::OpenFile(file_name, "rb");
  if (!file) return -1;
  const int first = std::getc(file.get());
  std::rewind(file.get());
  if (first == ':' || first == 'S' || first == 's' || first == '%') {
    const RecordFormat format = first == ':'   ? RecordFormat::kIntel
                                : first == '%' ? RecordFormat::kTektronix
                                               : RecordFormat::kMotorola;
    summary.format = format == RecordFormat::kIntel       ? "Intel hex"
                     : format == RecordFormat::kTektronix ? "extended Tektronix"
                                                          : "Motorola S-record";
    return SummarizeRecords(file.get(), format, summary);
  }
  if (LooksLikeHexText(file.get())) {
    std::rewind(file.get());
    summary.format = "raw hex text";
    NoteData(summary, 0,
             static_cast<long>(DecodeHexPairs(file.get(), WhiteSpaceShift::kLeftFourRightOne,
                                              [](std::uint8_t) {})));
    return 0;
  }
  std::rewind(file.get());
  summary.format = "binary";
  std::uint64_t bytes = 0;
  core::ForEachChunk(file.get(), [&](const std::uint8_t*, std::size_t n) {
    bytes += n;
    return true;
  });
  NoteData(summary, 0, static_cast<long>(bytes));
  return 0;
}

}  // namespace
}  // namespace fusekit::image

int GetImageSummary(const char* fileName, ImageSummary* summary) {
  if (summary == nullptr) return -6;
  *summary = ImageSummary();
  try {
    return fusekit::image::Summarize(fileName, *summary);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
