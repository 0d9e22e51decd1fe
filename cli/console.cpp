#include "cli/console.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "cli/host.h"
#include "platform/platform.h"

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

void WriteMessage(const std::string& text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));  // nobody is left to be told
  std::fflush(stderr);                                                  // not everywhere by itself
}

}  // namespace

void AddName(Json& json, const std::optional<PmString>& name) {
  if (!name || IsWellFormed(*name)) {
    json["name"] = name ? Json(ToUtf8(*name)) : Json();
    return;
  }
  Bytes units;
  for (const auto unit : *name) {
    units.push_back(static_cast<uint8_t>(unit));
    units.push_back(static_cast<uint8_t>(unit >> 8));
  }
  json["name16"] = ToBase64(units);
}

void Console::text(const std::string& value) {
  WriteOutput(value.data(), value.size());
}

void Console::writeLine(const std::string& text) {
  Console::text(text + "\n");
}

void Console::message(const std::string& text) {
  FlushOutput();
  WriteMessage(text + "\n");
}

// A console is spoken to, whether or not what is said needs to know its state.
// NOLINTBEGIN(readability-convert-member-functions-to-static)
void Console::document(const Json& value) {
  writeLine(value.dump(2, ' ', false, Json::error_handler_t::replace));
}

void Console::record(const Json& value) {
  writeLine(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}
// NOLINTEND(readability-convert-member-functions-to-static)

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

Progress::Progress(const Console& console, std::string label, uint64_t total)
    : label_(std::move(label)),
      total_(total),
      active_(!console.quiet && !console.noProgress && total > 0 && ObeysEscapes(stderr)) {}

Progress::~Progress() {
  if (active_ && shown_ >= 0) WriteMessage("\r\x1b[K");
}

void Progress::advance(uint64_t amount) {
  done_ += amount;
  if (active_) draw();
}

void Progress::draw() {
  constexpr int kWidth = 30;
  const int percent = static_cast<int>(done_ >= total_ ? 100 : done_ * 100 / total_);
  if (percent == shown_) return;
  shown_ = percent;
  const int full = percent * kWidth / 100;
  WriteMessage(fmt::format("\r{:<10} [{}{}] {:3}%", label_, std::string(static_cast<size_t>(full), '#'),
                           std::string(static_cast<size_t>(kWidth - full), '.'), percent));
}

WriteProgress::WriteProgress(const Console& console, std::vector<PmString> files, uint64_t expected)
    : files_(std::move(files)), progress_(console, "writing", expected), begin_(size()) {
  if (progress_.isActive()) watcher_ = std::thread([this] { watch(); });
}

WriteProgress::~WriteProgress() {
  if (!watcher_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isEnded_ = true;
  }
  ended_.notify_one();
  watcher_.join();
}

void WriteProgress::watch() {
  constexpr auto kInterval = std::chrono::milliseconds(100);
  uint64_t seen = 0;
  std::unique_lock<std::mutex> lock(mutex_);
  while (!ended_.wait_for(lock, kInterval, [this] { return isEnded_; })) {
    const uint64_t now = std::max(size(), begin_) - begin_;
    if (now > seen) progress_.advance(now - seen);
    seen = std::max(seen, now);
  }
}

uint64_t WriteProgress::size() const {
  uint64_t sum = 0;
  for (const PmString& file : files_)
    sum += static_cast<uint64_t>(std::max<int64_t>(0, platform::SizeOf(file.c_str())));
  return sum;
}

}  // namespace cli
