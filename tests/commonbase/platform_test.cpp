#include "platform/platform.h"

#include <fstream>
#include <iterator>

#include "tests/support/fixture.h"

#if defined(__linux__)
#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#endif

namespace {

using platform::Access;
using platform::File;
using platform::FileStamp;

class Platform : public testing::Test {
 protected:
  PmString path(const std::string& name) const { return Pm(folder_.path() / name); }
  PmString make(const std::string& name, const Bytes& bytes) const {
    WriteBytes(folder_.path() / name, bytes);
    return path(name);
  }
  std::optional<Bytes> bytes(const std::string& name) const { return ReadBytes(folder_.path() / name); }

  TempFolder folder_;
};

TEST_F(Platform, FilesAreMadeOnceAndOnlyFilesOpen) {
  const PmString name = path("file");
  File file;
  EXPECT_FALSE(file.isOpen());
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(file.open(name.c_str(), Access::kReadWrite));
  ASSERT_TRUE(file.createNew(name.c_str()));
  EXPECT_EQ(file.writeAt(5, "later", 5), 5u);
  EXPECT_TRUE(file.sync());
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(file.createNew(name.c_str()));
  EXPECT_EQ(platform::SizeOf(name.c_str()), 10);

  ASSERT_TRUE(file.open(name.c_str(), Access::kRead));
  char text[16];
  EXPECT_EQ(file.readAt(3, text, sizeof text), 7u);
  EXPECT_EQ(std::string(text, 7), std::string("\0\0later", 7));
  EXPECT_EQ(file.readAt(10, text, 1), 0u);
  EXPECT_EQ(file.writeAt(0, "x", 1), 0u);
  EXPECT_FALSE(file.setSize(0));

  const PmString folder = Pm(folder_.path()), nowhere = path("no/folder");
  for (const PmChar* hopeless : {folder.c_str(), nowhere.c_str(), static_cast<const PmChar*>(nullptr)}) {
    EXPECT_FALSE(File().open(hopeless, Access::kRead));
    EXPECT_FALSE(File().open(hopeless, Access::kReadWrite));
    EXPECT_FALSE(File().createNew(hopeless));
    EXPECT_FALSE(platform::Remove(hopeless));
    EXPECT_FALSE(platform::Rename(hopeless, name.c_str()));
  }
  EXPECT_EQ(bytes("file")->size(), 10u);
}

TEST_F(Platform, RangesAreCopiedToTheSamePlace) {
  const Bytes content = Pattern(100000);
  File source, target;
  ASSERT_TRUE(source.open(make("source", content).c_str(), Access::kRead));
  ASSERT_TRUE(target.open(make("target", Bytes(100000)).c_str(), Access::kReadWrite));
  EXPECT_TRUE(target.copyRange(source, 1024, 70000));
  Bytes expected(100000);
  std::copy_n(content.begin() + 1024, 70000, expected.begin() + 1024);
  EXPECT_EQ(bytes("target"), expected);
  EXPECT_TRUE(target.copyRange(source, 200000, 0));
  EXPECT_FALSE(target.copyRange(source, 99000, 1001));
  EXPECT_FALSE(source.copyRange(target, 0, 10));
  EXPECT_TRUE(target.setSize(10));
  EXPECT_EQ(bytes("target"), Bytes(10));
}

TEST_F(Platform, StampsTellStatesApart) {
  const PmString first = make("first", Bytes(10)), second = make("second", Bytes(10));
  FileStamp a, b;
  ASSERT_TRUE(platform::StampOf(first.c_str(), &a));
  ASSERT_TRUE(platform::StampOf(second.c_str(), &b));
  EXPECT_FALSE(a == b);
  File file;
  ASSERT_TRUE(file.open(first.c_str(), Access::kReadWrite));
  ASSERT_TRUE(file.stamp(&b));
  EXPECT_TRUE(a == b);
  ASSERT_EQ(file.writeAt(10, "x", 1), 1u);
  ASSERT_TRUE(file.stamp(&b));
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(platform::StampOf(path("missing").c_str(), &a));

  EXPECT_TRUE(platform::Rename(first.c_str(), second.c_str()));  // takes the place of the other
  ASSERT_TRUE(platform::StampOf(second.c_str(), &a));
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(platform::Exists(first.c_str()));
  EXPECT_TRUE(platform::SyncFolder(second.c_str()));
  EXPECT_TRUE(platform::SyncFolder(Text("bare name").c_str()));
}

#if defined(__linux__)

TEST_F(Platform, PathsBecomeUtf8WithoutCollisions) {
  struct {
    PmString name;
    const char* bytes;
  } const names[] = {{u"plain", "plain"},
                     {u"\u00e4\u07ff", "\xc3\xa4\xdf\xbf"},
                     {u"\u0800\uffff", "\xe0\xa0\x80\xef\xbf\xbf"},
                     {u"\U0001F511\U0010FFFF", "\xf0\x9f\x94\x91\xf4\x8f\xbf\xbf"},
                     {{0xD83D}, "\xed\xa0\xbd"},
                     {{0xDD11, 0xD83D}, "\xed\xb4\x91\xed\xa0\xbd"},
                     {{0xD83D, 0xD83D, 0xDD11}, "\xed\xa0\xbd\xf0\x9f\x94\x91"}};
  const PmString folder = Pm(folder_.path());
  for (const auto& n : names) {
    ASSERT_TRUE(File().createNew((folder + u"\\" + n.name).c_str())) << n.bytes;
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / n.bytes)) << n.bytes;
  }

  // The longest path that the system takes, and one character more.
  const PmString slashes(4095 - folder.size() - 1, u'/');
  EXPECT_TRUE(File().createNew((folder + slashes + u"x").c_str()));
  EXPECT_FALSE(File().createNew((folder + slashes + u"/y").c_str()));
  EXPECT_FALSE(platform::Exists(PmString(100000, u'/').c_str()));
  EXPECT_FALSE(platform::SyncFolder(nullptr));
}

