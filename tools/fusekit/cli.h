// Shared pieces of the fusekit commands: exit statuses, messages, the device database.
#ifndef FUSEKIT_TOOLS_CLI_H
#define FUSEKIT_TOOLS_CLI_H

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "fusekit/fusekit.h"
#include "tools/fusekit/temp_files.h"

namespace fusekit::cli {

// Exit statuses of the tool.
enum ExitStatus : int {
  kExitOk = 0,
  kExitDifferent = 1,  // a check or comparison found differences
  kExitUsage = 2,
  kExitInvalidInput = 3,  // the input could not be read or is invalid
};

// Options every command can see.
struct GlobalOptions {
  std::string device_db;  // --device-db: another database than the built-in one
  bool quiet = false;     // --quiet: nothing but errors on the terminal
};

// printf to standard output, unless the command prints JSON instead (--json).
void Say(const char* format, ...) __attribute__((format(printf, 1, 2)));

// "fusekit: <file>: <what>" on standard error.
void Complain(const std::string& file, const std::string& what);
// The same with a library status shown beside its meaning; with the name of the function that
// returned it, the meaning that function gives the status.
void ComplainStatus(const std::string& file, const std::string& what, int status,
                    const char* function = nullptr);

// What a status means for the function that returned it (the library's general meaning for a
// function or status without one of its own).
std::string StatusMeaning(int status, const char* function);

// Whether the file at path can be read; when not, says why in plain words after label ("does not
// exist", "is a directory", "file is empty", "cannot be opened for reading: <reason>"). An
// empty file is readable for the commands that take any bytes (crc, dump).
bool Readable(const std::string& path, const std::string& label, bool empty_is_fine = false);

// Loads the database the options name (or the built-in one); complains and returns false on
// failure.
bool LoadDatabase(const GlobalOptions& options, DeviceDatabase& database);

// The record named name, copied out of the database the options name. Complains and returns an
// exit status other than kExitOk when the database cannot be read or has no such device.
int DeviceByName(const GlobalOptions& options, const std::string& name, DeviceInfo& device);

// Makes a file name the library can open for a command argument; "-" copies standard input to
// a temporary file under TMPDIR, removed when the object goes.
class InputFile {
 public:
  explicit InputFile(std::string argument);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  // False when standard input could not be copied.
  bool Ready() const { return ready_; }
  const std::string& Path() const { return path_; }
  // The name to show in messages.
  const std::string& Label() const { return label_; }

 private:
  std::string path_;
  std::string label_;
  std::unique_ptr<TemporaryFile> temporary_;  // the copy of standard input
  bool ready_ = true;
};

// Each command adds its subcommand; the callback stores the command's exit status.
void AddDevicesCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddCrcCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddCheckCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddCompareCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddVerifyCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddInfoCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddConvertCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddExtractCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddDumpCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
void AddMapCommand(CLI::App& app, const GlobalOptions& options, int& exit_status);
// The programming data of a file for a picture: read for the device named, or a JEDEC file for
// a record made from itself. kExitOk, or the exit status after a message.
int ReadForPicture(const GlobalOptions& options, const std::string& path, const std::string& label,
                   const std::string& device_name, SVFPlusData& data);
// Draws data (against other, when given) as a PNG file at target.
int WritePicture(const std::string& target, const SVFPlusData& data, const SVFPlusData* other);
// usercode, merge and split.
void AddJedecWriteCommands(CLI::App& app, const GlobalOptions& options, int& exit_status);

}  // namespace fusekit::cli

#endif  // FUSEKIT_TOOLS_CLI_H
