#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/TextForms.h"

namespace {

constexpr int c_badInput = 2;

int ReportFailure(const std::string& text) {
  fmt::print(stderr, "qlinks: {}\n", host::OneLine(text));
  return c_badInput;
}

// The verb's own help, where one is asked for: the general one does not show what it is that is wrong.
std::string HelpCommand(const CLI::App& app) {
  const std::vector<CLI::App*> verbs = app.get_subcommands();
  return verbs.empty() ? "qlinks --help" : fmt::format("qlinks {} --help", verbs.front()->get_name());
}

// Reads the command line and runs the verb.
int Run(int argc, char** argv) {
  CLI::App app{"Keeps a product's data and its 3D model tied together.", "qlinks"};
  app.set_version_flag("--version", "qlinks " QLINKS_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Component paths are written with the outermost component first, such as 3/1/2; / is the document itself.\n"
      "Exit status: 0 done; 1 done, and something was found; 2 bad usage or input, with one line that says what.");
  host::Command command;
  host::AddImportCommand(app, command);
  host::AddUpdateCommand(app, command);
  host::AddPositionsCommand(app, command);
  host::AddPositionCommand(app, command);
  host::AddAttributeCommand(app, command);
  host::AddBilletCommand(app, command);
  host::AddEmbodimentCommand(app, command);
  host::AddMarkingCommand(app, command);
  host::AddCheckCommand(app, command);
  host::AddCopyCommand(app, command);
  host::AddInfoCommand(app, command);
  host::AddLinksCommand(app, command);
  host::AddConvertCommand(app, command);
  host::AddDumpCommand(app, command);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      app.exit(error);  // --help and --version, which it prints
      host::FinishOutput();
      return 0;
    }
    return ReportFailure(fmt::format("{}; '{}' shows the usage", error.what(), HelpCommand(app)));
  }
  const int status = command();
  host::FinishOutput();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  // A file that reaches its size limit and a reader of the output that is gone are errors of the write, not the end of
  // the process, which has to take back what it has half written. Cannot fail: both are signals that may be ignored.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  try {
    return Run(argc, argv);
  } catch (const host::HostError& error) {
    return ReportFailure(error.what());
  } catch (const std::bad_alloc&) {
    return ReportFailure("out of memory; close other programs or take a smaller file");
  } catch (const std::exception& error) {
    return ReportFailure(error.what());
  }
}
