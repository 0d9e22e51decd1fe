// Everything the tool says, in one place: data on standard output, messages and progress on standard error,
// text for people or JSON for programs.
//
// Invariants:
//  1. With --json, standard output carries JSON only: one document, or one object a line for lists. An error
//     is a document (a last line) of its own: {"error": {...}}.
//  2. --quiet silences notes, never warnings and errors. Progress is drawn only on a terminal that obeys
//     escape codes.
//  3. Colour is used only on such a terminal and never when NO_COLOR is set.
#pragma once

#include <fmt/format.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cli/failure.h"
#include "cli/text.h"

namespace cli {

using Json = nlohmann::ordered_json;

// Adds a name to an object: null for none, "name", or "name16", the base64 of its code units (little-endian),
// for a name that is not well-formed UTF-16.
void AddName(Json& json, const std::optional<PmString>& name);

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
  static void text(const std::string& value);  // as it is, without a line end

  // Reports a failure on the stream that the mode asks for; on standard error too when standard output fails.
  void report(const Failure& failure);

  // Carries standard output to its reader; a failure to do so is an I/O error.
  static void flush();

  std::string paint(Colour colour, const std::string& text) const;

 private:
  static void writeLine(const std::string& text);
  static void message(const std::string& text);
};

// A progress bar on standard error while it lives; nothing at all where it cannot be erased.
class Progress {
 public:
  Progress(const Console& console, std::string label, uint64_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  void advance(uint64_t amount);
  bool isActive() const { return active_; }

 private:
  void draw();

  std::string label_;
  uint64_t total_;
  uint64_t done_ = 0;
  int shown_ = -1;  // the percentage on the screen
  bool active_;
};

// A progress bar while somebody else writes files: how much they have grown by, of an expected amount.
class WriteProgress {
 public:
  WriteProgress(const Console& console, std::vector<PmString> files, uint64_t expected);
  ~WriteProgress();
  WriteProgress(const WriteProgress&) = delete;
  WriteProgress& operator=(const WriteProgress&) = delete;

 private:
  void watch();
  uint64_t size() const;

  std::vector<PmString> files_;
  Progress progress_;
  uint64_t begin_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isEnded_ = false;
  std::thread watcher_;
};

}  // namespace cli
