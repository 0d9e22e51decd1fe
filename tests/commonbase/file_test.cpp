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

TEST_F(Files, AreToldFromFoldersAndFromNothing) {
  struct Row {
    PmString path;
    int32_t exists, size;
    bool isFile, isStream;
  };
  std::vector<Row> rows = {{make("empty", {}), 0, 0, true, true},
                           {make("full", Bytes(3000)), 0, 3000, true, true},
                           {place_, 0, 0, false, false},
                           {nowhere_, -1, -1, false, false},
                           {PmString(), -1, -1, false, false}};
#if defined(__linux__)
  // Links are followed, and a broken one is an entry; devices and pipes are no files and hold nobody up.
  std::filesystem::create_symlink("full", folder_.path() / "link");
  std::filesystem::create_symlink("missing", folder_.path() / "broken");
  ASSERT_EQ(mkfifo((folder_.path() / "pipe").c_str(), 0600), 0);
  const PmString broken = path("broken"), pipe = path("pipe");
  rows.push_back({path("link"), 0, 3000, true, true});
  rows.push_back({Text("/dev/zero"), 0, 0, false, true});
  EXPECT_FALSE(File().open(pipe.c_str(), Access::kRead) || File().open(pipe.c_str(), Access::kReadWrite));
  EXPECT_EQ(FTruncate(pipe.c_str(), 10), -1);
  EXPECT_FALSE(File().open(broken.c_str(), Access::kRead) || File().createNew(broken.c_str()));
  EXPECT_TRUE(FExists(broken.c_str()) == 0 && FSize(broken.c_str()) == 0 && FDelete(broken.c_str()) == 0);
#endif
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows.data());
    const PmChar* name = row.path.empty() ? nullptr : row.path.c_str();
    EXPECT_TRUE(FExists(name) == row.exists && FSize(name) == row.size);
    for (const char* mode : {"rb", "r+b"}) {
      FILE* stream = FOpen(name, mode);
      EXPECT_EQ(stream != nullptr && FClose(stream) == 0, row.isStream) << mode;
    }
    EXPECT_EQ(File().open(name, Access::kRead), row.isFile);
    EXPECT_FALSE(File().createNew(name));
    EXPECT_TRUE(row.isStream || (FTruncate(name, 0) == 0 && FDelete(name) == -1));
    // The hidden attribute goes to whatever stands there, and leaves a file as usable as it was.
    for (const int32_t hide : {1, 7, 0, 0}) {
      EXPECT_TRUE((row.exists == 0 && !row.isFile) || (FSetHideAttribute(name, hide) != 0) == row.isFile);
      EXPECT_EQ(File().open(name, Access::kReadWrite), row.isFile);
    }
  }
  for (const int32_t result : {0, -1}) EXPECT_EQ(FDelete(path("full").c_str()), result);
}

TEST_F(Files, StreamsReadWriteSeekAndTellTheEnd) {
  const PmString name = path("stream");
  EXPECT_EQ(FOpen(name.c_str(), nullptr), nullptr);
  FILE* stream = FOpen(name.c_str(), "w+bc and no more than four characters");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(FWrite("abc\nlonger than it fits", 1, 23, stream), 23);
  EXPECT_EQ(FFlush(stream), 0);
  EXPECT_EQ(FSize(name.c_str()), 23);
  EXPECT_TRUE(FSeek(stream, -1, 0) != 0 && FSeek(stream, 0, 0) == 0);
  char line[16];
  EXPECT_EQ(FReadLine(line, 1, stream), 0);  // room for no character, of which there are some
  for (const std::string text : {"abc\n", "longer than it ", "fits", ""}) {
    std::memset(line, '!', sizeof line);
    EXPECT_EQ(FReadLine(line, sizeof line, stream), text.empty() ? -3 : static_cast<int32_t>(text.size()));
    EXPECT_EQ(std::string(line, sizeof line), text + std::string(sizeof line - text.size(), '\0'));
  }
  EXPECT_EQ(FReadLine(nullptr, 16, stream) + FReadLine(line, -1, stream) + FReadLine(line, 1, stream), -9);
  EXPECT_TRUE(FSeek(stream, -4, 2) == 0 && FRead(line, 2, 2, stream) == 2);
  EXPECT_EQ(FEof(stream), 0);  // the last byte is read, and nothing beyond
  EXPECT_TRUE(FSeek(stream, -1, 1) == 0 && FRead(line, 2, 1, stream) == 0);  // half an element is none
  EXPECT_NE(FEof(stream), 0);
  EXPECT_EQ(FClose(stream), 0);
}

TEST_F(Files, AreCutExtendedCreatedAndCopied) {
  const PmString name = make("file", Pattern(3072)), copy = path("copy");
  Bytes expected = Pattern(3072);
  for (const int32_t size : {2048, 4096, 0, 5}) {
    EXPECT_TRUE(FTruncate(name.c_str(), size) == 0 && FTruncate(name.c_str(), -1) == -1);
    expected.resize(static_cast<size_t>(size));
    EXPECT_EQ(bytes("file"), expected) << size;
  }
  EXPECT_EQ(FTruncate(path("new").c_str(), 1000), 0);
  EXPECT_EQ(bytes("new"), Bytes(1000));
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
}

