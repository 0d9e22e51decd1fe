// Databases on Windows: wide paths, the backup's name, attributes and rights, what others may do with open files, and
// the report.
#include <thread>

#include "tests/support/fixture.h"

extern "C" {
#include "tests/windows/strict.h"
}
#include <sddl.h>

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kKind = 7, kId = 0x1234;
constexpr wchar_t kUserData[] = L"\u043a\u043b\u044e\u0447 \U0001f511";

// Works in a folder with a name beyond ASCII.
class Databases : public DataBaseTest {
 protected:
  Databases() {
    fs::create_directory(place_);
    fs::current_path(place_);
  }
  ~Databases() override { fs::current_path(before_); }

  static int32_t put(DataBaseHandle* vault, uint32_t id, size_t size) {
    RetainID(vault, id, kKind, nullptr);
    return insert(vault, id, Pattern(size), 1);
  }

  static bool isThere(const fs::path& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
  }

  static void closeAndLeaveNothing(DataBaseHandle* vault, const fs::path& backup, const fs::path& journal) {
    EXPECT_EQ(CloseDataBaseFile(vault), 0);
    for (const fs::path& beside : {backup, journal}) EXPECT_FALSE(isThere(beside)) << beside;
  }

  static void expectBackup(const fs::path& path, const fs::path& backup) {
    EXPECT_EQ(ReadBytes(backup), ReadBytes(path));
    EXPECT_EQ(GetFileAttributesW(backup.c_str()) & FILE_ATTRIBUTE_HIDDEN, DWORD{FILE_ATTRIBUTE_HIDDEN});
  }

  // Opens a file so that nobody may rename or remove it, and with no share nobody else may have it open.
  static HANDLE hold(const fs::path& path, DWORD share) {
    return CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
  }
  static bool isLetGo(const fs::path& path) {
    const HANDLE file = hold(path, 0);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file);
  }

  const fs::path place_ = file().parent_path() / L"\u00e4\u4fdd \u9669", before_ = fs::current_path();
};

class Strictly : public Databases {
 protected:
  Strictly() { EXPECT_EQ(MakeStrict(dll_, 1), 4); }
  ~Strictly() override {
    EXPECT_EQ(MakeStrict(dll_, 0), 4);
    EXPECT_GT(seen.creations, 0);
    EXPECT_EQ(seen.refused, 0);
  }

