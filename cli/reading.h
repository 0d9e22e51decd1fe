// What every command that only looks shares: its options, and the checks around its reading.
#pragma once

#include <string>

#include "cli/command.h"

namespace cli {

struct ReadOptions {
  std::string vault;
  Source source = Source::kAuto;
};

void DeclareReading(CLI::App& command, ReadOptions& options);

// Fails when a file that is to be written, perhaps over an old one, is the vault or stands beside it for it.
void RequireOutputApart(const ReadOptions& options, const std::string& output);

// To be called when all reading is done: fails when someone wrote to the vault meanwhile.
void RequireUnchanged(const Image& image);

}  // namespace cli