TEST_F(Files, AreReadWrittenAndCutAtPlaces) {
  File file, reader;
  Bytes part(20);
  ASSERT_TRUE(file.createNew(path("part").c_str()) &&
              reader.open(make("source", Pattern(100)).c_str(), Access::kRead));
  EXPECT_EQ(file.writeAt(5, "x", 1), 1u);
  EXPECT_EQ(bytes("part"), Bytes({0, 0, 0, 0, 0, 'x'}));
  EXPECT_EQ(reader.writeAt(0, "x", 1) + reader.readAt(100, part.data(), 1), 0u);
  EXPECT_EQ(reader.readAt(93, part.data(), 20), 7u);
  EXPECT_TRUE(file.setSize(2) && file.sync() && !reader.setSize(0));
  EXPECT_EQ(bytes("part"), Bytes(2));
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
  EXPECT_EQ(GetCurDir(0, buffer) + GetCurDir(10, nullptr), 0);
}

TEST_F(Files, HaveStampsThatTellStatesApart) {
  const PmString first = make("first", Bytes(10)), second = make("second", Bytes(10));
  const auto entry = folder_.path() / "first";
  platform::FileStamp a, b;
  EXPECT_TRUE(platform::StampOf(first.c_str(), &a) && platform::StampOf(second.c_str(), &b));
  EXPECT_FALSE(a == b || platform::StampOf(nowhere_.c_str(), &b));
  File file;
  EXPECT_TRUE(file.open(first.c_str(), Access::kReadWrite) && file.stamp(&b) && a == b);
  const auto time = std::filesystem::last_write_time(entry);
  EXPECT_EQ(file.writeAt(10, "x", 1), 1u);
  for (const int later : {0, 2}) {  // another size, and then another time
    std::filesystem::last_write_time(entry, time + std::chrono::seconds(later));
    EXPECT_TRUE(file.stamp(&b) && !(a == b)) << later;
    a = b;
  }
  EXPECT_TRUE(file.close() && platform::StampOf(first.c_str(), &b));
  EXPECT_FALSE(platform::Rename(first.c_str(), place_.c_str()) ||
               platform::Rename(nowhere_.c_str(), first.c_str()));
  EXPECT_TRUE(platform::Rename(first.c_str(), second.c_str()));  // takes the place of the other
  EXPECT_TRUE(platform::StampOf(second.c_str(), &a) && a == b && !platform::Exists(first.c_str()));
  EXPECT_TRUE(platform::SyncFolder(second.c_str()) && platform::SyncFolder(Text("bare name").c_str()));
}

#if defined(__linux__)

TEST_F(Files, HaveNamesInUtf8WithoutCollisions) {
  const std::pair<PmString, const char*> names[] = {
      {u"plain", "plain"},
      {u"\u00e4\u07ff\u0800\uffff", "\xc3\xa4\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
      {u"\U0001F511\U0010FFFF", "\xf0\x9f\x94\x91\xf4\x8f\xbf\xbf"},
      {{0xDD11, 0xD83D}, "\xed\xb4\x91\xed\xa0\xbd"},
      {{0xD83D, 0xD83D, 0xDD11}, "\xed\xa0\xbd\xf0\x9f\x94\x91"}};
  for (const auto& [name, bytes] : names) {
    EXPECT_TRUE(File().createNew((place_ + u"\\" + name).c_str())) << bytes;
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / bytes)) << bytes;
  }
  // The longest path that the system takes, and one character more.
  const PmString slashes(4095 - place_.size() - 1, u'/');
  EXPECT_TRUE(File().createNew((place_ + slashes + u"x").c_str()));
  EXPECT_FALSE(File().createNew((place_ + slashes + u"/y").c_str()));
  EXPECT_FALSE(platform::Exists(PmString(100000, u'/').c_str()));
  EXPECT_FALSE(platform::SyncFolder((nowhere_ + u"/x").c_str()) || platform::SyncFolder(nullptr));
}

TEST_F(Files, CarryRightsAndTheAttributeThatServersRead) {
  const mode_t before = umask(0);
  const PmString name = path("file");
  File file, other;
  EXPECT_TRUE(file.createNew(name.c_str()) && FTruncate(path("by length").c_str(), 1) == 0);
  EXPECT_TRUE(other.open(make("other", {}).c_str(), Access::kRead));
  umask(before);
  const auto mode = [&](const char* entry) {
    return static_cast<unsigned>(std::filesystem::status(folder_.path() / entry).permissions());
  };
  EXPECT_TRUE(mode("file") == 0600 && mode("by length") == 0600);
  ASSERT_EQ(chmod((folder_.path() / "other").c_str(), 04764), 0);
  EXPECT_TRUE(file.copyAccessRights(other));
  EXPECT_EQ(mode("file"), 0764u);

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
