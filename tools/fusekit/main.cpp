// fusekit: the command-line face of the library.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/json.h"
#include "tools/fusekit/output_file.h"
#include "tools/fusekit/progress.h"

namespace {

// The edit distance of two words (insertions, deletions, substitutions, swaps of neighbours).
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      d[i][j] = std::min(
          {d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  }
  return d[a.size()][b.size()];
}

// The closest of the names to word, when it is close enough to be what was meant.
std::string Closest(const std::string& word, const std::vector<std::string>& names) {
  std::string best;
  std::size_t best_distance = word.size() / 2 + 1;
  for (const std::string& name : names) {
    const std::size_t distance = Distance(word, name);
    if (distance < best_distance) {
      best = name;
      best_distance = distance;
    }
  }
  return best;
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> LongOptionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  for (const CLI::Option* option : command.get_parent() != nullptr
                                       ? command.get_parent()->get_options()
                                       : std::vector<const CLI::Option*>{}) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

// "unknown command 'chek'; did you mean 'check'?" for a first word that names no command, or
// "unknown option '--devcie'; did you mean '--device'?" for an option the command does not
// have; "" when the arguments hold neither.
std::string MisspeltWordHint(const CLI::App& app, int argc, char** argv) {
  const std::vector<std::string> commands = CommandNames(app);
  const CLI::App* command = nullptr;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--device-db") {
      ++i;
      continue;
    }
    if (word.rfind("--device-db=", 0) == 0) continue;
    if (command == nullptr) {
      if (word.rfind("-", 0) == 0) continue;
      if (std::find(commands.begin(), commands.end(), word) == commands.end()) {
        const std::string meant = Closest(word, commands);
        return "unknown command '" + word + "'" +
               (meant.empty() ? "; see fusekit --help" : "; did you mean '" + meant + "'?");
      }
      command = app.get_subcommand(word);
      continue;
    }
    if (word.rfind("--", 0) != 0 || word == "--") continue;
    const std::string name = word.substr(0, word.find('='));
    const std::vector<std::string> options = LongOptionNames(*command);
    if (std::find(options.begin(), options.end(), name) != options.end() || name == "--help")
      continue;
    const std::string meant = Closest(name, options);
    return "unknown option '" + name + "' of " + command->get_name() +
           (meant.empty() ? "; see fusekit " + command->get_name() + " --help"
                          : "; did you mean '" + meant + "'?");
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  using namespace fusekit::cli;
  InstallTemporaryFileCleanup();
  CLI::App app{"fusekit: read, convert, check and compare programming files of programmable logic"};
  app.set_version_flag("--version", std::string("fusekit ") + fusekit::LibraryVersion());
  app.require_subcommand(1);
  app.fallthrough();

  GlobalOptions options;
  app.add_option("--device-db", options.device_db, "read the device database from FILE")
      ->option_text("FILE");
  bool json = false;
  bool quiet = false;
  app.add_flag("--json", json, "print the result as JSON (docs/json.md)");
  app.add_flag("-q,--quiet", quiet, "print nothing but errors; the exit status tells the result");
  // The flags steer every command, so they are taken before any command runs.
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--json") SetJsonWanted(true);
    if (word == "--quiet" || word == "-q") options.quiet = true;
  }
  if (options.quiet) SilenceStandardOutput();

  int exit_status = kExitOk;
  AddDevicesCommand(app, options, exit_status);
  AddCrcCommand(app, options, exit_status);
  AddCheckCommand(app, options, exit_status);
  AddCompareCommand(app, options, exit_status);
  AddVerifyCommand(app, options, exit_status);
  AddInfoCommand(app, options, exit_status);
  AddDumpCommand(app, options, exit_status);
  AddMapCommand(app, options, exit_status);
  AddConvertCommand(app, options, exit_status);
  AddExtractCommand(app, options, exit_status);
  AddJedecWriteCommands(app, options, exit_status);

  // What the command reads, for its progress on a terminal.
  std::string label;
  unsigned long long input_bytes = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    std::error_code error;
    const std::vector<std::string> commands = CommandNames(app);
    if (label.empty() && std::find(commands.begin(), commands.end(), word) != commands.end())
      label = word;
    else if (std::filesystem::is_regular_file(word, error))
      input_bytes += std::filesystem::file_size(word, error);
  }
  const Progress progress(label.empty() ? "working" : label, input_bytes, !options.quiet);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    const std::string hint = MisspeltWordHint(app, argc, argv);
    if (!hint.empty()) {
      std::cerr << "fusekit: " << hint << '\n';
    } else {
      app.exit(e);
    }
    return kExitUsage;
  }
  // What a command printed must have reached standard output (a full disk, a closed pipe).
  if ((exit_status == kExitOk || exit_status == kExitDifferent) && !StandardOutputWritten())
    return kExitInvalidInput;
  return exit_status;
}
