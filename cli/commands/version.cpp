// version: what this program is.
#include "cli/command.h"

namespace cli {

namespace {

struct Options {};

void Declare(CLI::App&, Options&) {}

ExitCode Version(const Options&, Console& console) {
  if (console.json) {
    console.document({{"version", PMSTORE_VERSION}, {"formatVersion", storage::kFormatVersion}});
  } else {
    console.line("pmstore {} (data file format {})", PMSTORE_VERSION, storage::kFormatVersion);
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterVersion(Tool& tool) {
  AddCommand<Options>(tool, "version", "Print the version", Declare, Version);
}

}  // namespace cli
