// WriteImageRuns: runs of bytes written as Intel hex, S-records or extended Tektronix records,
// the inverse of ReadImageRuns.
#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "core/file_io.h"
#include "core/record_text.h"
#include "fusekit/image.h"
#include "fusekit/status.h"

namespace fusekit::image {
namespace {

constexpr char kEol[] = "\n";

// Writes text to the file as it grows past a block, and at the end.
class BlockWriter {
 public:
  explicit BlockWriter(std::FILE* file) : file_(file) {}
  std::string& Text() { return text_; }
  void Drain(bool all) {
    if (!all && text_.size() < (1u << 16)) return;
    if (std::fwrite(text_.data(), 1, text_.size(), file_) != text_.size()) ok_ = false;
    text_.clear();
  }
  bool Ok() const { return ok_; }

 private:
  std::FILE* file_;
  std::string text_;
  bool ok_ = true;
};

void WriteIntel(const std::vector<ImageRun>& runs, std::size_t per_record, BlockWriter& out) {
  core::IntelHexLines lines(per_record, kEol);
  for (const ImageRun& run : runs) {
    for (std::size_t done = 0; done < run.bytes.size(); done += per_record) {
      const std::size_t count = std::min(per_record, run.bytes.size() - done);
      lines.Put(static_cast<std::uint32_t>(run.address + done), run.bytes.data() + done, count,
                out.Text());
      out.Drain(false);
    }
  }
  lines.Finish(out.Text());
}

void WriteMotorola(const std::vector<ImageRun>& runs, std::size_t per_record, BlockWriter& out) {
  std::uint64_t highest = 0;
  for (const ImageRun& run : runs) {
    if (!run.bytes.empty())
      highest = std::max<std::uint64_t>(highest, run.address + run.bytes.size() - 1);
  }
  // The narrowest address that holds every byte: S1 (16 bits), S2 (24 bits), S3 (32 bits).
  const unsigned data_type = highest <= 0xFFFF ? 1 : highest <= 0xFFFFFF ? 2 : 3;
  const std::uint8_t header[] = {'f', 'u', 's', 'e', 'k', 'i', 't'};
  out.Text() += core::MotorolaRecord(0, 0, header, sizeof header) + kEol;
  unsigned long records = 0;
  for (const ImageRun& run : runs) {
    for (std::size_t done = 0; done < run.bytes.size(); done += per_record) {
      const std::size_t count = std::min(per_record, run.bytes.size() - done);
      out.Text() += core::MotorolaRecord(data_type, static_cast<std::uint32_t>(run.address + done),
                                         run.bytes.data() + done, count) +
                    kEol;
      ++records;
      out.Drain(false);
    }
  }
  if (records <= 0xFFFF)
    out.Text() += core::MotorolaRecord(5, static_cast<std::uint32_t>(records), nullptr, 0) + kEol;
  out.Text() += core::MotorolaRecord(10 - data_type, 0, nullptr, 0) + kEol;
}

void WriteTektronix(const std::vector<ImageRun>& runs, std::size_t per_record, BlockWriter& out) {
  for (const ImageRun& run : runs) {
    for (std::size_t done = 0; done < run.bytes.size(); done += per_record) {
      const std::size_t count = std::min(per_record, run.bytes.size() - done);
      out.Text() += core::TektronixRecord(6, static_cast<std::uint32_t>(run.address + done),
                                          run.bytes.data() + done, count) +
                    kEol;
      out.Drain(false);
    }
  }
}

int Write(const char* file_name, char format, const std::vector<ImageRun>& runs, int record_bytes) {
  const int most = format == 't' ? 120 : 255;
  const int fallback = format == 'i' ? 16 : 32;
  if ((format != 'i' && format != 'm' && format != 't') || record_bytes < 0 || record_bytes > most)
    return kStatusNullArgument;
  for (const ImageRun& run : runs) {
    if (!run.bytes.empty() && run.address + run.bytes.size() - 1 > 0xFFFFFFFFull)
      return kStatusNullArgument;  // beyond the 32-bit addresses of the formats
  }
  core::UniqueFile file = core::OpenFile(file_name, "wb");
  if (!file) return kStatusCannotOpenFile;
  BlockWriter out(file.get());
  const std::size_t per_record =
      static_cast<std::size_t>(record_bytes != 0 ? record_bytes : fallback);
  if (format == 'i') WriteIntel(runs, per_record, out);
  if (format == 'm') WriteMotorola(runs, per_record, out);
  if (format == 't') WriteTektronix(runs, per_record, out);
  out.Drain(true);
  return core::FinishWriting(file) && out.Ok() ? 0 : kStatusWriteFailed;
}

}  // namespace
}  // namespace fusekit::image

int WriteImageRuns(const char* fileName, char format, const std::vector<ImageRun>& runs,
                   int recordBytes) {
  if (fileName == nullptr || fileName[0] == '\0') return fusekit::kStatusNullArgument;
  try {
    return fusekit::image::Write(fileName, format, runs, recordBytes);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
