// The process dies at every system call; the power fails at every change of the medium. What is found then is
// the state before or after the call in flight.
//
// The number of states is printed. PMSTORE_CRASH_SECONDS sets for how long drawn sessions are tried, each run
// other ones unless PMSTORE_CRASH_SEED says where to begin.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <unordered_set>

#include "tests/faults/medium.h"
#include "tests/faults/session.h"

namespace {

constexpr size_t kAllSubsets = 10;  // pending changes up to which every subset is tried
constexpr int kDrawnSubsets = 48;   // and how many beyond
#if defined(PMSTORE_FEW_STATES)
constexpr size_t kStates = 12000;
#else
constexpr size_t kStates = 100000;  // that have to be tried
#endif
constexpr int kSeconds = 170;  // of the processor's time, so that a busy machine is no failure

class Crash : public testing::Test {
 protected:
  void SetUp() override { InitPmTotalDataController(); }
  void TearDown() override {
    seam::Disarm();
    seam::Record(nullptr);
    ReleasePmTotalDataController();
  }

  static void closeAll(Session* s) {
    for (int v = 0; v < Session::kVaults; ++v) s->close(v);
  }

  FastFolder folder_;
};

// ---- The process dies ----

class Death : public Crash {
 protected:
  // Dies before system call `at`, if there is one; the number of calls otherwise.
  int run(const Scenario& scenario, int at, std::vector<Session::Call>* calls) {
    folder_.clear();
    Session s(folder_.path);
    scenario.prepare(s);
    s.record(nullptr);
    seam::Arm(seam::Fault::kDeath, at);
    scenario.run(s);
    *calls = s.calls();
    const int callNum = seam::CallNum();
    seam::Disarm();
    closeAll(&s);
    return callNum;
  }
};

TEST_F(Death, AtEverySystemCall) {
  int deaths = 0;
  for (const Scenario& scenario : kScenarios) {
    if (!scenario.recovers) continue;
    std::vector<Session::Call> calls, ignored;
    const int callNum = run(scenario, -1, &calls);
    ReleasePmTotalDataController();
    for (int at = 0; at < callNum; ++at, ++deaths) {
      SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(at));
      const pid_t child = fork();
      if (child == 0) {
        InitPmTotalDataController();
        run(scenario, at, &ignored);
        _exit(1);  // still alive
      }
      int status = -1;
      waitpid(child, &status, 0);
      ASSERT_EQ(status, 0);
      size_t inFlight = 0;
      while (inFlight + 1 < calls.size() && calls[inFlight].endCall <= at) ++inFlight;
      InitPmTotalDataController();
      for (int v = 0; v < Session::kVaults; ++v)
        EXPECT_EQ(Recover(Session::pathIn(folder_.path, v), calls[inFlight].during[v]), "");
      ReleasePmTotalDataController();
    }
    InitPmTotalDataController();
  }
  std::printf("%d deaths in %zu scenarios\n", deaths, kScenarios.size());
}

// ---- The power fails ----

class PowerFailure : public Crash {
 protected:
  // Runs calls on what stands in the folder and tries every state that they can leave. The choice of the
  // subsets is drawn by the seed.
  template <typename Run>
  void tryAll(const std::string& name, Session* s, uint32_t seed, Run run) {
    name_ = name;
    random_.seed(seed);
    medium_ = {};
    std::vector<seam::Change> changes;
    seam::Record(&changes, folder_.path);
    s->record(&changes);
    size_t next = 0, before = changes.size();
    run();
    seam::Record(nullptr);
    seam::Disarm();
    closeAll(s);
    while (next < before) medium_.apply(changes[next++]);
    for (const Session::Call& call : s->calls()) {
      for (; next < call.endChange && failures_ <= 5; ++next) {
        const size_t old = medium_.pendingNum();
        medium_.apply(changes[next]);
        // What was pending before was tried then, without the new changes.
        if (medium_.pendingNum() > old) trySubsets(call.during, old);
      }
      if (call.firstChange != call.endChange) trySubsets(call.after, 0);
    }
  }

  // Tries the subsets of the pending changes that hold at least one of those from number `fresh` on.
  void trySubsets(const Worlds* worlds, size_t fresh) {
    const size_t num = medium_.pendingNum();
    const size_t expected = std::hash<std::string>()(Describe(worlds[0]) + "/" + Describe(worlds[1]));
    std::vector<bool> subset(num);
    for (uint32_t i = 0; i < (num <= kAllSubsets ? 1u << num : kDrawnSubsets); ++i) {
      // Rarely any, about half, nearly all, and everything.
      const uint32_t share = i == 0 ? 16 : i % 3 == 0 ? 1 : i % 3 == 1 ? 8 : 15;
      for (size_t k = 0; k < num; ++k)
        subset[k] = num <= kAllSubsets ? (i >> k & 1) != 0 : random_() % 16 < share;
      const auto first = subset.begin() + static_cast<ptrdiff_t>(fresh);
      if (fresh == 0 || std::find(first, subset.end(), true) != subset.end())
        tryState(medium_.build(subset), worlds, expected);
    }
  }

