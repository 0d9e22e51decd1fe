// What recovery does with whatever stands beside each other, by name: the cases that drawn sessions cannot reach.
// And who may have a vault when several want it.

#include "tests/faults/session.h"

namespace {

namespace fs = std::filesystem;

Bytes File(const fs::path& path) {
  return ReadBytes(path).value_or(Bytes());
}

bool IsSetAside(const fs::path& path) {
  return fs::exists(path.parent_path() / ("." + path.filename().string() + ".pmo"));
}

class Recovery : public testing::Test {
 protected:
  Recovery() { EXPECT_EQ(InitPmTotalDataController(), 1); }
  ~Recovery() override { ReleasePmTotalDataController(); }

  // What stood beside each other when a process died, and what was there before.
  struct Crash {
    Bytes older, before, after, journal,
        backup;  // the data file: when closed earlier, when opened, and at the end
  };

  // Items 1 to 4 in a closed vault, changed and closed; then a session that changes item 2 alone, deletes 3, adds 5 and
  // dies.
  Crash crash() {
    const TempFolder folder;
    Session s(folder.path());
    s.open(0), s.start(0);
    s.insert(0, 1, 300), s.insert(0, 2, 2500), s.insert(0, 3, 1000), s.insert(0, 4, 5200);
    s.stop(0), s.close(0);
    Crash crash;
    crash.older = File(s.path(0));
    s.open(0), s.modify(0, 4, 5000, 200, true), s.close(0);  // a block of a page of its own
    crash.before = File(s.path(0));
    s.open(0), s.modify(0, 2, 0, 2500, true), s.remove(0, 3), s.insert(0, 5, 2200);
    crash.journal = File(JournalOf(s.path(0)));
    crash.backup = File(BackupOf(s.path(0)));
    crash.after = File(s.path(0));
    after_ = s.states(0);
    s.takeDown();
    return crash;
  }

  // What a vault is that was opened and closed again; nothing when it did not open.
  std::optional<Bytes> opened(Opening opening) const {
    if (opening == Opening::kRestore && PmRestoreBackupFile(Pm(path_).c_str()) != 0) return std::nullopt;
    DataBaseHandle* handle = OpenDataBaseFile(Pm(path_).c_str());
    if (handle == nullptr) return std::nullopt;
    if (opening == Opening::kRestore) CloseDataBaseFile(handle);
    const Bytes found = File(path_);
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
    return Blank(found);
  }

