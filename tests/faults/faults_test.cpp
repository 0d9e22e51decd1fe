// Drawn sessions of calls, during which calls of the system fail or behind which the power fails. What is found
// then, by a plain open and by a restore, is the state before or after the call in flight, with everything that was
// reported done; and the next session on what was recovered is as safe.
//
// PMSTORE_TEST_SEED is the first seed, 1 without it. PMSTORE_FAULTS_STATES sets how many states of the medium are
// tried, PMSTORE_FAULTS_SESSIONS how many sessions run with failing calls. What was tried is printed.

#include <unordered_set>

#include "tests/faults/medium.h"
#include "tests/faults/session.h"
#include "tests/support/random.h"

namespace {

namespace fs = std::filesystem;

#if defined(PMSTORE_FEW_STATES)
constexpr uint32_t kStates = 12000, kSessions = 4;
#else
constexpr uint32_t kStates = 100000, kSessions = 20;
#endif

void Empty(const fs::path& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry.path());
}

class Faults : public testing::Test {
 protected:
  Faults() { EXPECT_EQ(InitPmTotalDataController(), 1); }
  ~Faults() override {
    seam::Disarm();
    seam::Record(nullptr);
    ReleasePmTotalDataController();
  }

  // What is left when the process ends now.
  void judgeDeath(const Session& s, Opening opening) const {
    seam::suspended = true;
    for (int v = 0; v < Session::kVaults; ++v) {
      const fs::path left = Session::pathIn(dead_.path(), v);
      CopyVault(s.path(v), left);
      EXPECT_EQ(Judge(left, opening, s.states(v)), "");
    }
    seam::suspended = false;
  }

  const uint32_t firstSeed_ = Setting("PMSTORE_TEST_SEED", 1);
  TempFolder live_, dead_;
};

// ---- Calls fail ----

struct Row {
  const char* name;
  seam::Fault fault;
  const char* ending;  // of the names of the files that fail
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << row.name;  // the test's name, too
}

class Failure : public Faults, public testing::WithParamInterface<Row> {
 protected:
  // Whether the fault struck: it does not when the session makes fewer calls.
  bool tryOnce(uint32_t seed, int at, bool stays) {
    Empty(live_.path());
    seam::Arm(seam::Fault::kNone);
    seam::obliges = seed % 2 != 0;
    Session s(live_.path());
    s.draw(seed, 6);
    seam::Arm(GetParam().fault, at, stays, seed, GetParam().ending);
    s.draw(~seed, GetParam().fault == seam::Fault::kStorm ? 15 : 8);
    const bool struck = seam::struck != 0;
    if (at % 2 == 0) s.takeDown();
    judgeDeath(s, Opening::kPlain);
    seam::Disarm();
    for (int v = 0; v < Session::kVaults; ++v) {
      if (at % 3 == 0) s.close(v);
      s.open(v, at % 2 == 0 ? Opening::kPlain : Opening::kRestore);
      s.insert(v, 7, 1500, true);
      s.stop(v);
    }
    judgeDeath(s, Opening::kRestore);
    s.takeDown();
    return struck;
  }
};

TEST_P(Failure, OfEveryCallOfASession) {
  const uint32_t sessions = Setting("PMSTORE_FAULTS_SESSIONS", kSessions);
  int trials = 0;
  for (uint32_t seed = firstSeed_; seed < firstSeed_ + sessions; ++seed) {
    for (const bool stays : {false, true}) {
      for (int at = 0;; ++at, ++trials) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", call " + std::to_string(at) +
                     (stays ? " and on" : ""));
        if (!tryOnce(seed, at, stays)) break;
        ASSERT_FALSE(HasFailure());
      }
    }
  }
  std::printf("%s: %d trials in %u sessions\n", GetParam().name, trials, sessions);
}

const Row kRows[] = {{"any call", seam::Fault::kError, ""},
                     {"no space", seam::Fault::kNoSpace, ""},
                     {"short writes", seam::Fault::kShortWrite, ""},
                     {"flushes", seam::Fault::kFailedFlush, ""},
                     {"lost writes", seam::Fault::kLostWrite, ""},
                     {"memory", seam::Fault::kNoMemory, ""},
                     {"a storm", seam::Fault::kStorm, ""},
                     {"writes of the data file", seam::Fault::kNoSpace, ".db"},
                     {"flushes of the data file", seam::Fault::kFailedFlush, ".db"},
                     {"calls on the journal", seam::Fault::kError, ".pmj"},
                     {"calls on the backup", seam::Fault::kError, ".bak"}};
