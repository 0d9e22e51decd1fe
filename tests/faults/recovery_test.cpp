// What recovery does where drawn sessions and tests/api/transcripts cannot lead it.

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

  // What a vault is that was opened and closed again.
  Bytes opened() const {
    DataBaseHandle* handle = OpenDataBaseFile(Pm(path_).c_str());
    const Bytes found = File(path_);
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
    return Blank(found);
  }

  TempFolder folder_;
  const fs::path path_ = folder_.path() / "a.db";
};

// What a medium gives behind the end may be the frames of another journal with the right numbers, or its own first.
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
    EXPECT_EQ(opened(), data[k]) << k;
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

// Whatever call of the system fails once, the next change can happen.
TEST_F(Recovery, BehindOneFailedCall) {
  int struck = 1;
  for (int at = 0; struck != 0; ++at) {
    const TempFolder folder;
    DataBaseHandle* handle = OpenDataBaseFile(Pm(folder.path() / "a.db").c_str());
    const auto store = [&](uint32_t id) {
      RetainID(handle, id, 1, nullptr);
      return InserItemToDataBase(handle, id, "bytes", 5, 1);
    };
    EXPECT_EQ(store(1), 0);
    seam::Arm(seam::Fault::kError, at);
    store(2);
    struck = seam::struck;
    seam::Disarm();
    EXPECT_EQ(store(3), 0) << at;
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
  }
}

// A host's standard streams may be closed: what it prints is not to go into a vault.
TEST_F(Recovery, OfAHostWithoutStandardStreams) {
  const pid_t process = fork();
  if (process == 0) {
    for (const int stream : {0, 1, 2}) close(stream);
    Session s(folder_.path());
    s.open(0), s.insert(0, 1, 1500);
    int written = 0;
    for (const int stream : {0, 1, 2}) written += write(stream, "noise", 5) != -1 ? 1 : 0;
    s.close(0);
    _exit(HasFailure() ? 100 : written);
  }
  int status = 0;
  EXPECT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
}

}  // namespace
