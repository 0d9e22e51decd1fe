#include "cli/journalbeside.h"

#include <fmt/format.h>

#include "cli/failure.h"
#include "cli/host.h"
#include "cli/journalimages.h"

namespace cli {

void JournalBeside::lay(const platform::File& data, uint64_t size, Reading reading) {
  if (path.empty() || platform::IsMissing(path.c_str())) return;
  if (platform::SizeOf(path.c_str()) == 0) return;  // emptied where it could not be removed
  // What another program does to the files meanwhile may look like anything, but not for long.
  constexpr int kTries = 5;
  const SystemCall call;
  storage::Overlay::Outcome outcome = storage::Overlay::kNotOurs;
  for (int i = 0; i < kTries && outcome != storage::Overlay::kLaid; ++i) {
    overlay = std::make_unique<storage::Overlay>();
    outcome = overlay->open(path.c_str(), data);
  }
  if (outcome == storage::Overlay::kLaid) {
    state = JournalRole::kLaid;
    endsTorn = reading == Reading::kForRescue && file.open(path.c_str(), platform::Access::kRead) &&
               !ReadJournalImages(file).torn.empty();
    return;
  }
  overlay.reset();
  state = JournalRole::kForeign;
  if (reading == Reading::kForRescue) return layOnRest(data, size);
  if (outcome == storage::Overlay::kUnreadable) {
    throw Failure(ExitCode::kIoError,
                  fmt::format("cannot read the journal {}{}", ToUtf8(path), call.reason()),
                  "Without it the vault's last changes are missing. --source file reads the bare file.");
  }
}

void JournalBeside::layOnRest(const platform::File& data, uint64_t size) {
  const SystemCall call;
  if (!file.open(path.c_str(), platform::Access::kRead)) {
    whyUnreadable = call.reason();
    state = JournalRole::kUnreadable;
    return;
  }
  places = FindPlacesWithJournal(data, size, file);
  if (places) state = JournalRole::kLaidOnRest;
}

}  // namespace cli