  // One road through everything that makes, renews, restores and deletes a backup.
  static void live(const fs::path& path, const fs::path& backup) {
    SCOPED_TRACE(path);
    DataBaseHandle* vault = OpenDataBaseFile(path.c_str());
    ASSERT_NE(vault, nullptr);
    const uint32_t named = CreateNewItemID(vault, kKind, kUserData);
    EXPECT_EQ(insert(vault, named, Pattern(6), 1), 0);
    expectBackup(path, backup);
    EXPECT_EQ(put(vault, kId, 3000), 0);
    expectBackup(path, backup);
    CopyFileW(backup.c_str(), L"kept", FALSE);
    EXPECT_EQ(CloseDataBaseFile(vault), 0);
    EXPECT_FALSE(isThere(backup));
    EXPECT_TRUE(isLetGo(path));

    MoveFileW(L"kept", backup.c_str());
    SetFileAttributesW(backup.c_str(), FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(PmRestoreBackupFile(path.c_str()), 0);
    vault = OpenDataBaseFile(path.c_str());
    EXPECT_EQ(put(vault, kId, 10), 0);  // over the hidden one that stands there
    expectBackup(path, backup);
    for (int opened = 0; opened < 2; ++opened) EXPECT_EQ(CloseDataBaseFile(vault), 0);
    EXPECT_FALSE(isThere(backup));

    vault = OpenDataBaseFile(path.c_str());
    EXPECT_EQ(get(vault, kId), Pattern(10));
    EXPECT_EQ(GetItemIDByUserdata(vault, kKind, kUserData), named);
    CloseDataBaseFile(vault);
    EXPECT_TRUE(DeleteFileW(path.c_str()));
  }

  const HMODULE dll_ = GetModuleHandleW(L"pmstore.dll");
};

// A backup stands beside its file, however the path is spelled; what would put it elsewhere is refused.
TEST_F(Strictly, PathsOfEverySpelling) {
  const std::wstring name = std::wstring(3, L'\u4e00') + std::wstring(255 - place_.native().size() - 4, L'x');
  const std::wstring longest = place_.native() + L"\\" + name;  // that there is
  const std::pair<std::wstring, std::wstring> kPaths[] = {
      {longest, L"\\\\?\\" + place_.native() + L"\\." + name + L".bak"},
      {L"Tres\u00f6r \u4fdd\u9669 \U0001f511.db", L".Tres\u00f6r \u4fdd\u9669 \U0001f511.db.bak"},
      {L"a\\b\\back.db", L"a\\b\\.back.db.bak"},
      {L"a/b/slash.db", L"a\\b\\.slash.db.bak"},
      {L"./dot.db", L".dot.db.bak"}};
  fs::create_directories("a/b");
  for (const auto& [path, backup] : kPaths) live(path, backup);
  for (const std::wstring& path : {std::wstring(251, L'x'), longest + L"x"})
    EXPECT_EQ(OpenDataBaseFile(path.c_str()), nullptr) << fs::path(path);
  for (const wchar_t* path :
       {L"c:drive.db", L"a.db:stream", L"a.db::$DATA", L"a.db.", L"a.db ", L"a.db:", L"a?.db", L".", L"NUL"})
    EXPECT_EQ(OpenDataBaseFile(path), nullptr) << fs::path(path);
  WriteBytes("none.db", Bytes(11));
  EXPECT_EQ(OpenDataBaseFile(L"none.db"), nullptr);
  EXPECT_TRUE(isLetGo("none.db"));
  DataBaseHandle* vault = OpenDataBaseFile(L"a/one.db");
  EXPECT_EQ(OpenDataBaseFile(L"a\\one.db"), vault);
}

// A backup that another program holds is waited for; one that is never let go stops syncs, and nothing is lost.
TEST_F(Strictly, ABackupThatIsHeld) {
  const fs::path path = "held.db", backup = ".held.db.bak", journal = ".held.db.pmj";
  DataBaseHandle* vault = OpenDataBaseFile(path.c_str());
  WriteBytes(backup, {});
  HANDLE holder = hold(backup, FILE_SHARE_READ);
  EXPECT_NE(put(vault, kId, 10), 0);
  EXPECT_EQ(FSize(path.c_str()), 0);
  CloseHandle(holder);
  EXPECT_EQ(PmSyncDirtyData(), 0);
  expectBackup(path, backup);
  EXPECT_NE(GetFileAttributesW(journal.c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
  // Let go soon after somebody was refused, as a virus scanner does.
  holder = hold(backup, FILE_SHARE_READ | FILE_SHARE_WRITE);
  std::thread scanner([&, before = seen.held] {
    for (int i = 0; i < 1000 && seen.held == before; ++i) Sleep(5);
    EXPECT_GT(seen.held, before);
    CloseHandle(holder);
  });
  closeAndLeaveNothing(vault, backup, journal);
  scanner.join();

  // A backup whose name stays, since somebody has it open, is not gone: the journal stays with it.
  vault = OpenDataBaseFile(path.c_str());
  EXPECT_EQ(put(vault, kId, 20), 0);
  holder = hold(backup, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
  EXPECT_EQ(CloseDataBaseFile(vault), 0);
  EXPECT_TRUE(isThere(journal));
  CloseHandle(holder);
  EXPECT_FALSE(isThere(backup));

  // One of an earlier session that was made read-only is no hindrance.
  WriteBytes(backup, {});
  SetFileAttributesW(backup.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
  vault = OpenDataBaseFile(path.c_str());
  EXPECT_EQ(get(vault, kId), Pattern(20));
  EXPECT_EQ(put(vault, kId, 10), 0);
  expectBackup(path, backup);
  closeAndLeaveNothing(vault, backup, journal);
}

// Nobody takes an open vault away, and everybody may read it.
TEST_F(Databases, AnOpenVaultStaysWhereItIs) {
  DataBaseHandle* vault = OpenDataBaseFile(L"open.db");
  EXPECT_EQ(put(vault, kId, 100), 0);
  EXPECT_TRUE(CopyFileW(L"open.db", L"copy of a vault.db", FALSE));
  for (const wchar_t* path : {L"open.db", L".open.db.bak", L".open.db.pmj"}) {
    EXPECT_FALSE(DeleteFileW(path));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_FALSE(MoveFileW(path, L"away.db"));
    EXPECT_FALSE(MoveFileExW(L"copy of a vault.db", path, MOVEFILE_REPLACE_EXISTING));
  }
  // Another spelling of the name meets the same lock and the same journal.
  DataBaseHandle* other = OpenDataBaseFile(L"OPEN.DB");
  EXPECT_NE(other, vault);
  EXPECT_EQ(get(other, kId), Pattern(100));
  EXPECT_EQ(put(other, kId + 2, 100), -2);
  EXPECT_EQ(CloseDataBaseFile(other), 0);
  EXPECT_EQ(put(vault, kId + 1, 100), 0);
  wchar_t shorter[MAX_PATH];
  EXPECT_NE(GetShortPathNameW(L"copy of a vault.db", shorter, MAX_PATH), 0u);
  EXPECT_STRNE(shorter, L"copy of a vault.db");
  EXPECT_EQ(put(OpenDataBaseFile(shorter), kId + 1, 100), 0);
  EXPECT_TRUE(isThere(".copy of a vault.db.pmj"));
}

// Only what another program holds is waited for, and a caller's file is deleted as the system does it.
TEST_F(Databases, ADeletionWaitsForWhatIsHeld) {
  const struct {
    const wchar_t* path;
    DWORD attributes, share;
    bool deleted, waits;
  } kRows[] = {{L"free", FILE_ATTRIBUTE_NORMAL, 7, true, false},
               {L"read-only", FILE_ATTRIBUTE_READONLY, 7, false, false},
               {L"held", FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ, false, true}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(fs::path(row.path));
    WriteBytes(row.path, Bytes(1));
    SetFileAttributesW(row.path, row.attributes);
    const HANDLE file = row.share == 7 ? nullptr : hold(row.path, row.share);
    const DWORD start = GetTickCount();
    EXPECT_EQ(FDelete(row.path), row.deleted ? 0 : -1);
    EXPECT_EQ(GetTickCount() - start > 150, row.waits);
    EXPECT_EQ(isThere(row.path), !row.deleted);
    if (file != nullptr) CloseHandle(file);
    SetFileAttributesW(row.path, FILE_ATTRIBUTE_NORMAL);
  }
}

// The report is text as the system writes it, and the DLL's environment is the program's.
TEST_F(Databases, AReport) {
  EXPECT_EQ(put(OpenDataBaseFile(L"reported.db"), kId, 17), 0);
  _putenv("DB_DETAIL_HEX=Y");
  PrintAllItemInfo(L"\u62a5\u544a.txt");
  EXPECT_TRUE(isLetGo(L"\u62a5\u544a.txt"));
  const Bytes bytes = ReadBytes(L"\u62a5\u544a.txt").value_or(Bytes());
  const std::string text(bytes.begin(), bytes.end());
  EXPECT_EQ(text.rfind("file information:\r\n\t size: 2048( 2k )\r\n", 0), 0u) << text;
  EXPECT_NE(text.find("0x0010 "), std::string::npos) << text;
}

// Who may do what with a file.
std::string ListOf(const wchar_t* path) {
  char descriptor[1024];
  BOOL there = FALSE, byDefault;
  ACL* list = nullptr;
  DWORD size;
  EXPECT_TRUE(GetFileSecurityW(path, DACL_SECURITY_INFORMATION, descriptor, sizeof descriptor, &size));
  EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor, &there, &list, &byDefault));
  return there ? std::string(reinterpret_cast<const char*>(list), list->AclSize) : "";
}

// A backup may be touched by those alone who may touch its data file.
TEST_F(Databases, AccessRightsGoAlong) {
  PSECURITY_DESCRIPTOR everyone;
  DataBaseHandle* vault = OpenDataBaseFile(L"rights.db");
  const std::string before = ListOf(L"rights.db");
  EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1,
                                                                   &everyone, nullptr));
  EXPECT_TRUE(SetFileSecurityW(L"rights.db", DACL_SECURITY_INFORMATION, everyone));
  EXPECT_NE(ListOf(L"rights.db"), before);
  EXPECT_EQ(put(vault, kId, 100), 0);
  for (const wchar_t* path : {L".rights.db.bak", L".rights.db.pmj"})
    EXPECT_EQ(ListOf(path), ListOf(L"rights.db"));
}

}  // namespace
