// How a command joins the tool.
//
// Each command has a file of its own in commands/ with one register function, which declares the command's
// options and gives it a body; commands.cpp lists them in the order of the help. A body returns how the tool
// ends, or throws a Failure.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "cli/console.h"
#include "cli/image.h"

namespace cli {

struct Tool {
  CLI::App* app = nullptr;
  Console console;
  std::function<ExitCode()> chosen;  // the body of the command on the command line
};

// Adds a subcommand whose options live as long as the tool: `declare` binds them, `run` is the body.
template <typename Options>
void AddCommand(Tool& tool, const char* name, const char* what, void (*declare)(CLI::App&, Options&),
                ExitCode (*run)(const Options&, Console&)) {
  CLI::App* command = tool.app->add_subcommand(name, what);
  const auto options = std::make_shared<Options>();
  declare(*command, *options);
  command->callback(
      [&tool, options, run] { tool.chosen = [&tool, options, run] { return run(*options, tool.console); }; });
}

void RegisterCommands(Tool& tool);

void RegisterInfo(Tool& tool);
void RegisterLs(Tool& tool);
void RegisterGet(Tool& tool);
void RegisterPut(Tool& tool);
void RegisterRm(Tool& tool);
void RegisterImport(Tool& tool);
void RegisterExport(Tool& tool);
void RegisterCheck(Tool& tool);
void RegisterReport(Tool& tool);
void RegisterRestore(Tool& tool);
void RegisterSalvage(Tool& tool);
void RegisterBlocks(Tool& tool);
void RegisterBlock(Tool& tool);
void RegisterDiff(Tool& tool);
void RegisterCompact(Tool& tool);
void RegisterCopy(Tool& tool);
void RegisterDump(Tool& tool);
void RegisterVersion(Tool& tool);
void RegisterCompletion(Tool& tool);

}  // namespace cli
