// Every file operation of every scenario fails, once and from then on. The calls answer with their codes,
// what the engine holds for clean is on disk, and after a retry, or a close and the recovery rule, nothing is
// lost.

#include "tests/faults/session.h"

namespace {

enum Ending {
  kRetry,          // a sync with everything in order, then the process ends without closing
  kClose,          // a close with everything in order
  kCloseAsFailing  // a close while calls still fail
};

struct Row {
  const char* name;
  seam::Fault fault;
  Ending once, fromThenOn;
};

const Row kRows[] = {{"any call, retry", seam::Fault::kError, kRetry, kRetry},
                     {"any call, close", seam::Fault::kError, kClose, kCloseAsFailing},
                     {"no space", seam::Fault::kNoSpace, kRetry, kCloseAsFailing},
                     {"short writes", seam::Fault::kShortWrite, kClose, kRetry},
                     {"flushes", seam::Fault::kFailedFlush, kRetry, kCloseAsFailing}};

class Failure : public testing::TestWithParam<Row> {
 protected:
  // Whether the fault struck: it does not when the scenario makes fewer calls.
  bool tryOnce(const Scenario& scenario, int at, bool fromThenOn) {
    folder_.clear();
    create_directory(folder_.path / "live");
    EXPECT_EQ(InitPmTotalDataController(), 1);
    seam::Arm(seam::Fault::kNone);
    Session s(folder_.path / "live");
    scenario.prepare(s);
    seam::Arm(GetParam().fault, at, fromThenOn);
    scenario.run(s);
    const bool struck = seam::Struck();
    const Ending ending = fromThenOn ? GetParam().fromThenOn : GetParam().once;
    if (ending != kCloseAsFailing) seam::Disarm();
    for (int v = 0; v < Session::kVaults; ++v) end(&s, v, ending);
    seam::Disarm();
    ReleasePmTotalDataController();
    return struck;
  }

  void end(Session* s, int v, Ending ending) {
    seam::Suspend(true);
    EXPECT_EQ(s->checkClean(v), "");
    seam::Suspend(false);
    std::filesystem::path left = s->path(v);
    if (ending == kRetry && s->isOpen(v)) {
      s->sync(v);
      s->stop(v);
      EXPECT_EQ(s->lastResult(), 0);
      left = folder_.path / left.filename();
      copy(s->path(v), left);
      if (exists(BackupOf(s->path(v)))) copy(BackupOf(s->path(v)), BackupOf(left));
    }
    const Worlds synced = s->onMedium(v);
    s->close(v);
    seam::Suspend(true);
    const std::string wrong = exists(left) ? Recover(left, ending == kRetry ? synced : s->onMedium(v)) : "";
    EXPECT_EQ(wrong, "");
    EXPECT_FALSE(exists(BackupOf(left).replace_extension(".pmt")));
    seam::Suspend(false);
  }

  FastFolder folder_;
};

TEST_P(Failure, OfEveryCallOfEveryScenario) {
  int trials = 0;
  for (const Scenario& scenario : kScenarios) {
    for (const bool stays : {false, true}) {
      for (int at = 0; !HasFailure(); ++at, ++trials) {
        SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(at) + (stays ? " and on" : ""));
        if (!tryOnce(scenario, at, stays)) break;
      }
    }
  }
  std::printf("%s: %d trials in %zu scenarios\n", GetParam().name, trials, kScenarios.size());
}

INSTANTIATE_TEST_SUITE_P(Faults, Failure, testing::ValuesIn(kRows));

}  // namespace
