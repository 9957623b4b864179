// fnISCFileCompare: two ISC data files compared block by block, row by row and bit by bit
// (docs/compare.md).
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "core/diff_report.h"
#include "core/file_io.h"
#include "core/status.h"
#include "crc/block_crc.h"
#include "fusekit/isc.h"
#include "isc/summary.h"
#include "isc/text_case.h"
#include "support/util/byte_pipe.h"
#include "support/util/side_task.h"

namespace fusekit::isc {
namespace {

constexpr int kCannotCompare = -2;
constexpr int kCannotOpen = -1;

struct IscFile {
  ISCSummary summary;
  IscFileRows rows;  // empty when the rows were compared as they were read
  int status = 0;
  std::optional<std::uint32_t> last_crc;
};

// The index of the block of that name (any case), or -1.
int FindBlock(const ISCSummary& summary, const std::string& name) {
  for (std::size_t i = 0; i < summary.blocks.size(); ++i) {
    if (Lower(summary.blocks[i].name) == Lower(name)) return static_cast<int>(i);
  }
  return -1;
}

void SetBlockCrcRegister(const IscFile& read, const IscFile& reference) {
  for (const IscFile* file : {&read, &reference}) {
    if (file->last_crc) crc::BlockCrcRegister() = *file->last_crc;
  }
}

// Reads both files, the read file on a second thread while the reference is read here, and
// keeps their rows; the block CRC register is then left as reading the reference last leaves it.
void ReadBoth(IscFile& read, const char* read_path, IscFile& reference,
              const char* reference_path) {
  util::RunForBoth([&](int i) {
    IscFile& file = i == 0 ? read : reference;
    file.status =
        ReadIscFile(i == 0 ? read_path : reference_path, file.summary, &file.rows, file.last_crc);
  });
  SetBlockCrcRegister(read, reference);
}

// The rows of a file as it is read, as one stream of bytes: every row, and after each part of
// a block a mark of its kind, width and count. The read file's stream goes through a pipe; the
// reference's is compared with it a batch at a time.
class RowsInto final : public RowSink {
 public:
  explicit RowsInto(util::ByteBatches& out) : out_(out) {}

  void Rows(const unsigned char* bytes, std::size_t count) override { out_.Add(bytes, count); }

  void PartEnd(bool terminate, unsigned long width, std::size_t count) override {
    const std::uint64_t mark[] = {terminate ? 1u : 0u, width, count};
    out_.Add(reinterpret_cast<const unsigned char*>(mark), sizeof mark);
  }

