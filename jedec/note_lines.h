// Note queries answered from text a parse has already read: the lines that may hold a marker are
// found while the reader parses the file, and only they are read again.
#ifndef FUSEKIT_JEDEC_NOTE_LINES_H
#define FUSEKIT_JEDEC_NOTE_LINES_H

#include <cstdint>
#include <vector>

#include "core/file_io.h"

namespace fusekit::jedec {

// Collects, from the chunks it is shown, the start of every line that holds a letter (either
// case): the only lines in which a marker beginning with that letter can stand.
class CandidateLines : public core::ChunkObserver {
 public:
  explicit CandidateLines(char letter);
  void Observe(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) override;
  const std::vector<std::uint64_t>& Starts() const { return starts_; }

 private:
  std::uint8_t upper_;
  std::uint8_t lower_;
  std::uint64_t line_start_ = 0;  // start of the line the last chunk ended in
  std::vector<std::uint64_t> starts_;
};

// True when the name ends in ".jed", compared without regard to case.
bool HasJedName(const char* path);

// The fuse address of the END configuration data, as GetJEDEC_ENDDATA_NOTE finds it, from the
// candidate lines of "N" collected over the whole file. 0 when absent.
int EndDataAddress(const char* path, const std::vector<std::uint64_t>& candidate_starts);

}  // namespace fusekit::jedec

#endif  // FUSEKIT_JEDEC_NOTE_LINES_H
