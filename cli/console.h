// Everything the tool says, in one place: data on standard output, messages and progress on standard error,
// text for people or JSON for programs.
//
// Invariants:
//  1. With --json, standard output carries JSON only: one document, or one object a line for lists. An error
//     is a document (a last line) of its own: {"error": {...}}.
//  2. --quiet silences notes, never warnings and errors.
//  3. Colour is used only on a terminal that obeys escape codes and never when NO_COLOR is set.
#pragma once

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string>

#include "cli/bytes.h"
#include "cli/failure.h"
#include "cli/text.h"

namespace cli {

using Json = nlohmann::ordered_json;

enum class Colour { kRed, kGreen, kYellow, kBlue, kDim, kBold };

class Console {
 public:
  bool json = false;
  bool quiet = false;
  bool noProgress = false;

  // A line of text on standard output.
  template <typename... Args>
  void line(fmt::format_string<Args...> format, Args&&... args) {
    writeLine(fmt::format(format, std::forward<Args>(args)...));
  }

  // A message on standard error.
  template <typename... Args>
  void note(fmt::format_string<Args...> format, Args&&... args) {
    if (!quiet) message(fmt::format(format, std::forward<Args>(args)...));
  }

  template <typename... Args>
  void warn(fmt::format_string<Args...> format, Args&&... args) {
    message("pmstore: warning: " + fmt::format(format, std::forward<Args>(args)...));
  }

  void document(const Json& value);
  void record(const Json& value);
  static void bytes(const Bytes& value);
  static void text(const std::string& value);       // as it is, without a line end
  static void errorText(const std::string& value);  // the same on standard error

  // Reports a failure on the stream that the mode asks for; on standard error too when standard output fails.
  void report(const Failure& failure);

  // Carries standard output to its reader; a failure to do so is an I/O error.
  static void flush();

  std::string paint(Colour colour, const std::string& text) const;

 private:
  static void writeLine(const std::string& text);
  static void message(const std::string& text);
};

}  // namespace cli