 private:
  util::ByteBatches& out_;
};

// Whether the blocks of both files are the same in name, shape and order, each name once.
bool SameBlocks(const ISCSummary& read, const ISCSummary& reference) {
  if (read.blocks.size() != reference.blocks.size()) return false;
  for (std::size_t i = 0; i < reference.blocks.size(); ++i) {
    const ISCBlockSummary& a = read.blocks[i];
    const ISCBlockSummary& b = reference.blocks[i];
    if (Lower(a.name) != Lower(b.name) || a.rowWidth != b.rowWidth || a.rowCount != b.rowCount ||
        a.terminateRows != b.terminateRows || FindBlock(reference, b.name) != static_cast<int>(i))
      return false;
  }
  return true;
}

// Reads both files at once, a window at a time, comparing their rows as they come, and keeps
// none: true when both were read and hold the same blocks with the same rows, whose compare
// then needs only the summaries. Otherwise the files are read again with their rows kept, to
// tell where they differ.
bool ReadAlike(IscFile& read, const char* read_path, IscFile& reference,
               const char* reference_path) {
  const bool alike = util::StreamsAlike([&](int i, util::ByteBatches& out) {
    IscFile& file = i == 0 ? read : reference;
    RowsInto rows(out);
    file.status =
        StreamIscFile(i == 0 ? read_path : reference_path, file.summary, &rows, file.last_crc);
  });
  if (!alike || read.status != 0 || reference.status != 0 ||
      !SameBlocks(read.summary, reference.summary))
    return false;
  SetBlockCrcRegister(read, reference);
  return true;
}

// Two files of the same bytes: the read file summarized keeping no rows while its bytes are
// compared with the reference's, the two threads each taking about half of both. True when the
// bytes are the same and the read file reads with each block's name once; the reference's
// summary is then the read file's.
bool SameBytes(IscFile& read, const char* read_path, IscFile& reference,
               const char* reference_path) {
  bool same = false;
  read.status = SummarizeComparing(read_path, reference_path, read.summary, read.last_crc, same);
  if (!same || read.status != 0 || !SameBlocks(read.summary, read.summary)) return false;
  reference.summary = read.summary;
  reference.status = 0;
  reference.last_crc = read.last_crc;
  SetBlockCrcRegister(read, reference);
  return true;
}

std::string Hex4(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%04X", value & 0xFFFFu);
  return text;
}

// A 32-bit data CRC as the ISC file writes it.
std::string Hex8(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%.8X", value);
  return text;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text.empty() ? "(none)" : text;
}

bool IsMaskBlock(const std::string& name) {
  const std::string lower = Lower(name);
  return lower.size() > 5 && lower.compare(lower.size() - 5, 5, "_mask") == 0;
}

void NoteHeaders(const ISCSummary& read, const ISCSummary& reference, core::DiffReport& report) {
  const struct {
    const char* what;
    const std::string& read;
    const std::string& reference;
  } texts[] = {{"header comments", read.comments, reference.comments},
               {"header STD_Version", read.standard, reference.standard},
               {"header Creation_Date", read.date, reference.date},
               {"header Creator", read.creator, reference.creator}};
  for (const auto& text : texts) {
    if (text.read == text.reference) continue;
    if (text.what == std::string("header comments")) {
      report.Line("header comments differ (not counted)");
    } else {
      report.Note(text.what, text.read, text.reference);
    }
  }
}

std::string CrcVerdict(bool stored, unsigned stored_value, unsigned computed) {
  if (!stored) return "no data_CRC, computed " + Hex8(computed);
  return "stored " + Hex8(stored_value) + " computed " + Hex8(computed) +
         (stored_value == computed ? " (good)" : " (BAD)");
}

// Why two files cannot be compared, or "" when they can: another device, or blocks that do
// not match in name or shape (mask blocks aside).
std::string WhyNotComparable(const IscFile& read, const IscFile& reference) {
  if (read.summary.entities != reference.summary.entities)
    return "the files are for different devices: read " + Joined(read.summary.entities) +
           ", reference " + Joined(reference.summary.entities);
  for (const auto& [one, other, side] :
       {std::tuple{&read, &reference, "reference"}, std::tuple{&reference, &read, "read file"}}) {
    for (std::size_t i = 0; i < one->summary.blocks.size(); ++i) {
      const ISCBlockSummary& block = one->summary.blocks[i];
      const int match = FindBlock(other->summary, block.name);
      if (match < 0) {
        if (IsMaskBlock(block.name)) continue;
        return std::string("block ") + block.name + " is not in the " + side;
      }
      const ISCBlockSummary& twin = other->summary.blocks[static_cast<std::size_t>(match)];
      if (block.rowWidth != twin.rowWidth || block.rowCount != twin.rowCount ||
          block.terminateRows != twin.terminateRows)
        return "block " + block.name + " has another shape in the two files (" +
               std::to_string(block.rowCount) + " and " + std::to_string(twin.rowCount) +
               " rows of " + std::to_string(block.rowWidth) + " and " +
               std::to_string(twin.rowWidth) + " bits)";
    }
  }
  return "";
}

// The mask rows of a block: the reference's mask block, else the read file's, of the same
// shape; null for none.
const FlatRows* MaskOf(const IscFile& read, const IscFile& reference,
                       const ISCBlockSummary& block) {
  for (const IscFile* file : {&reference, &read}) {
    const int at = FindBlock(file->summary, block.name + "_mask");
    if (at < 0) continue;
    const ISCBlockSummary& mask = file->summary.blocks[static_cast<std::size_t>(at)];
    if (mask.rowWidth == block.rowWidth && mask.rowCount == block.rowCount)
      return &file->rows.blocks[static_cast<std::size_t>(at)].rows;
  }
  return nullptr;
}

// Rows whose bytes are alike hold the same bits, so runs of rows are passed over by one memory
// compare and only the rows of a run that differs are looked at one by one, bit by bit.
void CompareRows(const std::string& prefix, const FlatRows& read, const FlatRows& reference,
                 const FlatRows* mask, core::DiffReport& report) {
  constexpr std::size_t kRunRows = 256;
  const std::size_t count = std::min(read.count, reference.count);
  if (read.width != reference.width || reference.RowBytes() == 0 || count == 0) return;
  if (read.SameBytes(reference, 0, count)) return;
  std::vector<unsigned char> scratch(3 * reference.RowBytes());
  unsigned char* const read_row = scratch.data();
  unsigned char* const reference_row = read_row + reference.RowBytes();
  unsigned char* const mask_row = reference_row + reference.RowBytes();
  for (std::size_t first = 0; first < count; first += kRunRows) {
    const std::size_t rows = std::min(kRunRows, count - first);
    if (read.SameBytes(reference, first, rows)) continue;
    for (std::size_t r = first; r < first + rows; ++r) {
      const unsigned char* a = read.Row(r, read_row);
      const unsigned char* b = reference.Row(r, reference_row);
      if (std::memcmp(a, b, reference.RowBytes()) == 0) continue;
      report.CompareRow(prefix + std::to_string(r + 1), a, b,
                        mask != nullptr ? mask->Row(r, mask_row) : nullptr, reference.width,
                        core::BitOrder::kRowLayout);
    }
  }
}

// The blocks of both files; rows_alike when their rows were found alike as they were read, and
// were not kept.
void CompareBlocks(const IscFile& read, const IscFile& reference, bool rows_alike,
                   core::DiffReport& report) {
  for (std::size_t i = 0; i < reference.summary.blocks.size(); ++i) {
    const ISCBlockSummary& block = reference.summary.blocks[i];
    const int at = FindBlock(read.summary, block.name);
    if (at < 0) {
      report.Line("block " + block.name + ": only in the reference (a mask, not compared)");
      continue;
    }
    const ISCBlockSummary& twin = read.summary.blocks[static_cast<std::size_t>(at)];
    report.Block("block " + block.name + ": " + std::to_string(block.rowCount) + " row" +
                 (block.rowCount == 1 ? "" : "s") + " of " + std::to_string(block.rowWidth) +
                 " bits");
    const std::uint64_t before = report.Differences();
    if (!rows_alike) {
      const FlatRows* mask = IsMaskBlock(block.name) ? nullptr : MaskOf(read, reference, block);
      const IscBlockRows& a = read.rows.blocks[static_cast<std::size_t>(at)];
      const IscBlockRows& b = reference.rows.blocks[i];
      CompareRows("row ", a.rows, b.rows, mask, report);
      CompareRows("terminate row ", a.terminate, b.terminate, nullptr, report);
    }
    if (block.hasStoredCRC || twin.hasStoredCRC) {
      report.Line("  data_CRC: read " +
                  CrcVerdict(twin.hasStoredCRC, twin.storedCRC, twin.computedCRC) + "; reference " +
                  CrcVerdict(block.hasStoredCRC, block.storedCRC, block.computedCRC));
      // With the rows alike, a stored CRC that does not match its own rows is a difference of
      // the CRC field itself (a CRC that differs only under the mask is not).
      const auto bad = [](const ISCBlockSummary& part) {
        return part.hasStoredCRC && part.storedCRC != part.computedCRC;
      };
      if (report.Differences() == before && (bad(block) || bad(twin))) {
        report.Line("  data_CRC does not match the rows while the rows agree");
        report.Count(1);
      }
    }
  }
  for (const ISCBlockSummary& block : read.summary.blocks) {
    if (FindBlock(reference.summary, block.name) < 0)
      report.Line("block " + block.name + ": only in the read file (a mask, not compared)");
  }
}

bool ChecksumGood(const ISCSummary& summary) {
  return !summary.hasFileChecksum || summary.storedFileChecksum == summary.computedFileChecksum;
}

std::string FileChecksumVerdict(const ISCSummary& summary) {
  if (!summary.hasFileChecksum) return "none";
  return "stored " + Hex4(summary.storedFileChecksum) + " computed " +
         Hex4(summary.computedFileChecksum) +
         (summary.storedFileChecksum == summary.computedFileChecksum ? " (good)" : " (BAD)");
}

int Compare(const char* read_path, const char* reference_path, const char* report_path) {
  for (const char* path : {read_path, reference_path}) {
    if (!core::OpenFile(path, "rb")) return kCannotOpen;
  }
  core::DiffReport report;
  report.Line("ISC compare");
  report.Line(std::string("read:      ") + read_path);
  report.Line(std::string("reference: ") + reference_path);
  IscFile read;
  IscFile reference;
  const bool rows_alike = SameBytes(read, read_path, reference, reference_path) ||
                          ReadAlike(read, read_path, reference, reference_path);
  if (!rows_alike) ReadBoth(read, read_path, reference, reference_path);
  int result = 0;
  for (const auto& [file, side] :
       {std::pair{&read, "read file"}, std::pair{&reference, "reference"}}) {
    const int status = file->status;
    if (status != 0 && result == 0) {
      report.Line(std::string("the ") + side + " cannot be read as an ISC data file (status " +
                  std::to_string(status) + ")");
      result = kCannotCompare;
    }
  }
  if (result == 0) {
    const std::string why = WhyNotComparable(read, reference);
    if (!why.empty()) {
      report.Line("not compared: " + why);
      result = kCannotCompare;
    }
  }
  if (result == 0) {
    NoteHeaders(read.summary, reference.summary, report);
    if (read.summary.security != reference.summary.security) {
      report.Line(std::string("security: read ") + (read.summary.security ? "ON" : "OFF") +
                  ", reference " + (reference.summary.security ? "ON" : "OFF"));
      report.Count(1);
    }
    CompareBlocks(read, reference, rows_alike, report);
    report.Line("file checksum: read " + FileChecksumVerdict(read.summary) + "; reference " +
                FileChecksumVerdict(reference.summary));
    // The file checksum covers the header, whose differences are not counted: it counts only
    // when nothing else differs and one file's checksum does not match its own text.
    if (report.Differences() == 0 &&
        (!ChecksumGood(read.summary) || !ChecksumGood(reference.summary))) {
      report.Line("file checksum does not match the file's text");
      report.Count(1);
    }
    result = core::CountAsResult(report.Differences());
  }
  if (!report.WriteTo(report_path)) return kStatusWriteFailed;
  return result;
}

}  // namespace
}  // namespace fusekit::isc

int fnISCFileCompare(const char* readFile, const char* referenceFile, const char* reportFile) {
  if (readFile == nullptr || referenceFile == nullptr || reportFile == nullptr ||
      reportFile[0] == '\0')
    return fusekit::kStatusNullArgument;
  try {
    return fusekit::isc::Compare(readFile, referenceFile, reportFile);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
