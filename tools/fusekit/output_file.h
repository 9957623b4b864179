// The outputs of the commands: the library writes a temporary file, and only a complete one is
// put in place, so an existing file is never replaced by a broken one.
#ifndef FUSEKIT_TOOLS_OUTPUT_FILE_H
#define FUSEKIT_TOOLS_OUTPUT_FILE_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/fusekit/temp_files.h"

namespace fusekit::cli {

class OutputFile {
 public:
  // target: a path, or "-" (or "") for standard output. The temporary lies in the target's
  // folder when the target is (or will be) a regular file, so that Commit can rename it; else
  // (standard output, a device, a FIFO, a folder that cannot be written) under TMPDIR, and
  // Commit copies it.
  explicit OutputFile(const std::string& target);

  // False, after a message, when the target cannot be written or no temporary file could be
  // made; nothing was touched then.
  bool Ready() const;
  // Where the library writes; always a regular file that may be read back.
  const std::string& Path() const { return temporary_->Path(); }  // only when Ready
  // The name of the target in messages ("standard output" for "-").
  const std::string& Label() const { return label_; }
  bool ToStandardOutput() const { return to_stdout_; }

  // Puts the complete temporary in place. With from not empty, its first occurrence in the
  // first line that holds it within the first 4 KiB is replaced by to on the way (a report that
  // names its own file). False, after a message naming the target, when it cannot be written.
  bool Commit(std::string_view from = {}, std::string_view to = {});

 private:
  // Why the target cannot be written ("" when it can): a folder, a file without write
  // permission, a folder that does not exist or cannot be written.
  std::string Unwritable() const;
  bool CopyInto(std::FILE* out, std::string_view from, std::string_view to) const;

  std::string target_;
  std::string label_;
  bool to_stdout_ = false;
  bool rename_ = false;  // a regular file: renamed into place
  std::unique_ptr<TemporaryFile> temporary_;
};

// The end of writing an ISC data file for a device: the writer's result (the file checksum, or a
// negative status, which is complained of), the output put in place, and the line that says so
// (with the data CRC when dataCRC is not null). An exit status.
int FinishIscOutput(OutputFile& output, const char* deviceName, int result,
                    const char* dataCRC = nullptr);

// Refuses (with a message, returning true) an output that is one of the inputs, by name, link
// or hard link: the command would destroy its input. Empty and "-" names are not files.
bool OutputIsAnInput(const std::vector<std::string>& inputs, const std::string& output);

// Standard output after a command: false, after a message, when what was written to it could
// not be (a full disk, a closed pipe).
bool StandardOutputWritten();

// --quiet: what the commands print goes nowhere from now on, while the data an output named "-"
// holds still reaches standard output.
void SilenceStandardOutput();

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_OUTPUT_FILE_H