INSTANTIATE_TEST_SUITE_P(Faults, Failure, testing::ValuesIn(kRows));

// ---- The power fails ----

class PowerFailure : public Faults {
 protected:
  static constexpr size_t kAllSubsets = 6;  // pending changes up to which every subset is tried
  static constexpr int kDrawnSubsets = 24;  // and how many beyond

  // Runs calls on what stands in the folder and tries the states that they can leave.
  template <typename Run>
  void tryAll(const std::string& name, Session* s, uint32_t seed, Run run) {
    name_ = name;
    random_.seed(seed);
    medium_ = {};
    std::vector<seam::Change> changes;
    seam::Record(&changes, live_.path());
    s->record(&changes);
    size_t next = 0;
    const size_t before = changes.size();
    run();
    seam::Record(nullptr);
    seam::Disarm();
    while (next < before) medium_.apply(changes[next++]);
    for (const Session::Call& call : s->calls()) {
      for (; next < call.endChange; ++next) {
        medium_.apply(changes[next]);
        trySome(call.during);
      }
      if (call.firstChange != call.endChange) trySome(call.after);
      if (HasFailure()) return;
    }
    Empty(dead_.path());
    write(medium_.now(), dead_.path());
    for (const auto& entry : fs::directory_iterator(live_.path()))
      EXPECT_TRUE(ReadBytes(entry.path()) == ReadBytes(dead_.path() / entry.path().filename()))
          << "not seen by the seam";
    s->takeDown();
  }

  // Everything has happened (so it is when the process ends here), nothing, or the one and not the other.
  void trySome(const States* states) {
    const size_t num = medium_.pendingNum();
    const bool all = num <= kAllSubsets;
    const size_t expected = std::hash<std::string>()(Describe(states[0]) + "/" + Describe(states[1]));
    std::vector<seam::Fate> fates(num);
    for (uint32_t i = 0; i < (all ? 1u << num : kDrawnSubsets); ++i) {
      const uint32_t share = i == 0 ? 16 : i == 1 ? 0 : i % 3 == 0 ? 1 : i % 3 == 1 ? 8 : 15;
      const bool destroys = i > 1 && random_() % 4 == 0;
      for (size_t k = 0; k < num; ++k) {
        const bool happened = all ? (~i >> k & 1) != 0 : random_() % 16 < share;
        fates[k] = happened ? seam::Fate::kHappened : seam::Fate::kMissed;
        if (destroys && random_() % 8 == 0) fates[k] = seam::Fate::kDestroyed;
      }
      if (HasFailure()) return;
      tryState(medium_.build(fates, random_), states, expected);
    }
  }

