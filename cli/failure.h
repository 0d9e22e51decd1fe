// The one exception of the tool: what went wrong, how the tool ends, and what to do next.
#pragma once

#include <stdexcept>
#include <string>

#include "cli/exitcode.h"

namespace cli {

class Failure : public std::runtime_error {
 public:
  Failure(ExitCode exitCode, const std::string& what, std::string whatNext = "")
      : std::runtime_error(what), code(exitCode), next(std::move(whatNext)) {}

  ExitCode code;
  std::string next;  // empty, or a sentence for the person at the keyboard
};

}  // namespace cli
