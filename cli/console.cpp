#include "cli/console.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/host.h"

namespace cli {

namespace {

const char* CodeName(ExitCode code) {
  switch (code) {
    case ExitCode::kFine:
      return "fine";
    case ExitCode::kProblems:
      return "problems";
    case ExitCode::kUsage:
      return "usage";
    case ExitCode::kMissing:
      return "missing";
    case ExitCode::kIoError:
      return "io";
    case ExitCode::kRefused:
      return "refused";
  }
  return "";
}

int outputError = 0;  // the first one of standard output

void Note(bool isWritten) {
  if (!isWritten && outputError == 0) outputError = errno != 0 ? errno : EIO;
}

bool FlushOutput() {
  errno = 0;
  Note(std::fflush(stdout) == 0);
  return outputError == 0;
}

void WriteOutput(const void* data, size_t size) {
  errno = 0;
  if (size > 0) Note(std::fwrite(data, 1, size, stdout) == size);
}

}  // namespace

void Console::text(const std::string& value) {
  WriteOutput(value.data(), value.size());
}

void Console::writeLine(const std::string& text) {
  Console::text(text + "\n");
}

void Console::message(const std::string& text) {
  FlushOutput();
  errorText(text + "\n");
}

void Console::errorText(const std::string& value) {
  static_cast<void>(std::fwrite(value.data(), 1, value.size(), stderr));  // nobody is left to be told
  std::fflush(stderr);                                                    // not everywhere by itself
}

void Console::document(const Json& value) {
  writeLine(value.dump(2, ' ', false, Json::error_handler_t::replace));
}

void Console::record(const Json& value) {
  writeLine(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Console::bytes(const Bytes& value) {
  WriteOutput(value.data(), value.size());
}

void Console::report(const Failure& failure) {
  if (json) {
    Json error{{"code", static_cast<int>(failure.code)},
               {"name", CodeName(failure.code)},
               {"message", failure.what()}};
    if (!failure.next.empty()) error["next"] = failure.next;
    record(Json{{"error", error}});
    if (FlushOutput()) return;
  }
  message(fmt::format("pmstore: {}", failure.what()));
  if (!failure.next.empty()) message(Wrapped(failure.next));
}

void Console::flush() {
  if (FlushOutput()) return;
  throw Failure(ExitCode::kIoError,
                fmt::format("cannot write to standard output: {}", std::strerror(outputError)));
}

std::string Console::paint(Colour colour, const std::string& text) const {
  static const bool kColoured = ObeysEscapes(stdout) && Environment("NO_COLOR").empty();
  if (!kColoured || json) return text;
  constexpr const char* kCodes[] = {"31", "32", "33", "34", "2", "1"};
  return fmt::format("\x1b[{}m{}\x1b[0m", kCodes[static_cast<int>(colour)], text);
}

}  // namespace cli