  TempFolder folder_;
  const fs::path path_ = folder_.path() / "a.db";
  States after_;
};

TEST_F(Recovery, OfWhateverStandsTogether) {
  const Crash was = crash();
  const Bytes empty, none{0};  // a file that is not there
  Bytes rot = was.after, headless = was.journal, cut = was.journal,
        other = vault::MakeBlocks(7, Pattern(9000));
  rot[11 * vault::kBlock + 100] ^= 1;  // the last packet of item 4, on a page of its own
  ASSERT_EQ(vault::Get(&rot[11 * vault::kBlock + 12]), 4u);
  headless[10] ^= 1;
  cut.resize(4096);
  const Bytes after = *after_.begin();
  const struct {
    const char* name;
    Bytes data, journal, backup, opens, restores;
    bool setsAside;
  } kRows[] = {
      {"all three", was.after, was.journal, was.backup, after, after, false},
      {"no backup", was.after, was.journal, none, after, after, false},
      {"nothing carried out", was.before, was.journal, was.backup, after, after, false},
      {"damage elsewhere", rot, was.journal, was.backup, rot, rot, false},
      {"an older copy", was.older, was.journal, was.backup, was.older, none, true},
      {"another vault", other, was.journal, was.backup, other, none, true},
      {"a damaged journal", was.after, headless, was.backup, was.after, none, true},
      {"no journal", was.after, none, was.backup, was.after, was.backup, false},
      {"a data file alone", was.after, none, none, was.after, none, false},
      {"a backup alone", none, none, was.backup, empty, was.backup, false},
      {"a journal alone", none, was.journal, none, empty, none, true},
      {"no data file", none, was.journal, was.backup, empty, was.backup, true},
      {"a journal without a frame", was.before, cut, was.backup, was.before, was.before, false},
  };
  for (const auto& row : kRows) {
    for (const Opening opening : {Opening::kPlain, Opening::kRestore}) {
      SCOPED_TRACE(std::string(row.name) + (opening == Opening::kPlain ? ", opened" : ", restored"));
      const TempFolder folder;
      const auto put = [&](const fs::path& path, const Bytes& bytes) {
        if (bytes != none) WriteBytes(path, bytes);
      };
      for (const auto& entry : fs::directory_iterator(folder_.path())) fs::remove(entry.path());
      put(path_, row.data), put(JournalOf(path_), row.journal), put(BackupOf(path_), row.backup);
      const Bytes& expected = opening == Opening::kPlain ? row.opens : row.restores;
      const auto found = opened(opening);
      EXPECT_EQ(found.has_value(), expected != none);
      EXPECT_EQ(Describe({Blank(found.value_or(expected))}), Describe({Blank(expected)}));
      EXPECT_EQ(IsSetAside(path_), row.setsAside);
    }
  }
}

// A full disk keeps nobody from reading; once there is room, the journal is carried out.
TEST_F(Recovery, OnAFullDisk) {
  const Crash was = crash();
  WriteBytes(path_, was.before);
  WriteBytes(JournalOf(path_), was.journal);
  seam::Arm(seam::Fault::kNoSpace, 0, true);
  DataBaseHandle* handle = OpenDataBaseFile(Pm(path_).c_str());
  seam::Disarm();
  uint32_t word = 5;
  ASSERT_NE(PmGetItemPtrByID(handle, &word), nullptr);
  EXPECT_EQ(word, 2200u);
  EXPECT_EQ(DeleteItemFromDataBase(handle, 5, 1), -2);
  EXPECT_EQ(CloseDataBaseFile(handle), 0);
  EXPECT_EQ(File(path_), was.before);
  EXPECT_EQ(opened(Opening::kPlain), *after_.begin());
}

// What a medium gives behind the end may be the frames of another journal with the right numbers, or its own first ones.
TEST_F(Recovery, EndsBeforeFramesThatDoNotFollow) {
  Bytes data[2], journal[2];
  ptrdiff_t end[2];
  for (const int calls : {1, 2}) {
    const TempFolder folder;
    Session s(folder.path());
    s.open(0), s.insert(0, 1, 1500);
    if (calls == 2) s.modify(0, 1, 0, 1500, true);
    const int k = calls - 1;
    data[k] = File(s.path(0));
    journal[k] = File(JournalOf(s.path(0)));
    s.takeDown();
    const auto last =
        std::find_if(journal[k].rbegin(), journal[k].rend(), [](uint8_t byte) { return byte != 0; });
    end[k] = (journal[k].rend() - last + 4095) / 4096 * 4096;
  }
  std::copy(journal[1].begin() + end[0], journal[1].begin() + end[1], journal[0].begin() + end[0]);
  std::copy_n(journal[1].begin() + 4096, end[0] - 4096, journal[1].begin() + end[1]);
  for (const int k : {0, 1}) {
    WriteBytes(path_, data[k]);
    WriteBytes(JournalOf(path_), journal[k]);
    EXPECT_EQ(opened(Opening::kPlain), data[k]) << k;
    EXPECT_FALSE(IsSetAside(path_)) << k;
  }
}

// A frame for which no zeros were written ahead ends with the journal, in the middle of a page.
TEST_F(Recovery, OfAChangeLargerThanTheRoomAhead) {
  Session s(folder_.path());
  s.open(0), s.insert(0, 1, 1300100), s.modify(0, 1, 0, 1300100, true);
  const TempFolder dead;
  CopyVault(s.path(0), dead.path() / "a.db");
  for (const Opening opening : {Opening::kPlain, Opening::kRestore})
    EXPECT_EQ(Judge(dead.path() / "a.db", opening, s.states(0)), "");
}

// ---- Who may have a vault ----

int32_t Store(DataBaseHandle* handle, uint32_t id) {
  RetainID(handle, id, 1, nullptr);
  return InserItemToDataBase(handle, id, Pattern(1500, id).data(), 1500, 1);
}

uint32_t SizeOf(DataBaseHandle* handle, uint32_t id) {
  return PmGetItemPtrByID(handle, &id) != nullptr ? id : 0;
}

DataBaseHandle* Open(const fs::path& path) {
  return OpenDataBaseFile(Pm(path).c_str());
}

using Sharing = Recovery;

// Another name is another program to a vault: it meets the same lock and the same journal.
TEST_F(Sharing, UnderSeveralNames) {
  const fs::path folder = folder_.path() / "folder", soft = folder / "soft.db", hard = folder / "hard.db";
  fs::create_directory(folder);
  WriteBytes(path_, {});
  fs::create_symlink(path_, soft);
  fs::create_hard_link(path_, hard);
  const std::pair<fs::path, fs::path> kNames[] = {
      {path_, folder / ".." / "a.db"}, {path_, soft}, {soft, path_}, {path_, hard}};
  uint32_t id = 1;
  for (const auto& [name, other] : kNames) {
    SCOPED_TRACE(name.string() + " and " + other.string());
    DataBaseHandle* holder = Open(name);
    ASSERT_EQ(Store(holder, id), 0);
    DataBaseHandle* handle = Open(other);
    EXPECT_EQ(SizeOf(handle, id), 1500u) << "it sees what was reported done";
    ASSERT_EQ(Store(holder, id + 1), 0);
    const Bytes file = File(path_), journal = File(JournalOf(path_)), backup = File(BackupOf(path_));
    EXPECT_EQ(Store(handle, id + 2), -2);
    EXPECT_EQ(DeleteItemFromDataBase(handle, id, 1), -2);
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
    EXPECT_EQ(PmRestoreBackupFile(Pm(other).c_str()), -2);
    EXPECT_EQ(File(path_), file);
    EXPECT_EQ(File(JournalOf(path_)), journal);
    EXPECT_EQ(File(BackupOf(path_)), backup);
    EXPECT_EQ(CloseDataBaseFile(holder), 0);
    // As after a crash, which is recovered under either name; a hard link elsewhere does not find the journal.
    WriteBytes(path_, file);
    WriteBytes(JournalOf(path_), journal);
    handle = Open(other == hard ? name : other);
    EXPECT_EQ(SizeOf(handle, id + 1), 1500u);
    EXPECT_EQ(SizeOf(handle, id + 2), 0u);
    EXPECT_EQ(Store(handle, id + 3), 0);
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
    EXPECT_FALSE(fs::exists(JournalOf(path_)));
    id += 4;
  }
  EXPECT_EQ(vault::Fault(File(path_)), "");
  EXPECT_TRUE(fs::is_symlink(soft));
}

TEST_F(Sharing, WhoseFileAnotherChangedMeanwhileChangesNothing) {
  for (const bool dies : {false, true}) {
    SCOPED_TRACE(dies);
    DataBaseHandle *handle = Open(path_), *other = Open(folder_.path() / "." / "a.db");
    ASSERT_EQ(Store(other, dies ? 2 : 1), 0);
    const Bytes file = File(path_), journal = File(JournalOf(path_));
    EXPECT_EQ(CloseDataBaseFile(other), 0);
    if (dies) WriteBytes(path_, file), WriteBytes(JournalOf(path_), journal);
    EXPECT_EQ(Store(handle, 3), -2);
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
    handle = Open(path_);
    for (const uint32_t id : {1, 2, 3})
      EXPECT_EQ(SizeOf(handle, id), id <= (dies ? 2 : 1) ? 1500u : 0u) << id;
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
  }
}

// ---- What happens to the files of an open vault ----

TEST_F(Sharing, AFileThatIsMovedReplacedRemovedOrWrittenOverMeanwhile) {
  const struct {
    const char* name;
    bool moves;     // away, first
    uint32_t size;  // of the item in what stands at its place then; 0 for nothing
  } kRows[] = {{"moved", true, 0},       {"replaced", true, 10},  {"shorter", false, 10},
               {"as long", false, 5000}, {"longer", false, 9000}, {"removed", false, 0}};
  for (const auto& row : kRows) {
    for (const bool changes : {true, false}) {
      SCOPED_TRACE(std::string(row.name) + (changes ? ", then a change" : ", then a close"));
      const TempFolder folder;
      const fs::path path = folder.path() / "a.db", moved = folder.path() / "moved.db";
      const Bytes other = vault::MakeBlocks(9, Pattern(row.size));
      DataBaseHandle* handle = Open(path);
      for (const uint32_t id : {1, 9}) ASSERT_EQ(Store(handle, id), 0);
      ASSERT_EQ(DeleteItemFromDataBase(handle, 9, 0), 0);
      if (row.moves) fs::rename(path, moved);
      if (row.size == 0) fs::remove(path);
      if (row.size != 0) WriteBytes(path, other);
      EXPECT_EQ(changes ? Store(handle, 2) : -2, -2);
      EXPECT_EQ(CloseDataBaseFile(handle), 0);
      EXPECT_EQ(File(path), other);
      handle = Open(row.moves ? moved : path);
      EXPECT_EQ(SizeOf(handle, 1), row.moves ? 1500u : 0u);
      EXPECT_EQ(SizeOf(handle, 9), row.moves ? 0 : row.size);
      EXPECT_TRUE(IsSetAside(path));
      for (const fs::path& beside : {BackupOf(path), JournalOf(path)}) EXPECT_FALSE(fs::exists(beside));
      CloseDataBaseFile(handle);
    }
  }
}

// A host's standard streams may be closed: what it prints is not to go into a vault.
TEST_F(Sharing, AHostWithoutStandardStreams) {
  const pid_t process = fork();
  if (process == 0) {
    for (const int stream : {0, 1, 2}) close(stream);
    DataBaseHandle* handle = Open(path_);
    const bool stored = Store(handle, 1) == 0;
    for (const int stream : {0, 1, 2}) {
      if (write(stream, "noise", 5) != -1) _exit(1);
    }
    CloseDataBaseFile(handle);
    _exit(stored ? 0 : 2);
  }
  int status = 0;
  EXPECT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
}

TEST_F(Sharing, AJournalThatIsTakenAwayIsMadeAnew) {
  DataBaseHandle* handle = Open(path_);
  const TempFolder dead;
  for (uint32_t id = 1; id < 9; id += 2) {
    ASSERT_EQ(Store(handle, id), 0);
    if (id % 4 == 1) fs::remove(JournalOf(path_));
    if (id % 4 == 3) fs::rename(JournalOf(path_), folder_.path() / "gone");
    ASSERT_EQ(Store(handle, id + 1), 0);
    EXPECT_TRUE(fs::exists(JournalOf(path_)));
    CopyVault(path_, dead.path() / "a.db");
    DataBaseHandle* copy = Open(dead.path() / "a.db");
    EXPECT_EQ(SizeOf(copy, id + 1), 1500u);
    CloseDataBaseFile(copy);
  }
}

}  // namespace
