// Progress bars. They are drawn only where they can be erased again: on a terminal that obeys escape codes.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cli/console.h"
#include "cli/unicode.h"

namespace cli {

// A progress bar on standard error while it lives.
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
