// The ISC summary reader, for the compare as well: the blocks of an ISC data file with their
// rows, read without a device record.
#ifndef FUSEKIT_ISC_SUMMARY_H
#define FUSEKIT_ISC_SUMMARY_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

#include "core/file_io.h"
#include "fusekit/isc.h"
#include "isc/flat_rows.h"
#include "isc/text_window.h"

namespace fusekit::isc {

// The rows of one data block as the file holds them.
struct IscBlockRows {
  FlatRows rows;
  FlatRows terminate;
};

// The rows of a file's blocks (one entry a block of its summary), with the file's text, which
// rows kept in it are read from.
struct IscFileRows {
  std::unique_ptr<core::MappedFile> text;
  std::deque<IscBlockRows> blocks;
};

// Sees the rows of a file as they are read, in the file's order (a block's rows, then its
// terminate rows): their bytes as FlatRows keeps them, a row or a run of rows at a time.
class RowSink {
 public:
  virtual ~RowSink() = default;
  virtual void Rows(const unsigned char* bytes, std::size_t count) = 0;
  // After the rows of a part of a block: terminate rows or not, their width, and the count of
  // such rows of the block so far.
  virtual void PartEnd(bool terminate, unsigned long width, std::size_t count) = 0;
};

// GetISCSummary, keeping each block's rows in rows when rows is not null. The same results. The
// block CRC register is left alone, so two files can be read at once; lastBlockCrc is the data CRC
// of the last block read whole, which GetISCSummary leaves in the register.
int ReadIscFile(const char* fileName, ISCSummary& summary, IscFileRows* rows,
                std::optional<std::uint32_t>& lastBlockCrc);

// GetISCSummary reading the file a window of windowBytes at a time and keeping no rows: the rows
// are handed to sink (when not null) as they are read. The block CRC register is left alone, as by
// ReadIscFile.
int StreamIscFile(const char* fileName, ISCSummary& summary, RowSink* sink,
                  std::optional<std::uint32_t>& lastBlockCrc,
                  std::size_t windowBytes = TextWindow::kWindowBytes);
// StreamIscFile that ends as at a failed read once stop is set (by another thread).
int StreamIscFile(const char* fileName, ISCSummary& summary, RowSink* sink,
                  std::optional<std::uint32_t>& lastBlockCrc, const std::atomic<bool>& stop);

// The summary of a file, as StreamIscFile gives it with no sink, read while the file's bytes are
// compared with otherFile's. Two threads share the work, each taking about half of both files:
// the file's first long run of even rows is decoded half by each, where at least minSplitBytes
// of the file stand after its start. same tells whether both files hold the same bytes; when
// they do not, the summary may have been stopped at the difference.
int SummarizeComparing(const char* fileName, const char* otherFile, ISCSummary& summary,
                       std::optional<std::uint32_t>& lastBlockCrc, bool& same,
                       std::uint64_t minSplitBytes = std::uint64_t{1} << 20,
                       std::size_t windowBytes = TextWindow::kWindowBytes);

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_SUMMARY_H