  void tryState(const seam::Files& files, const States* states, size_t expected) {
    ++tried_;
    size_t hash = 0;
    const auto mix = [&](size_t value) { hash = (hash ^ value) * 0x9E3779B97F4A7C15; };
    for (const auto& [name, content] : files) {
      mix(std::hash<std::string>()(name) + content.size);
      for (const auto& [position, bytes] : content.sectors)
        mix(position ^
            std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
    }
    states_.insert(hash);
    if (!judged_.insert(hash ^ expected).second) return;
    if (random_() % 100 == 0) {
      found_ = files;
      std::copy_n(states, Session::kVaults, foundStates_);
    }
    for (const Opening opening : {Opening::kPlain, Opening::kRestore}) {
      Empty(dead_.path());
      write(files, dead_.path());
      for (int v = 0; v < Session::kVaults; ++v) {
        const std::string wrong = Judge(Session::pathIn(dead_.path(), v), opening, states[v]);
        if (!wrong.empty())
          ADD_FAILURE() << name_ << (opening == Opening::kPlain ? ": " : ", restored: ") << wrong;
      }
    }
  }

  static void write(const seam::Files& files, const fs::path& folder) {
    for (const auto& [name, content] : files) {
      std::ofstream stream(folder / name, std::ios::binary);
      for (const auto& [position, bytes] : content.sectors) {
        stream.seekp(static_cast<std::streamoff>(position));
        stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
      }
      stream.close();
      fs::resize_file(folder / name, content.size);
    }
  }

  // A drawn session, on what a crash has left or on what calls have made, where all goes well, or some call
  // fails, or all from that one on, or some now and then; the power fails nevertheless.
  void tryDrawn(uint32_t seed) {
    Empty(live_.path());
    seam::Arm(seam::Fault::kNone);
    seam::obliges = seed % 4 != 0;
    Session s(live_.path());
    if (seed % 3 == 1 && !found_.empty()) {
      write(found_, live_.path());
      for (int v = 0; v < Session::kVaults; ++v) s.assume(v, foundStates_[v]);
    } else {
      s.draw(seed, 6);
    }
    tryAll("seed " + std::to_string(seed), &s, seed, [&] {
      std::mt19937 random(seed);
      constexpr seam::Fault kFaults[] = {seam::Fault::kError, seam::Fault::kFailedFlush,
                                         seam::Fault::kLostWrite, seam::Fault::kShortWrite,
                                         seam::Fault::kStorm};
      if (seed % 3 == 2)
        seam::Arm(kFaults[random() % std::size(kFaults)], 3 + static_cast<int>(random() % 80),
                  random() % 2 == 0, seed);
      s.draw(~seed, 12);
    });
  }

  seam::Files found_;  // one of the states, drawn
  States foundStates_[Session::kVaults];
  seam::Medium medium_;
  std::string name_;
  std::mt19937 random_;
  std::unordered_set<size_t> states_, judged_;  // what the disk held; the same with what may be found there
  size_t tried_ = 0;
};

// What drawn sessions do not reach.
struct Scenario {
  const char* name;
  void (*prepare)(Session& s);
  void (*run)(Session& s);
};

const Scenario kScenarios[] = {
    {"a load behind the end", [](Session& s) { s.open(0), s.insert(0, 1, 1500); },
     [](Session& s) {
       s.insert(0, 2, 270500, true), s.insert(0, 3, 280000), s.remove(0, 2), s.close(0);
       s.open(0), s.insert(0, 4, 280000, true), s.close(0);
     }},
    {"a journal that starts over",
     [](Session& s) {
       s.open(0), s.insert(0, 1, 400000), s.insert(0, 2, 1500);
       for (int i = 0; i < 11; ++i) s.modify(0, 1, 0, 400000, true);
       s.remove(0, 2);
     },
     [](Session& s) { s.insert(0, 3, 700), s.modify(0, 1, 10, 10, true), s.insert(0, 4, 700, true); }},
    {"a vault whose making failed at its name", [](Session&) {},
     [](Session& s) {
       seam::Arm(seam::Fault::kFailedFlush);
       s.open(0), s.open(0), s.insert(0, 1, 1500);
     }},
    {"a close in a transaction that freed blocks",
     [](Session& s) { s.open(0), s.insert(0, 1, 1500), s.insert(0, 2, 3000), s.start(0), s.remove(0, 1); },
     [](Session& s) { s.close(0); }},
    {"a recovery of a frame that may not have arrived", [](Session& s) { s.open(0), s.insert(0, 1, 1500); },
     [](Session& s) {
       seam::Arm(seam::Fault::kFailedFlush, 0, false, 0, ".pmj");
       s.insert(0, 2, 1500);
       seam::Arm(seam::Fault::kError, 0, true, 0, ".pmt");
       s.close(0);
       seam::Disarm();
       s.open(0);
     }},
    {"a restore",
     [](Session& s) {
       s.open(0), s.insert(0, 1, 3300), s.insert(0, 2, 1500);
       const Bytes backup = ReadBytes(BackupOf(s.path(0))).value_or(Bytes());
       s.remove(0, 1, true), s.insert(0, 2, 5000, true), s.insert(0, 5, 4000), s.close(0);
       WriteBytes(BackupOf(s.path(0)), backup);
       States states = s.states(0);
       states.insert(Blank(backup));
       s.assume(0, states);
     },
     [](Session& s) { s.open(0, Opening::kRestore), s.insert(0, 3, 100), s.close(0); }},
};

TEST_F(PowerFailure, LeavesTheStateBeforeOrAfterWhatIsRare) {
  for (const Scenario& scenario : kScenarios) {
    Empty(live_.path());
    Session s(live_.path());
    scenario.prepare(s);
    tryAll(scenario.name, &s, 1, [&] { scenario.run(s); });
    std::printf("%s: %zu distinct states\n", scenario.name, states_.size());
  }
}

TEST_F(PowerFailure, LeavesTheStateBeforeOrAfterTheCall) {
  const uint32_t wanted = Setting("PMSTORE_FAULTS_STATES", kStates);
  uint32_t seed = firstSeed_;
  for (; states_.size() < wanted && !HasFailure(); ++seed) tryDrawn(seed);
  std::printf("%zu states, %zu distinct ones, each opened and restored; %u sessions\n", tried_,
              states_.size(), seed - firstSeed_);
}

}  // namespace
