// Taking measurements: the clock, the process's memory, and the line that each result becomes.
//
// A result is one line of JSON: {"n":N,"repetition":R,"store":"...","step":"...","value":V}. Seconds, bytes,
// or what the step's name says.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

class Stopwatch {
 public:
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

// The value below which that share of the values lies; 0.5 gives the median.
double Quantile(std::vector<double> values, double share);

// A number of bytes from /proc/self/status: "VmHWM" (the most memory ever resident), "VmRSS", "RssAnon" (the
// resident part that no file stands behind).
uint64_t ProcessMemory(const char* field);

struct Label {
  uint32_t count;
  uint32_t repetition;
  std::string store;
};

class Report {
 public:
  Report(std::FILE* results, Label label) : results_(results), label_(std::move(label)) {}
  void add(const char* step, double value) const;

 private:
  std::FILE* results_;
  Label label_;
};

// Begins `work` in a process of its own, which ends with 0 when nothing was thrown.
pid_t StartChild(const std::function<void()>& work);

// Runs `work` in a process of its own and waits for it; throws when it failed. Before, everything that other
// work left to be written is written, so that nobody pays for it here.
void RunInChild(const std::function<void()>& work);

}  // namespace bench
