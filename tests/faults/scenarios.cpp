#include <random>

#include "tests/faults/session.h"

namespace {

void Nothing(Session&) {}

void OpenEmpty(Session& s) {
  s.open(0);
}

void OneItem(Session& s) {
  s.open(0), s.insert(0, 1, 1500);
}

// Four items: in one block, in three, in one, in six.
void Fill(Session& s) {
  s.open(0), s.start(0);
  s.insert(0, 1, 300), s.insert(0, 2, 2500), s.insert(0, 3, 1000), s.insert(0, 4, 5200);
  s.stop(0);
}

void FillAndReopen(Session& s) {
  Fill(s), s.close(0), s.open(0);
}

// What a closed vault and its backup are when a process died, or what else befell one of them.
void Leave(Session& s, const std::filesystem::path& flipped) {
  Fill(s), s.close(0);
  std::filesystem::copy_file(s.path(0), BackupOf(s.path(0)));
  Bytes bytes = ReadBytes(flipped).value_or(Bytes());
  bytes.back() ^= 1;
  WriteBytes(flipped, bytes);
}

}  // namespace

const std::vector<Scenario> kScenarios = {
    {"first insert", Nothing, [](Session& s) { s.open(0), s.insert(0, 1, 700), s.close(0); }},
    {"insert that syncs", OpenEmpty, [](Session& s) { s.insert(0, 1, 700, 1), s.insert(0, 2, 1700, 1); }},
    {"insert into a full file", FillAndReopen,
     [](Session& s) { s.insert(0, 5, 3300, 0, 5), s.insert(0, 6, 10, 1); }},
    {"replace shorter", Fill, [](Session& s) { s.insert(0, 4, 1900, 1), s.insert(0, 2, 900, 1); }},
    {"replace longer", Fill, [](Session& s) { s.insert(0, 1, 2200, 1), s.insert(0, 3, 1001, 1); }},
    {"replace equal", FillAndReopen,
     [](Session& s) { s.insert(0, 2, 2500, 1), s.modify(0, 4, -1, 5200, 1); }},
    {"replace by nothing", Fill, [](Session& s) { s.insert(0, 4, 0, 1), s.insert(0, 4, 2000, 1); }},
    {"change in the middle", FillAndReopen,
     [](Session& s) { s.modify(0, 4, 2500, 200), s.modify(0, 2, 10, 5, 1); }},
    {"append", Fill, [](Session& s) { s.modify(0, 4, 5200, 900, 1), s.modify(0, 3, 1000, 1, 1); }},
    {"delete", Fill, [](Session& s) { s.remove(0, 2), s.insert(0, 5, 800), s.close(0); }},
    {"delete that syncs", FillAndReopen,
     [](Session& s) { s.remove(0, 4, 1), s.remove(0, 1, 1), s.insert(0, 6, 2100); }},
    {"last delete", OneItem,
     [](Session& s) { s.remove(0, 1), s.sync(0), s.close(0), s.open(0), s.insert(0, 2, 50); }},
    {"last delete that syncs", OneItem, [](Session& s) { s.remove(0, 1, 1), s.close(0); }},
    {"shrink, delete, insert again", Fill,
     [](Session& s) {
       s.insert(0, 4, 2000, 1), s.remove(0, 4), s.insert(0, 4, 3000), s.insert(0, 2, 4000, 1);
     }},
    {"transaction of many", Fill,
     [](Session& s) {
       s.start(0), s.remove(0, 1, 1), s.insert(0, 4, 100, 1);
       for (uint32_t id = 5; id <= 8; ++id) s.insert(0, id, 600 * id, 1);
       s.modify(0, 5, 0, 5000), s.sync(0), s.stop(0);
     }},
    {"transaction that empties", OneItem,
     [](Session& s) { s.start(0), s.remove(0, 1), s.stop(0), s.close(0); }},
    {"transaction closed while open", Fill,
     [](Session& s) { s.start(0), s.remove(0, 2), s.insert(0, 4, 100), s.insert(0, 5, 100), s.close(0); }},
    {"compaction, free at the end", Fill,
     [](Session& s) { s.remove(0, 4), s.close(0), s.open(0), s.read(0, 2); }},
    {"compaction, free in the middle", Fill,
     [](Session& s) { s.remove(0, 2), s.insert(0, 1, 0), s.close(0); }},
    {"compaction, free near each other",
     [](Session& s) {
       s.open(0), s.start(0);
       for (uint32_t id = 1; id <= 5; ++id) s.insert(0, id, 300);
       s.stop(0);
     },
     [](Session& s) { s.remove(0, 1), s.remove(0, 3), s.close(0); }},
    {"compaction, all but one free", Fill,
     [](Session& s) { s.start(0), s.remove(0, 1), s.remove(0, 2), s.remove(0, 4), s.stop(0), s.close(0); }},
    {"close of what was not synced", FillAndReopen,
     [](Session& s) { s.modify(0, 2, 0, 2500), s.insert(0, 4, 1100), s.insert(0, 1, 4000), s.close(0); }},
    {"restore", [](Session& s) { Leave(s, s.path(0)); },
     [](Session& s) { s.open(0), s.insert(0, 5, 1500), s.close(0); }},
    {"restore of a bad backup", [](Session& s) { Leave(s, BackupOf(s.path(0))); },
     [](Session& s) {
       s.open(0);
       EXPECT_FALSE(s.isOpen(0));
       std::filesystem::remove(BackupOf(s.path(0)));
       s.open(0);
     },
     false},
    {"two databases", [](Session& s) { Fill(s), s.open(1), s.insert(1, 5, 1200); },
     [](Session& s) {
       s.insert(0, 5, 2400, 1), s.insert(1, 6, 1300), s.modify(1, 5, 100, 10, 1), s.remove(0, 3);
       s.close(1), s.insert(0, 6, 1), s.close(0);
     }},
    {"item over many blocks", OpenEmpty,
     [](Session& s) { s.insert(0, 1, 270500, 1), s.insert(0, 1, 260000, 1); }},
    {"table over many blocks", OpenEmpty,
     [](Session& s) {
       for (uint32_t id = 1; id <= 5; ++id) s.insert(0, id, 20 * id, 0, 700);
       s.remove(0, 2), s.insert(0, 6, 10, 0, 900), s.remove(0, 5), s.close(0);
     }},
};

void RunDrawn(Session& s, uint32_t seed, int length) {
  std::mt19937 random(seed);
  const auto draw = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  constexpr size_t kSizes[] = {0, 1, 500, 999, 1000, 1001, 1500, 2000, 2001, 3000, 3300, 4999};
  for (int i = 0; i < length; ++i) {
    const int v = draw(6) == 0 ? 1 : 0;
    const uint32_t id = 1 + draw(6), what = draw(12);
    const int32_t syncNow = draw(3) == 0 ? 1 : 0;
    const size_t size = kSizes[draw(std::size(kSizes))];
    s.open(v);
    if (what == 0) s.start(v);
    if (what == 1) s.stop(v);
    if (what == 2) s.sync(v);
    if (what == 3) s.close(v);
    if (what == 4 || what == 5) s.remove(v, id, syncNow);
    if (what == 6) s.read(v, id);
    if (what == 7) s.modify(v, id, static_cast<int32_t>(draw(2200)) - 1, size, syncNow);
    if (what >= 8) s.insert(v, id, size, syncNow, draw(4) == 0 ? 1 + draw(600) : 0);
  }
}
