// What the tool tells the shell when it ends.
#pragma once

namespace cli {

enum class ExitCode : int {
  kFine = 0,
  kProblems = 1,  // the command ran; it found problems or differences
  kUsage = 2,     // the command line makes no sense
  kMissing = 3,   // no such vault, item or file
  kIoError = 4,   // the system could not read or write
  kRefused = 5,   // the vault is damaged, or the command would endanger it
};

}  // namespace cli
