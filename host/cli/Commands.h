#pragma once

#include <functional>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace host {

/// What a verb does once its arguments are read. Returns the exit status: 0 done, 1 done and something was found.
/// Throws HostError for bad input.
using Command = std::function<int()>;

/// Each adds one verb with its arguments to `app`. When the verb is the one given, `chosen` is set.
void AddImportCommand(CLI::App& app, Command& chosen);
void AddInfoCommand(CLI::App& app, Command& chosen);
void AddLinksCommand(CLI::App& app, Command& chosen);
void AddConvertCommand(CLI::App& app, Command& chosen);
void AddDumpCommand(CLI::App& app, Command& chosen);
void AddPositionsCommand(CLI::App& app, Command& chosen);
void AddPositionCommand(CLI::App& app, Command& chosen);
void AddAttributeCommand(CLI::App& app, Command& chosen);
void AddBilletCommand(CLI::App& app, Command& chosen);
void AddEmbodimentCommand(CLI::App& app, Command& chosen);
void AddMarkingCommand(CLI::App& app, Command& chosen);
void AddCheckCommand(CLI::App& app, Command& chosen);
void AddUpdateCommand(CLI::App& app, Command& chosen);
void AddCopyCommand(CLI::App& app, Command& chosen);

}  // namespace host
