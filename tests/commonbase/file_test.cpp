#include "file.h"

#include <algorithm>
#include <string>

#include "tests/support/fixture.h"

namespace {

namespace fs = std::filesystem;

class FileHelpers : public testing::Test {
 protected:
  PmString path(const std::string& name) const { return Pm(folder_.path() / name); }
  PmString make(const std::string& name, const Bytes& bytes) const {
    WriteBytes(folder_.path() / name, bytes);
    return path(name);
  }
  std::optional<Bytes> bytes(const std::string& name) const { return ReadBytes(folder_.path() / name); }

  TempFolder folder_;
};

TEST_F(FileHelpers, TellFilesFoldersAndNothingApart) {
  const PmString empty = make("empty", {}), full = make("full", Bytes(3000)), missing = path("missing");
  const PmString folder = Pm(folder_.path()), nameless;
  struct {
    const PmChar* path;
    int32_t exists, size;
    bool opens;
  } const cases[] = {{empty.c_str(), 0, 0, true},       {full.c_str(), 0, 3000, true},
                     {missing.c_str(), -1, -1, false},  {folder.c_str(), 0, 0, false},
                     {nameless.c_str(), -1, -1, false}, {nullptr, -1, -1, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(FExists(c.path), c.exists);
    EXPECT_EQ(FSize(c.path), c.size);
    for (const char* mode : {"rb", "r+b"}) {
      FILE* stream = FOpen(c.path, mode);
      EXPECT_EQ(stream != nullptr, c.opens) << mode;
      if (stream != nullptr) {
        EXPECT_EQ(FClose(stream), 0);
      }
    }
    if (!c.opens) {
      EXPECT_EQ(FDelete(c.path), -1);
    }
  }
  EXPECT_EQ(FOpen(full.c_str(), nullptr), nullptr);
  EXPECT_EQ(FDelete(full.c_str()), 0);
  EXPECT_EQ(FExists(full.c_str()), -1);
}

TEST_F(FileHelpers, StreamsReadWriteSeekAndTellTheEnd) {
  const PmString name = path("stream");
  FILE* stream = FOpen(name.c_str(), "w+bc and no more than four characters");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(FWrite("abc\nlonger than it fits\nend", 1, 27, stream), 27);
  EXPECT_EQ(FFlush(stream), 0);
  EXPECT_EQ(FSize(name.c_str()), 27);

  EXPECT_EQ(FSeek(stream, 0, 0), 0);
  EXPECT_NE(FSeek(stream, -1, 0), 0);
  char line[16];
  struct {
    int32_t size, length;
    const char* text;
  } const lines[] = {{16, 4, "abc\n"},  {16, 15, "longer than it "},
                     {16, 5, "fits\n"}, {3, 2, "en"},
                     {16, 1, "d"},      {16, -3, ""}};
  for (const auto& l : lines) {
    std::fill(std::begin(line), std::end(line), '!');
    EXPECT_EQ(FReadLine(line, l.size, stream), l.length);
    EXPECT_STREQ(line, l.text);
    for (int32_t i = std::max(l.length, 0); i < l.size; ++i) EXPECT_EQ(line[i], 0);
  }
  EXPECT_EQ(FReadLine(nullptr, 16, stream), -3);
  EXPECT_EQ(FReadLine(line, -1, stream), -3);

  EXPECT_EQ(FSeek(stream, -3, 2), 0);
  EXPECT_EQ(FEof(stream), 0);
  EXPECT_EQ(FRead(line, 2, 1, stream), 1);
  EXPECT_EQ(FRead(line, 1, 1, stream), 1);
  EXPECT_EQ(FEof(stream), 0);  // the last byte is read, and nothing beyond
  EXPECT_EQ(FRead(line, 1, 1, stream), 0);
  EXPECT_NE(FEof(stream), 0);
  EXPECT_EQ(FSeek(stream, -1, 1), 0);
  EXPECT_EQ(FEof(stream), 0);
  EXPECT_EQ(FRead(line, 2, 1, stream), 0);  // half an element is none
  EXPECT_EQ(FClose(stream), 0);
}

TEST_F(FileHelpers, TruncateCutsExtendsAndCreates) {
  const PmString name = make("file", Pattern(3072));
  struct {
    int32_t size, result;
    size_t kept, length;
  } const steps[] = {
      {2048, 0, 2048, 2048}, {-1, -1, 2048, 2048}, {4096, 0, 2048, 4096}, {0, 0, 0, 0}, {5, 0, 0, 5}};
  for (const auto& step : steps) {
    EXPECT_EQ(FTruncate(name.c_str(), step.size), step.result);
    Bytes expected = Pattern(3072);
    expected.resize(step.kept);
    expected.resize(step.length);
    EXPECT_EQ(bytes("file"), expected) << step.size;
  }
  EXPECT_EQ(FTruncate(path("new").c_str(), 1000), 0);
  EXPECT_EQ(bytes("new"), Bytes(1000));
  for (const PmString& hopeless : {Pm(folder_.path()), path("no/such/folder"), PmString()})
    EXPECT_EQ(FTruncate(hopeless.c_str(), 10), 0);
}

TEST_F(FileHelpers, CopyReplacesTheWholeDestination) {
  for (const size_t size : {0, 1, 4095, 4096, 10000, 16384, 70001}) {
    const Bytes content = Pattern(size);
    const PmString source = make("source", content), destination = make("destination", Pattern(20000, 2));
    EXPECT_EQ(FCopyToFile(source.c_str(), destination.c_str()), 0);
    EXPECT_EQ(bytes("destination"), content) << size;
  }
  const Bytes kept = *bytes("destination");
  const PmString source = path("source"), folder = Pm(folder_.path());
  for (const PmString& missing : {path("missing"), folder, PmString()})
    EXPECT_EQ(FCopyToFile(missing.c_str(), path("destination").c_str()), -2);
  for (const PmString& hopeless : {path("no/such/folder"), folder, PmString()})
    EXPECT_EQ(FCopyToFile(source.c_str(), hopeless.c_str()), -2);
  EXPECT_EQ(bytes("destination"), kept);
#if defined(__linux__)
  EXPECT_EQ(FCopyToFile(source.c_str(), Text("/dev/full").c_str()), -4);
#endif
}

TEST_F(FileHelpers, HidingLeavesAFileUsableAndCanBeUndone) {
  const PmString name = make("file", Pattern(10)), missing = path("missing");
  for (const int32_t hide : {1, 1, 0, 0, 7, 0}) {
    EXPECT_NE(FSetHideAttribute(name.c_str(), hide), 0);
    FILE* stream = FOpen(name.c_str(), "r+b");
    ASSERT_NE(stream, nullptr) << hide;
    EXPECT_EQ(FWrite("x", 1, 1, stream), 1);
    EXPECT_EQ(FClose(stream), 0);
    EXPECT_EQ(FSetHideAttribute(missing.c_str(), hide), 0);
    EXPECT_EQ(FSetHideAttribute(nullptr, hide), 0);
  }
}

TEST_F(FileHelpers, CurrentFolderIsTheProgramsOwn) {
  PmChar buffer[1024];
  const int32_t length = GetCurDir(1024, buffer);
  const PmString folder = buffer;
  ASSERT_GT(length, static_cast<int32_t>(folder.size()));
#if defined(__linux__)
  const fs::path program = fs::read_symlink("/proc/self/exe");
  EXPECT_EQ(length, static_cast<int32_t>(Pm(program).size()));
  EXPECT_EQ(folder, Pm(program.parent_path() / ""));
#endif

  // A path that is cut keeps its last whole folder, and never leaves the buffer.
  std::fill(std::begin(buffer), std::end(buffer), PmChar{'!'});
  const auto size = static_cast<int32_t>(folder.size());
  EXPECT_EQ(GetCurDir(size, buffer), size);
  EXPECT_EQ(folder.compare(0, PmString(buffer).size(), buffer), 0);
  EXPECT_LT(PmString(buffer).size(), folder.size());
  EXPECT_EQ(buffer[size], PmChar{'!'});
  EXPECT_EQ(GetCurDir(0, buffer), 0);
  EXPECT_EQ(GetCurDir(10, nullptr), 0);
}

}  // namespace
