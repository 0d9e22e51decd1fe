// The process dies at every system call; the power fails at every change of the medium. What is found then is
// the state before or after the call in flight.
//
// The number of states is printed. PMSTORE_CRASH_SECONDS sets for how long drawn sessions are tried, each run
// other ones unless PMSTORE_CRASH_SEED says where to begin.

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <unordered_set>

#include "tests/faults/medium.h"
#include "tests/faults/scenarios.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kAllSubsets = 10;  // pending changes up to which every subset is tried
constexpr int kDrawnSubsets = 48;   // and how many beyond
#if defined(PMSTORE_FEW_STATES)
constexpr size_t kStatesInCi = 15000;
#else
constexpr size_t kStatesInCi = 120000;
#endif
constexpr int kSecondsInCi = 150;

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

TEST_F(Crash, TheProcessDiesAtEverySystemCall) {
  int deaths = 0;
  for (const Scenario& scenario : kScenarios) {
    if (!scenario.recovers) continue;
    std::vector<Session::Call> calls;
    const auto runOnce = [&](seam::Fault fault, int at) {
      folder_.clear();
      Session s(folder_.path());
      scenario.prepare(s);
      std::vector<seam::Change> changes;
      s.record(&changes);
      seam::Arm(fault, at, false);
      scenario.run(s);
      calls = s.calls();
      const int callNum = seam::CallNum();
      seam::Disarm();
      closeAll(&s);
      return callNum;
    };
    const int callNum = runOnce(seam::Fault::kDeath, -1);
    const std::vector<Session::Call> expected = calls;
    ReleasePmTotalDataController();
    for (int at = 0; at < callNum; ++at) {
      if (const pid_t child = fork(); child == 0) {
        InitPmTotalDataController();
        runOnce(seam::Fault::kDeath, at);
        _exit(1);  // still alive
      } else {
        int status = -1;
        waitpid(child, &status, 0);
        ASSERT_EQ(status, 0) << scenario.name << ", call " << at;
      }
      size_t inFlight = 0;
      while (inFlight + 1 < expected.size() && expected[inFlight].endCall <= at) ++inFlight;
      InitPmTotalDataController();
      for (int v = 0; v < Session::kVaults; ++v) {
        const auto path = v == 0 ? folder_.path() / "a.db" : folder_.path() / "b.db";
        EXPECT_EQ(Recover(path, expected[inFlight].during[v]), "") << scenario.name << ", call " << at;
      }
      ReleasePmTotalDataController();
      ++deaths;
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
  void tryAll(const std::string& name, Session* s, Run run, uint32_t seed) {
    name_ = name;
    random_.seed(seed);
    std::vector<seam::Change> changes;
    medium_ = {};
    seam::Record(&changes);
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      const std::string path = entry.path();
      medium_.place(entry.path().filename(), seam::FileNumber(path), ReadBytes(path).value_or(Bytes()));
    }
    s->record(&changes);
    run();
    seam::Record(nullptr);
    seam::Disarm();
    closeAll(s);
    const std::vector<Session::Call> calls = s->calls();
    for (const Session::Call& call : calls) {
      if (call.firstChange == call.endChange) continue;
      for (size_t i = call.firstChange; i < call.endChange; ++i) {
        const size_t old = medium_.pendingNum();
        medium_.apply(changes[i]);
        // What was pending before was tried then, without the new changes.
        if (medium_.pendingNum() > old) trySubsets(call.during, old);
        if (HasFatalFailure() || failures_ > 5) return;
      }
      trySubsets(call.after, 0);
    }
  }

  // Tries the subsets of the pending changes that hold at least one of those from number `fresh` on.
  void trySubsets(const Session::Worlds* worlds, size_t fresh) {
    const size_t num = medium_.pendingNum();
    const auto isNew = [&](const std::vector<bool>& subset) {
      return fresh == 0 ||
             std::find(subset.begin() + static_cast<ptrdiff_t>(fresh), subset.end(), true) != subset.end();
    };
    std::vector<bool> subset(num);
    if (num <= kAllSubsets) {
      for (uint32_t bits = 0; bits < 1u << num; ++bits) {
        for (size_t i = 0; i < num; ++i) subset[i] = (bits >> i & 1) != 0;
        if (isNew(subset)) tryState(medium_.build(subset), worlds);
      }
      return;
    }
    for (int i = 0; i < kDrawnSubsets; ++i) {
      // Rarely any, about half, nearly all, and everything.
      const uint32_t share = i == 0 ? 16 : i % 3 == 0 ? 1 : i % 3 == 1 ? 8 : 15;
      for (size_t k = 0; k < num; ++k) subset[k] = random_() % 16 < share;
      if (isNew(subset)) tryState(medium_.build(subset), worlds);
    }
  }

  void tryState(const seam::Files& files, const Session::Worlds* worlds) {
    if (!states_.insert(hash(files, worlds)).second) return;
    if (random_() % 100 == 0) {
      found_ = files;
      std::copy_n(worlds, Session::kVaults, foundWorlds_);
    }
    scratch_.clear();
    for (const auto& [name, bytes] : files) WriteBytes(scratch_.path() / name, bytes);
    for (int v = 0; v < Session::kVaults; ++v) {
      if (files.empty() || (v > 0 && files.rbegin()->first != "b.db")) continue;
      const std::string wrong = Recover(scratch_.path() / (v == 0 ? "a.db" : "b.db"), worlds[v]);
      if (wrong.empty()) continue;
      ++failures_;
      ADD_FAILURE() << name_ << ": " << wrong;
    }
  }

  static size_t hash(const seam::Files& files, const Session::Worlds* worlds) {
    std::string text;
    for (const auto& [name, bytes] : files) {
      text += name;
      text.append(bytes.begin(), bytes.end());
    }
    for (int v = 0; v < Session::kVaults; ++v) {
      for (const World& world : worlds[v]) {
        for (const Item& item : world.listing())
          text += std::to_string(item.id) + std::string(item.bytes.begin(), item.bytes.end());
      }
    }
    return std::hash<std::string>()(text);
  }

  seam::Files found_;  // one of the states, drawn
  Session::Worlds foundWorlds_[Session::kVaults];
  FastFolder scratch_;
  seam::Medium medium_;
  std::string name_;
  std::mt19937 random_;
  std::unordered_set<size_t> states_;
  int failures_ = 0;
};

TEST_F(PowerFailure, EveryStateIsTheOneBeforeOrAfterTheCall) {
  const char* seconds = std::getenv("PMSTORE_CRASH_SECONDS");
  const auto start = std::chrono::steady_clock::now();
  const auto passed = [&] { return std::chrono::steady_clock::now() - start; };
  const std::chrono::seconds limit(seconds != nullptr ? std::atoi(seconds) : kSecondsInCi);
  const char* firstSeed = std::getenv("PMSTORE_CRASH_SEED");
  uint32_t seed = firstSeed != nullptr ? static_cast<uint32_t>(std::strtoul(firstSeed, nullptr, 10))
                  : seconds != nullptr ? std::random_device()()
                                       : 1;
  std::printf("first seed %u\n", seed);

  for (const Scenario& scenario : kScenarios) {
    if (!scenario.recovers) continue;
    folder_.clear();
    Session s(folder_.path());
    scenario.prepare(s);
    tryAll(
        scenario.name, &s, [&] { scenario.run(s); }, 1);
  }
  const size_t fixed = states_.size();
  int sessions = 0;
  for (; passed() < limit && (seconds != nullptr || states_.size() < kStatesInCi) && failures_ <= 5;
       ++seed, ++sessions) {
    folder_.clear();
    Session s(folder_.path());
    seam::Arm(seam::Fault::kNone, 0, false);
    std::mt19937 random(seed);
    if (seed % 3 == 1 && !found_.empty()) {
      // On what a crash has left.
      for (const auto& [name, bytes] : found_) WriteBytes(folder_.path() / name, bytes);
      for (int v = 0; v < Session::kVaults; ++v) s.assume(v, foundWorlds_[v]);
    } else {
      RunDrawn(s, seed, 6);
    }
    tryAll(
        "seed " + std::to_string(seed), &s,
        [&] {
          // Some with a call that fails, or all from that one on; the power fails nevertheless.
          constexpr seam::Fault kFaults[] = {seam::Fault::kError, seam::Fault::kFailedFlush,
                                             seam::Fault::kShortWrite};
          if (seed % 3 == 2)
            seam::Arm(kFaults[random() % 3], static_cast<int>(random() % 80), random() % 2 == 0);
          RunDrawn(s, ~seed, 12);
        },
        seed);
  }
  std::printf("%zu distinct states: %zu of %zu scenarios, the rest of %d drawn sessions; %.0f seconds\n",
              states_.size(), fixed, kScenarios.size(), sessions,
              std::chrono::duration<double>(passed()).count());
}

}  // namespace
