// The file helpers, and the platform that they and the storage stand on.
#include "file.h"

#include <chrono>
#include <cstring>

#include "platform/platform.h"
#include "tests/support/fixture.h"

#if defined(__linux__)
#include <sys/stat.h>
#include <sys/xattr.h>
#endif

namespace {

using platform::Access;
using platform::File;
using Results = std::vector<int32_t>;  // of several calls, in their order

class Files : public testing::Test {
 protected:
  PmString path(const std::string& name) const { return Pm(folder_.path() / name); }
  PmString make(const std::string& name, const Bytes& bytes) const {
    WriteBytes(folder_.path() / name, bytes);
    return path(name);
  }
  std::optional<Bytes> bytes(const std::string& name) const { return ReadBytes(folder_.path() / name); }

  TempFolder folder_;
  const PmString place_ = Pm(folder_.path()), nowhere_ = path("no/folder");
};

// What every function that only looks says of a name: whether there is something, how large, and what opens it.
std::string Told(const PmString& path) {
  const PmChar* name = path.empty() ? nullptr : path.c_str();
  std::string told = std::to_string(FExists(name)) + " " + std::to_string(FSize(name));
  for (const char* mode : {"rb", "r+b"}) {
    FILE* stream = FOpen(name, mode);
    if (stream != nullptr) told += FClose(stream) == 0 ? " stream" : " lost";
  }
  for (const Access access : {Access::kRead, Access::kReadWrite})
    told += File().open(name, access) ? " file" : "";
  return told + (File().createNew(name) ? " new" : "");
}

TEST_F(Files, AreToldFromFoldersAndFromNothing) {
  const PmString full = make("full", Bytes(3000));
  std::vector<std::pair<PmString, std::string>> rows = {{make("empty", {}), "0 0 stream stream file file"},
                                                        {full, "0 3000 stream stream file file"},
                                                        {place_, "0 0"},
                                                        {nowhere_, "-1 -1"},
                                                        {PmString(), "-1 -1"}};
#if defined(__linux__)
  // Links are followed, and a broken one is an entry; devices and pipes are no files and hold nobody up.
  std::filesystem::create_symlink("full", folder_.path() / "link");
  std::filesystem::create_symlink("missing", folder_.path() / "broken");
  ASSERT_EQ(mkfifo((folder_.path() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(FTruncate(path("pipe").c_str(), 10), -1);
  EXPECT_FALSE(File().open(path("pipe").c_str(), Access::kRead));
  rows.emplace_back(path("link"), rows[1].second);
  rows.emplace_back(path("broken"), "0 0");
  rows.emplace_back(Text("/dev/zero"), "0 0 stream stream");
#endif
  for (const auto& [name, told] : rows) {
    SCOPED_TRACE(&name - &rows[0].first);
    const bool isFile = told.find("file") != std::string::npos;
    EXPECT_EQ(Told(name), told);
    // The hidden attribute goes to whatever stands there, and leaves a file as usable as it was.
    for (const int32_t hide : {1, 7, 0, 0}) {
      const bool goes = FSetHideAttribute(name.c_str(), hide) != 0, counts = isFile || told == "-1 -1";
      EXPECT_EQ(counts ? goes : isFile, isFile) << hide;
      EXPECT_EQ(Told(name), told) << hide;
    }
  }
  for (const PmString& name : {place_, nowhere_})
    EXPECT_EQ((Results{FTruncate(name.c_str(), 0), FDelete(name.c_str())}), (Results{0, -1}));
  for (const int32_t result : {0, -1}) EXPECT_EQ(FDelete(full.c_str()), result);
}

TEST_F(Files, StreamsReadWriteSeekAndTellTheEnd) {
  const PmString name = path("stream");
  EXPECT_EQ(FOpen(name.c_str(), nullptr), nullptr);
  FILE* stream = FOpen(name.c_str(), "w+bc and no more than four characters");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(FWrite("abc\nlonger than it fits", 1, 23, stream), 23);
  EXPECT_EQ((Results{FFlush(stream), FSize(name.c_str()), FSeek(stream, 0, 0)}), (Results{0, 23, 0}));
  char line[16];
  EXPECT_EQ(FReadLine(line, 1, stream), 0);  // room for no character, of which there are some
  for (const std::string text : {"abc\n", "longer than it ", "fits", ""}) {
    std::memset(line, '!', sizeof line);
    EXPECT_EQ(FReadLine(line, sizeof line, stream), text.empty() ? -3 : static_cast<int32_t>(text.size()));
    EXPECT_EQ(std::string(line, sizeof line), text + std::string(sizeof line - text.size(), '\0'));
  }
  for (const int32_t size : {-1, 1}) EXPECT_EQ(FReadLine(line, size, stream), -3);
  EXPECT_EQ(FReadLine(nullptr, 16, stream), -3);
  // The last byte is read, and nothing beyond; then half an element, which is none.
  EXPECT_EQ((Results{FSeek(stream, -4, 2), FRead(line, 2, 2, stream), FEof(stream)}), (Results{0, 2, 0}));
  EXPECT_EQ((Results{FSeek(stream, -1, 1), FRead(line, 2, 1, stream), FEof(stream) != 0, FClose(stream)}),
            (Results{0, 0, 1, 0}));
}

TEST_F(Files, AreCutExtendedCreatedAndCopied) {
  const PmString name = make("file", Pattern(3072)), copy = path("copy");
  Bytes expected = Pattern(3072);
  for (const int32_t size : {2048, 4096, 0, 5}) {
    EXPECT_EQ((Results{FTruncate(name.c_str(), size), FTruncate(name.c_str(), -1)}), (Results{0, -1}));
    expected.resize(static_cast<size_t>(size));
    EXPECT_EQ(bytes("file"), expected) << size;
  }
  for (const size_t size : {70001, 0, 1, 16384, 16385}) {
    make("file", Pattern(size));
    EXPECT_EQ(FCopyToFile(name.c_str(), copy.c_str()), 0);
    EXPECT_EQ(bytes("copy"), Pattern(size));
  }
  for (const PmString& hopeless : {nowhere_, place_, PmString()}) {
    EXPECT_EQ(FCopyToFile(hopeless.c_str(), copy.c_str()), -2);
    EXPECT_EQ(FCopyToFile(name.c_str(), hopeless.c_str()), -2);
  }
  EXPECT_EQ(bytes("copy"), Pattern(16385));
#if defined(__linux__)
  EXPECT_EQ(FCopyToFile(name.c_str(), Text("/dev/full").c_str()), -4);
#endif
  EXPECT_EQ(FTruncate(path("new").c_str(), 1000), 0);
  EXPECT_EQ(bytes("new"), Bytes(1000));
}

TEST_F(Files, CurrentFolderIsTheProgramsOwn) {
  PmChar buffer[1024];
  const int32_t length = GetCurDir(1024, buffer);
  const PmString folder = buffer;
  const auto size = static_cast<int32_t>(folder.size());
  ASSERT_GT(length, size);
#if defined(__linux__)
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_EQ(length, static_cast<int32_t>(Pm(program).size()));
  EXPECT_EQ(folder, Pm(program.parent_path() / ""));
#endif
  // A path that is cut keeps its last whole folder, and never leaves the buffer.
  buffer[size] = '!';
  EXPECT_EQ(GetCurDir(size, buffer), size);
  EXPECT_LT(PmString(buffer).size(), folder.size());
  EXPECT_EQ(folder.compare(0, PmString(buffer).size(), buffer), 0);
  EXPECT_EQ(buffer[size], PmChar{'!'});
  EXPECT_EQ((Results{GetCurDir(0, buffer), GetCurDir(10, nullptr)}), (Results{0, 0}));
}

TEST_F(Files, HaveStampsOfTheirTime) {
  const PmString name = make("file", {});
  const auto time = std::filesystem::last_write_time(folder_.path() / "file");
  platform::FileStamp before, after;
  EXPECT_TRUE(platform::StampOf(name.c_str(), &before));
  std::filesystem::last_write_time(folder_.path() / "file", time + std::chrono::seconds(2));
  EXPECT_TRUE(platform::StampOf(name.c_str(), &after));
  EXPECT_FALSE(before == after);
}

#if defined(__linux__)

TEST_F(Files, HaveNamesInUtf8WithoutCollisions) {
  const std::pair<PmString, std::string> kNames[] = {
      {u"plain", "plain"},
      {u"\u00e4\u07ff\u0800\uffff", "\xc3\xa4\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
      {u"\U0001F511\U0010FFFF", "\xf0\x9f\x94\x91\xf4\x8f\xbf\xbf"},
      {{0xDD11, 0xD83D}, "\xed\xb4\x91\xed\xa0\xbd"},
      {{0xD83D, 0xD83D, 0xDD11}, "\xed\xa0\xbd\xf0\x9f\x94\x91"}};
  for (const auto& [name, bytes] : kNames) {
    File().createNew((place_ + u"\\" + name).c_str());
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / bytes)) << bytes;
  }
  // The longest path that the system takes, and one character more.
  const PmString slashes(4095 - place_.size() - 1, u'/');
  EXPECT_TRUE(File().createNew((place_ + slashes + u"x").c_str()));
  EXPECT_FALSE(File().createNew((place_ + slashes + u"/y").c_str()));
  EXPECT_FALSE(platform::Exists(PmString(100000, u'/').c_str()));
  for (const PmString& name : {path("x"), PmString(u"bare name"), PmString(u"/x")})
    EXPECT_TRUE(platform::SyncFolder(name.c_str()));
  for (const PmString& name : {nowhere_, PmString()}) EXPECT_FALSE(platform::SyncFolder(name.c_str()));
}

// Servers read it; the vaults' rights are for tests/api/transcripts/sharing.txt.
TEST_F(Files, CarryTheHiddenAttribute) {
  const PmString name = make("file", {});
  const std::string entry = (folder_.path() / "file").string();
  char value[8] = {};
  if (setxattr(entry.c_str(), "user.DOSATTRIB", "0x21", 4, 0) != 0) GTEST_SKIP() << "no attributes here";
  EXPECT_TRUE(platform::SetHidden(name.c_str(), true));
  EXPECT_EQ(getxattr(entry.c_str(), "user.DOSATTRIB", value, sizeof value), 3);
  EXPECT_STREQ(value, "0x2") << "other attributes are cleared";
  EXPECT_TRUE(platform::SetHidden(name.c_str(), false));
  EXPECT_EQ(getxattr(entry.c_str(), "user.DOSATTRIB", value, sizeof value), -1);
}

#endif

}  // namespace
