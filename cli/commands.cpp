// The list of all commands, in the order in which the help shows them.
#include "cli/command.h"

namespace cli {

void RegisterCommands(Tool& tool) {
  constexpr void (*kCommands[])(Tool&) = {
      RegisterInfo,    RegisterLs,     RegisterGet,     RegisterPut,        RegisterRm,
      RegisterImport,  RegisterExport, RegisterCheck,   RegisterReport,     RegisterRestore,
      RegisterSalvage, RegisterBlocks, RegisterBlock,   RegisterDiff,       RegisterCompact,
      RegisterCopy,    RegisterDump,   RegisterVersion, RegisterCompletion,
  };
  for (const auto registerCommand : kCommands) registerCommand(tool);
}

}  // namespace cli
