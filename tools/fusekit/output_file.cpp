// Outputs written through temporary files.
#include "tools/fusekit/output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "tools/fusekit/cli.h"

namespace fusekit::cli {
namespace {

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string SuffixOf(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  const std::size_t slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  return path.substr(dot);
}

// The mode a new file would get, or the existing target's.
mode_t ModeFor(const std::string& target) {
  struct stat existing;
  if (stat(target.c_str(), &existing) == 0) return existing.st_mode & 07777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

std::string Reason() {
  return errno != 0 ? std::string(": ") + std::strerror(errno) : std::string();
}

}  // namespace

OutputFile::OutputFile(const std::string& target)
    : target_(target), label_(target), to_stdout_(target.empty() || target == "-") {
  if (to_stdout_) {
    label_ = "standard output";
    temporary_ = std::make_unique<TemporaryFile>("", "out", "");
  } else if (const std::string problem = Unwritable(); !problem.empty()) {
    Complain(label_, problem);
    return;
  } else {
    struct stat existing;
    const bool exists = stat(target_.c_str(), &existing) == 0;
    if (!exists || S_ISREG(existing.st_mode)) {
      // A link to a file: the file it names is replaced, not the link.
      std::error_code error;
      const std::filesystem::path real = std::filesystem::canonical(target_, error);
      if (exists && !error) target_ = real.string();
      temporary_ = std::make_unique<TemporaryFile>(FolderOf(target_), "out", SuffixOf(target_));
      rename_ = temporary_->Ready();
    }
    if (!rename_) temporary_ = std::make_unique<TemporaryFile>("", "out", SuffixOf(target_));
  }
  if (!temporary_->Ready()) {
    Complain(label_, "cannot be written: no temporary file can be made in " + TemporaryFolder());
  }
}

std::string OutputFile::Unwritable() const {
  struct stat existing;
  if (stat(target_.c_str(), &existing) == 0) {
    if (S_ISDIR(existing.st_mode)) return "is a folder, not a file";
    if (access(target_.c_str(), W_OK) != 0)
      return "cannot be written: " + std::string(std::strerror(errno));
    return "";
  }
  const std::string folder = FolderOf(target_);
  if (stat(folder.c_str(), &existing) != 0 || !S_ISDIR(existing.st_mode))
    return "cannot be created: there is no folder " + folder;
  if (access(folder.c_str(), W_OK) != 0)
    return "cannot be created: the folder " + folder + " cannot be written";
  return "";
}

bool OutputFile::Ready() const {
  return temporary_ != nullptr && temporary_->Ready();
}

bool OutputFile::CopyInto(std::FILE* out, std::string_view from, std::string_view to) const {
  std::FILE* in = std::fopen(temporary_->Path().c_str(), "rb");
  if (in == nullptr) return false;
  std::vector<char> buffer(1 << 16);
  bool first = true;
  bool ok = true;
  for (std::size_t got; ok && (got = std::fread(buffer.data(), 1, buffer.size(), in)) > 0;) {
    std::string_view chunk(buffer.data(), got);
    std::string replaced;
    if (first && !from.empty()) {
      const std::size_t at = chunk.substr(0, 4096).find(from);
      if (at != std::string_view::npos) {
        replaced.append(chunk.substr(0, at)).append(to).append(chunk.substr(at + from.size()));
        chunk = replaced;
      }
    }
    first = false;
    ok = std::fwrite(chunk.data(), 1, chunk.size(), out) == chunk.size();
  }
  ok = ok && std::ferror(in) == 0;
  std::fclose(in);
  return ok;
}

namespace {

std::FILE* data_output = nullptr;  // where "-" outputs go when standard output is silenced

}  // namespace

void SilenceStandardOutput() {
  std::fflush(stdout);
  const int real = dup(STDOUT_FILENO);
  if (real < 0) return;
  data_output = fdopen(real, "w");
  if (data_output == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return;
}

bool OutputFile::Commit(std::string_view from, std::string_view to) {
  errno = 0;
  if (to_stdout_) {
    std::cout.flush();
    std::FILE* out = data_output != nullptr ? data_output : stdout;
    const bool ok = CopyInto(out, from, to) && std::fflush(out) == 0;
    if (!ok) Complain(label_, "cannot be written" + Reason());
    return ok;
  }
  if (rename_ && from.empty()) {
    const bool ok = chmod(temporary_->Path().c_str(), ModeFor(target_)) == 0 &&
                    std::rename(temporary_->Path().c_str(), target_.c_str()) == 0;
    if (ok) temporary_->Keep();
    if (!ok) Complain(label_, "cannot be written" + Reason());
    return ok;
  }
  if (rename_) {
    // The replacement goes into a second temporary beside the first, which is then renamed.
    TemporaryFile fixed(FolderOf(target_), "out", SuffixOf(target_));
    std::FILE* out = fixed.Ready() ? std::fopen(fixed.Path().c_str(), "wb") : nullptr;
    bool ok = out != nullptr && CopyInto(out, from, to);
    if (out != nullptr) ok = std::fclose(out) == 0 && ok;
    ok = ok && chmod(fixed.Path().c_str(), ModeFor(target_)) == 0 &&
         std::rename(fixed.Path().c_str(), target_.c_str()) == 0;
    if (ok) fixed.Keep();
    if (!ok) Complain(label_, "cannot be written" + Reason());
    return ok;
  }
  // A device, a FIFO, or a folder the temporary could not go into: the bytes are copied.
  std::FILE* out = std::fopen(target_.c_str(), "wb");
  bool ok = out != nullptr && CopyInto(out, from, to);
  if (out != nullptr) ok = std::fclose(out) == 0 && ok;
  if (!ok) Complain(label_, "cannot be written" + Reason());
  return ok;
}

int FinishIscOutput(OutputFile& output, const char* deviceName, int result, const char* dataCRC) {
  if (result < 0) {
    ComplainStatus(output.Label(), "cannot be written", result);
    return kExitInvalidInput;
  }
  if (!output.Commit()) return kExitInvalidInput;
  std::printf("%s: written for %s, file checksum %.4X", output.Label().c_str(), deviceName, result);
  if (dataCRC != nullptr) std::printf(", data CRC %s", dataCRC);
  std::printf("\n");
  return kExitOk;
}

bool OutputIsAnInput(const std::vector<std::string>& inputs, const std::string& output) {
  if (output.empty() || output == "-") return false;
  for (const std::string& input : inputs) {
    if (input.empty() || input == "-") continue;
    std::error_code error;
    if (std::filesystem::equivalent(input, output, error) && !error) {
      Complain(output, input == output ? "is also the input: refusing to overwrite it"
                                       : "is the same file as the input " + input +
                                             ": refusing to overwrite it");
      return true;
    }
  }
  return false;
}

bool StandardOutputWritten() {
  std::cout.flush();
  errno = 0;
  const bool ok = std::cout.good() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (!ok) Complain("standard output", "cannot be written" + Reason());
  return ok;
}

}  // namespace fusekit::cli
