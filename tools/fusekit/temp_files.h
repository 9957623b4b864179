// Temporary files of the tool: made with mkstemp under TMPDIR (or in a chosen folder), removed
// when their owner goes, and removed by a signal that ends the tool (SIGINT, SIGTERM, SIGHUP);
// SIGPIPE is ignored, so a closed pipe is a failed write the command reports and cleans up after.
#ifndef FUSEKIT_TOOLS_TEMP_FILES_H
#define FUSEKIT_TOOLS_TEMP_FILES_H

#include <initializer_list>
#include <string>
#include <vector>

namespace fusekit::cli {

// The folder of temporary files: TMPDIR when set, else /tmp.
std::string TemporaryFolder();

// Installs the signal handling above; called once at the start of the tool.
void InstallTemporaryFileCleanup();

// A new empty file (mode 0600) that is removed when the object goes, unless Keep was called.
class TemporaryFile {
 public:
  // In folder (TemporaryFolder() when empty), named ".fusekit-<stem>-XXXXXX<suffix>".
  TemporaryFile(const std::string& folder, const std::string& stem, const std::string& suffix);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // False when the file could not be made (the folder cannot be written).
  bool Ready() const { return !path_.empty(); }
  const std::string& Path() const { return path_; }
  // The file is no longer this object's to remove (it was renamed into place).
  void Keep();

 private:
  std::string path_;
  int slot_ = -1;  // its place among the paths a signal removes
};

// A temporary folder, removed with what it holds when the object goes; the files it will hold
// are named up front so that a signal can remove them too.
class TemporaryFolderOf {
 public:
  explicit TemporaryFolderOf(std::initializer_list<const char*> file_names);
  ~TemporaryFolderOf();
  TemporaryFolderOf(const TemporaryFolderOf&) = delete;
  TemporaryFolderOf& operator=(const TemporaryFolderOf&) = delete;

  bool Ready() const { return !path_.empty(); }
  std::string Path(const char* name) const { return path_ + "/" + name; }
  std::string& Folder() { return path_; }

 private:
  std::string path_;
  std::vector<int> slots_;
};

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_TEMP_FILES_H
