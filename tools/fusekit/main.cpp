// fusekit: the command-line face of the library.
#include <iostream>

#include "tools/fusekit/cli.h"
#include "tools/fusekit/output_file.h"

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

  int exit_status = kExitOk;
  AddDevicesCommand(app, options, exit_status);
  AddCrcCommand(app, options, exit_status);
  AddCheckCommand(app, options, exit_status);
  AddCompareCommand(app, options, exit_status);
  AddVerifyCommand(app, options, exit_status);
  AddInfoCommand(app, options, exit_status);
  AddDumpCommand(app, options, exit_status);
  AddConvertCommand(app, options, exit_status);
  AddExtractCommand(app, options, exit_status);
  AddJedecWriteCommands(app, options, exit_status);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return kExitUsage;
  }
  // What a command printed must have reached standard output (a full disk, a closed pipe).
  if ((exit_status == kExitOk || exit_status == kExitDifferent) && !StandardOutputWritten())
    return kExitInvalidInput;
  return exit_status;
}
