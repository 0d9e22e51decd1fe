// A storm: long drawn sessions during which any system call fails now and then. Whenever the storm pauses, the
// process could end there: what the recovery rule gives is a state that the calls may have left. What a sync then
// says is on the disk is there, and nothing else.
//
// PMSTORE_CRASH_SEED sets the first seed, PMSTORE_STORM_SEEDS how many are tried.

#include <cstdlib>
#include <random>

#include "tests/faults/session.h"

namespace {

uint32_t Setting(const char* name, uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class Storm : public testing::Test {
 protected:
  void SetUp() override { InitPmTotalDataController(); }
  void TearDown() override {
    seam::Disarm();
    ReleasePmTotalDataController();
  }

  void run(uint32_t seed) {
    constexpr int kRounds = 50, kOneIn[] = {2, 6, 20, 60, 200};
    folder_.clear();
    create_directory(folder_.path / "live");
    create_directory(folder_.path / "dead");
    Session s(folder_.path / "live");
    std::mt19937 random(seed);
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
      const auto drawn = static_cast<uint32_t>(random());
      seam::Arm(seam::Fault::kStorm, kOneIn[random() % std::size(kOneIn)], false, drawn);
      RunDrawn(s, drawn, 1 + static_cast<int>(random() % 15));
      if (random() % 16 == 0) s.takeDown();
      seam::Arm(seam::Fault::kNone);
      const bool calms = random() % 3 == 0;
      for (int v = 0; v < Session::kVaults; ++v) judge(&s, v, calms);
    }
    s.takeDown();
    for (int v = 0; v < Session::kVaults; ++v) checkRecovery(s, v);
  }

  // What is left when the process ends now, and, when the storm calms down, behind a sync.
  void judge(Session* s, int v, bool calms) {
    EXPECT_EQ(s->checkClean(v), "");
    checkRecovery(*s, v);
    if (!calms || !s->isOpen(v)) return;
    s->stop(v);
    EXPECT_EQ(s->lastResult(), 0);
    checkRecovery(*s, v);
  }

  void checkRecovery(const Session& s, int v) {
    const std::filesystem::path left = Session::pathIn(folder_.path / "dead", v);
    std::filesystem::remove(left);
    if (exists(s.path(v))) copy(s.path(v), left);
    if (exists(BackupOf(s.path(v)))) copy(BackupOf(s.path(v)), BackupOf(left));
    EXPECT_EQ(Recover(left, s.onMedium(v)), "");
  }

  FastFolder folder_;
};

TEST_F(Storm, LeavesWhatTheCallsSaid) {
  const uint32_t first = Setting("PMSTORE_CRASH_SEED", 1), seeds = Setting("PMSTORE_STORM_SEEDS", 150);
  for (uint32_t seed = first; seed < first + seeds && !HasFailure(); ++seed) run(seed);
}

}  // namespace