TEST_F(Platform, AccessRightsAreTheOwnersAloneOrThoseOfAnotherFile) {
  const auto mode = [&](const std::string& name) {
    struct stat status = {};
    stat((folder_.path() / name).c_str(), &status);
    return status.st_mode & 07777;
  };
  const mode_t before = umask(0);
  File file, other;
  ASSERT_TRUE(file.createNew(path("file").c_str()));
  EXPECT_EQ(platform::SetLength(path("by length").c_str(), 1), 0);
  umask(before);
  EXPECT_EQ(mode("file"), 0600u);
  EXPECT_EQ(mode("by length"), 0600u);

  ASSERT_TRUE(other.open(make("other", {}).c_str(), Access::kRead));
  ASSERT_EQ(chmod((folder_.path() / "other").c_str(), 04764), 0);
  EXPECT_TRUE(file.copyAccessRights(other));
  EXPECT_EQ(mode("file"), 0764u);
}

TEST_F(Platform, PipesAndDevicesAreNoFilesAndHoldNobodyUp) {
  ASSERT_EQ(mkfifo((folder_.path() / "pipe").c_str(), 0600), 0);
  for (const PmString& name : {path("pipe"), Text("/dev/zero")}) {
    EXPECT_FALSE(File().open(name.c_str(), Access::kRead));
    EXPECT_FALSE(File().open(name.c_str(), Access::kReadWrite));
    EXPECT_EQ(platform::SizeOf(name.c_str()), 0);
    EXPECT_EQ(platform::SetLength(name.c_str(), 10), -1);
  }
}

TEST_F(Platform, LinksAreFollowedAndABrokenOneStillIsAnEntry) {
  make("target", Bytes(20));
  std::filesystem::create_symlink("target", folder_.path() / "link");
  std::filesystem::create_symlink("missing", folder_.path() / "broken");
  EXPECT_EQ(platform::SizeOf(path("link").c_str()), 20);
  EXPECT_TRUE(File().open(path("link").c_str(), Access::kReadWrite));
  EXPECT_TRUE(platform::Exists(path("broken").c_str()));
  EXPECT_EQ(platform::SizeOf(path("broken").c_str()), 0);
  EXPECT_FALSE(File().createNew(path("broken").c_str()));
  EXPECT_TRUE(platform::Remove(path("broken").c_str()));
  EXPECT_FALSE(platform::Exists(path("broken").c_str()));
}

TEST_F(Platform, HiddenFilesCarryTheAttributeThatServersRead) {
  const PmString name = make("file", {});
  const std::string file = (folder_.path() / "file").string();
  const auto attribute = [&] {
    char value[64];
    const ssize_t size = getxattr(file.c_str(), "user.DOSATTRIB", value, sizeof value);
    return size < 0 ? "none" : std::string(value, static_cast<size_t>(size));
  };
  if (setxattr(file.c_str(), "user.DOSATTRIB", "0x21", 4, 0) != 0)
    GTEST_SKIP() << "no extended attributes here";
  EXPECT_TRUE(platform::SetHidden(name.c_str(), true));
  EXPECT_EQ(attribute(), "0x2");  // other attributes are cleared
  EXPECT_TRUE(platform::SetHidden(name.c_str(), false));
  EXPECT_EQ(attribute(), "none");
  EXPECT_TRUE(platform::SetHidden(name.c_str(), false));
}

TEST_F(Platform, WhatDoesNotFitTheMediumIsReported) {
  std::signal(SIGXFSZ, SIG_IGN);
  struct rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  File source, target;
  ASSERT_TRUE(source.open(make("source", Pattern(9000)).c_str(), Access::kRead));
  ASSERT_TRUE(target.createNew(path("target").c_str()));
  const struct rlimit tight = {5000, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  const size_t written = target.writeAt(1000, Pattern(9000).data(), 9000);
  const bool grown = target.setSize(6000), copied = target.copyRange(source, 0, 9000);
  const int32_t length = platform::SetLength(path("target").c_str(), 6000);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(written, 4000u);
  EXPECT_FALSE(grown);
  EXPECT_FALSE(copied);
  EXPECT_EQ(length, -1);
  EXPECT_EQ(platform::SizeOf(path("target").c_str()), 5000);
}

TEST_F(Platform, RangesAreCopiedBetweenFileSystemsThatShareNothing) {
  const PmString version = Text("/proc/version");
  std::ifstream stream("/proc/version");
  const Bytes content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  File source, target;
  ASSERT_TRUE(source.open(version.c_str(), Access::kRead));
  ASSERT_TRUE(target.createNew(path("target").c_str()));
  EXPECT_TRUE(target.copyRange(source, 0, content.size()));
  EXPECT_EQ(bytes("target"), content);
  EXPECT_FALSE(target.copyRange(source, 0, content.size() + 1));
}

#endif

}  // namespace
