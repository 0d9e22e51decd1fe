// version: what this program is.
#include "cli/command.h"

namespace cli {

namespace {

struct Options {};

std::string VersionText() {
  return fmt::format("pmstore {} (data file format {})", PMSTORE_VERSION, storage::kFormatVersion);
}

void Declare(CLI::App&, Options&) {}

ExitCode Version(const Options&, Console& console) {
  if (console.json) {
    console.document({{"version", PMSTORE_VERSION}, {"formatVersion", storage::kFormatVersion}});
  } else {
    console.line("{}", VersionText());
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterVersion(Tool& tool) {
  tool.app->set_version_flag("--version", VersionText(), "Print the version");
  AddCommand<Options>(tool, "version", "Print the version", Declare, Version);
}

}  // namespace cli
