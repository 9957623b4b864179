// Temporary files of the tool, and their removal when a signal ends it.
#include "tools/fusekit/temp_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace fusekit::cli {
namespace {

// The paths a signal handler removes: fixed slots of fixed size, so that the handler touches no
// allocator. A path too long for a slot is simply not registered (its owner still removes it).
constexpr int kSlots = 32;
constexpr std::size_t kPathBytes = 4096;
char g_paths[kSlots][kPathBytes];
volatile std::sig_atomic_t g_used[kSlots];

int Register(const std::string& path) {
  if (path.size() >= kPathBytes) return -1;
  for (int i = 0; i < kSlots; ++i) {
    if (g_used[i] != 0) continue;
    std::memcpy(g_paths[i], path.c_str(), path.size() + 1);
    g_used[i] = 1;
    return i;
  }
  return -1;
}

void Unregister(int slot) {
  if (slot >= 0) g_used[slot] = 0;
}

extern "C" void RemoveAndDie(int signal_number) {
  // Files first, folders after (a folder's files are registered after it, so go backwards).
  for (int i = kSlots - 1; i >= 0; --i) {
    if (g_used[i] == 0) continue;
    if (unlink(g_paths[i]) != 0) rmdir(g_paths[i]);
  }
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

}  // namespace

std::string TemporaryFolder() {
  const char* folder = std::getenv("TMPDIR");
  return folder != nullptr && folder[0] != '\0' ? folder : "/tmp";
}

void InstallTemporaryFileCleanup() {
  std::signal(SIGPIPE, SIG_IGN);
  for (int s : {SIGINT, SIGTERM, SIGHUP}) std::signal(s, RemoveAndDie);
}

TemporaryFile::TemporaryFile(const std::string& folder, const std::string& stem,
                             const std::string& suffix) {
  std::string pattern =
      (folder.empty() ? TemporaryFolder() : folder) + "/.fusekit-" + stem + "-XXXXXX" + suffix;
  const int fd = mkstemps(pattern.data(), static_cast<int>(suffix.size()));
  if (fd < 0) return;
  close(fd);
  path_ = pattern;
  slot_ = Register(path_);
}

TemporaryFile::~TemporaryFile() {
  if (path_.empty()) return;
  unlink(path_.c_str());
  Unregister(slot_);
}

void TemporaryFile::Keep() {
  Unregister(slot_);
  path_.clear();
}

TemporaryFolderOf::TemporaryFolderOf(std::initializer_list<const char*> file_names) {
  std::string pattern = TemporaryFolder() + "/fusekit-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) return;
  path_ = pattern;
  slots_.push_back(Register(path_));
  for (const char* name : file_names) slots_.push_back(Register(Path(name)));
}

TemporaryFolderOf::~TemporaryFolderOf() {
  if (path_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
  for (int slot : slots_) Unregister(slot);
}

}  // namespace fusekit::cli