  void tryState(const seam::Files& files, const Worlds* worlds, size_t expected) {
    std::string text;
    for (const auto& [name, bytes] : files) text.append(name).append(bytes.begin(), bytes.end());
    const size_t state = std::hash<std::string>()(text);
    states_.insert(state);
    if (!tried_.insert(state ^ expected).second) return;
    if (random_() % 100 == 0) {
      found_ = files;
      std::copy_n(worlds, Session::kVaults, foundWorlds_);
    }
    scratch_.clear();
    for (const auto& [name, bytes] : files) WriteBytes(scratch_.path / name, bytes);
    for (int v = 0; v < Session::kVaults; ++v) {
      if (files.empty() || (v > 0 && files.rbegin()->first != "b.db")) continue;
      const std::string wrong = Recover(Session::pathIn(scratch_.path, v), worlds[v]);
      if (!wrong.empty() && ++failures_ > 0) ADD_FAILURE() << name_ << ": " << wrong;
    }
  }

  // A drawn session, on what a crash has left or on what calls have made, where all goes well, or some call
  // fails, or all from that one on, or some now and then; the power fails nevertheless.
  void tryDrawn(uint32_t seed) {
    folder_.clear();
    seam::Arm(seam::Fault::kNone);
    Session s(folder_.path);
    if (seed % 3 == 1 && !found_.empty()) {
      for (const auto& [name, bytes] : found_) WriteBytes(folder_.path / name, bytes);
      for (int v = 0; v < Session::kVaults; ++v) s.assume(v, foundWorlds_[v]);
    } else {
      RunDrawn(s, seed, 6);
    }
    tryAll("seed " + std::to_string(seed), &s, seed, [&] {
      std::mt19937 random(seed);
      constexpr seam::Fault kFaults[] = {seam::Fault::kError, seam::Fault::kFailedFlush,
                                         seam::Fault::kShortWrite, seam::Fault::kStorm};
      if (seed % 3 == 2)
        seam::Arm(kFaults[random() % 4], 3 + static_cast<int>(random() % 80), random() % 2 == 0, seed);
      RunDrawn(s, ~seed, 12);
    });
  }

  seam::Files found_;  // one of the states, drawn
  Worlds foundWorlds_[Session::kVaults];
  FastFolder scratch_;
  seam::Medium medium_;
  std::string name_;
  std::mt19937 random_;
  std::unordered_set<size_t> states_, tried_;  // what the disk held; the same with what may be found there
  int failures_ = 0;
};

TEST_F(PowerFailure, EveryStateIsTheOneBeforeOrAfterTheCall) {
  const char* seconds = std::getenv("PMSTORE_CRASH_SECONDS");
  const char* firstSeed = std::getenv("PMSTORE_CRASH_SEED");
  const std::clock_t start = std::clock();
  const auto passed = [&] { return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC; };
  const int limit = seconds != nullptr ? std::atoi(seconds) : kSeconds;
  uint32_t seed = firstSeed != nullptr ? static_cast<uint32_t>(std::strtoul(firstSeed, nullptr, 10))
                  : seconds != nullptr ? std::random_device()()
                                       : 1;
  std::printf("first seed %u\n", seed);
  for (const Scenario& scenario : kScenarios) {
    if (!scenario.recovers) continue;
    folder_.clear();
    Session s(folder_.path);
    scenario.prepare(s);
    tryAll(scenario.name, &s, 1, [&] { scenario.run(s); });
  }
  const size_t fixed = states_.size();
  int sessions = 0;
  for (; passed() < limit && failures_ <= 5; ++sessions) {
    if (seconds == nullptr && states_.size() >= kStates) break;
    tryDrawn(seed++);
  }
  std::printf("%zu distinct states: %zu of %zu scenarios, the rest of %d drawn sessions; %.0f seconds\n",
              states_.size(), fixed, kScenarios.size(), sessions, passed());
  EXPECT_GE(states_.size(), seconds != nullptr ? fixed : kStates);
}

TEST_F(PowerFailure, WhatAFailedFlushLostIsWrittenAnew) {
  for (int at = 0; at < 6; ++at) {
    folder_.clear();
    seam::Arm(seam::Fault::kNone);
    Session s(folder_.path);
    s.open(0), s.insert(0, 1, 500);
    tryAll("flush " + std::to_string(at), &s, 1, [&] {
      seam::Arm(seam::Fault::kFailedFlush, at);
      // The blocks are given up, and marked, many of them at once; of the last one, only the mark is written.
      s.insert(0, 1, 64000, 1), s.remove(0, 1), s.close(0);
    });
  }
}

}  // namespace
