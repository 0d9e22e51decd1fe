// Every file operation of every scenario fails, once and from then on. The calls answer with their codes,
// what the engine holds for clean is on disk, and after a retry, or a close and the recovery rule, nothing is
// lost.

#include "tests/faults/scenarios.h"

namespace {

enum Ending {
  kRetry,          // a sync with everything in order, then the process ends without closing
  kClose,          // a close with everything in order
  kCloseAsFailing  // a close while calls still fail
};

struct Trial {
  const Scenario& scenario;
  seam::Fault fault;
  int at;
  bool fromThenOn;
  Ending ending;
};

class Failure : public testing::Test {
 protected:
  // Whether the fault struck: it does not when the scenario makes fewer calls.
  bool tryOnce(const Trial& trial) {
    folder_.clear();
    const std::filesystem::path live = folder_.path() / "live";
    create_directory(live);
    EXPECT_EQ(InitPmTotalDataController(), 1);
    seam::Arm(seam::Fault::kNone, 0, false);
    Session s(live);
    trial.scenario.prepare(s);
    seam::Arm(trial.fault, trial.at, trial.fromThenOn);
    trial.scenario.run(s);
    const bool struck = seam::Struck();
    if (trial.ending != kCloseAsFailing) seam::Disarm();
    for (int v = 0; v < Session::kVaults; ++v) end(&s, v, trial.ending);
    seam::Disarm();
    ReleasePmTotalDataController();
    return struck;
  }

  void end(Session* s, int v, Ending ending) {
    seam::Suspend(true);
    EXPECT_EQ(s->checkClean(v), "");
    seam::Suspend(false);
    const bool wasOpen = s->isOpen(v);
    std::filesystem::path left = s->path(v);
    if (ending == kRetry && wasOpen) {
      s->sync(v);
      s->stop(v);
      EXPECT_EQ(s->lastResult(), 0);
      left = folder_.path() / left.filename();
      copy(s->path(v), left);
      if (exists(BackupOf(s->path(v)))) copy(BackupOf(s->path(v)), BackupOf(left));
    }
    const Session::Worlds synced = s->onMedium(v);
    s->close(v);
    seam::Suspend(true);
    const std::string wrong = exists(left) ? Recover(left, ending == kRetry ? synced : s->onMedium(v)) : "";
    EXPECT_EQ(wrong, "");
    EXPECT_FALSE(exists(BackupOf(left).replace_extension(".pmt")));
    seam::Suspend(false);
  }

  void tryAll(seam::Fault fault, Ending once, Ending fromThenOn) {
    int trials = 0;
    for (const Scenario& scenario : kScenarios) {
      for (const bool stays : {false, true}) {
        for (int at = 0; !HasFailure(); ++at, ++trials) {
          SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(at) +
                       (stays ? " and on" : ""));
          if (!tryOnce({scenario, fault, at, stays, stays ? fromThenOn : once})) break;
        }
      }
    }
    std::printf("%d trials in %zu scenarios\n", trials, kScenarios.size());
  }

  FastFolder folder_;
};

TEST_F(Failure, OfAnyCallThenARetry) {
  tryAll(seam::Fault::kError, kRetry, kRetry);
}

TEST_F(Failure, OfAnyCallThenAClose) {
  tryAll(seam::Fault::kError, kClose, kCloseAsFailing);
}

TEST_F(Failure, NoSpace) {
  tryAll(seam::Fault::kNoSpace, kRetry, kCloseAsFailing);
}

TEST_F(Failure, ShortWrites) {
  tryAll(seam::Fault::kShortWrite, kClose, kRetry);
}

TEST_F(Failure, Flushes) {
  tryAll(seam::Fault::kFailedFlush, kRetry, kCloseAsFailing);
}

}  // namespace
