#include "cli/progress.h"

#include <algorithm>
#include <chrono>

#include "cli/host.h"
#include "platform/platform.h"

namespace cli {

Progress::Progress(const Console& console, std::string label, uint64_t total)
    : label_(std::move(label)),
      total_(total),
      active_(!console.quiet && !console.noProgress && total > 0 && ObeysEscapes(stderr)) {}

Progress::~Progress() {
  if (active_ && shown_ >= 0) Console::errorText("\r\x1b[K");
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
  Console::errorText(fmt::format("\r{:<10} [{}{}] {:3}%", label_, std::string(static_cast<size_t>(full), '#'),
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
