#include "cli/command.h"

namespace cli {

void RegisterCommands(Tool& tool) {
  constexpr void (*kCommands[])(Tool&) = {
      RegisterLs,     RegisterGet,    RegisterRm,  //
      RegisterImport, RegisterExport,              //
      RegisterCheck,  RegisterDump,
  };
  for (const auto registerCommand : kCommands) registerCommand(tool);
}

}  // namespace cli
