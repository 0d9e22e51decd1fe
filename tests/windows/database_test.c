/*
 * Databases on Windows, as a component of the manager drives them: wide paths, the backup's name and hidden
 * attribute, the report, and the order of the system calls that keep a vault safe.
 */
#include "component.h"
#include "strict.h"

#include <sddl.h>

enum { kKind = 7, kId = 0x1234 };

static const wchar_t kUserData[] = L"\u043a\u043b\u044e\u0447 \U0001f511";

/* Whether the backup stands hidden beside the file, with the same bytes. */
static int IsBackedUp(const wchar_t* path, const wchar_t* backup) {
  static char bytes[kMostBytes], backupBytes[kMostBytes];
  const size_t size = ReadAll(path, bytes);
  return size > 0 && ReadAll(backup, backupBytes) == size && memcmp(bytes, backupBytes, size) == 0 &&
         IsHidden(backup);
}

/* Opens a file so that nobody may rename or remove it, and with no share nobody else may have it open. */
static HANDLE Hold(const wchar_t* path, DWORD share) {
  return CreateFileW(path, GENERIC_READ, share, NULL, OPEN_EXISTING, 0, NULL);
}

static int IsLetGo(const wchar_t* path) {
  HANDLE file = Hold(path, 0);
  return file != INVALID_HANDLE_VALUE && CloseHandle(file);
}

static int heldBefore;

/* Lets go soon after somebody was refused, as a virus scanner does. */
static DWORD WINAPI LetGo(void* file) {
  for (int i = 0; i < 1000 && seen.held == heldBefore; ++i) Sleep(5);
  return (DWORD)CloseHandle(file);
}

static void HoldForAMoment(const wchar_t* path) {
  heldBefore = seen.held;
  CloseHandle(CreateThread(NULL, 0, LetGo, Hold(path, FILE_SHARE_READ | FILE_SHARE_WRITE), 0, NULL));
}

static int32_t Put(DataBaseHandle* vault, uint32_t id, char value, uint32_t size) {
  char bytes[3000];
  memset(bytes, value, size);
  pm.RetainID(vault, id, kKind, NULL);
  return pm.InserItemToDataBase(vault, id, bytes, size, 1);
}

static int Holds(DataBaseHandle* vault, uint32_t id, char value, uint32_t size) {
  const char* item = pm.PmGetItemPtrByID(vault, &id);
  return item != NULL && id == size && item[0] == value && item[size - 1] == value;
}

/* One road through everything that makes, renews, moves, restores and deletes a backup. */
static void TestLife(const wchar_t* path, const wchar_t* backup) {
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  if (!CHECK(vault != NULL)) return;
  const uint32_t named = pm.CreateNewItemID(vault, kKind, kUserData);
  CHECK(pm.InserItemToDataBase(vault, named, "secret", 6, 0) == 0 && IsBackedUp(path, backup));
  for (char i = 0; i < 4; ++i) CHECK(Put(vault, kId + (uint32_t)i, i, 2500) == 0 && IsBackedUp(path, backup));
  CHECK(Put(vault, kId, 5, 3000) == 0 && IsBackedUp(path, backup)); /* a small share of the file */
  CHECK(pm.DeleteItemFromDataBase(vault, kId + 1, 1) == 0 && IsBackedUp(path, backup));
  CHECK(CopyFileW(backup, L"kept", FALSE));
  CHECK(pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup) && IsLetGo(path));

  CHECK(MoveFileW(L"kept", backup) && SetFileAttributesW(backup, FILE_ATTRIBUTE_HIDDEN));
  CHECK(pm.PmRestoreBackupFile(path) == 0 && IsBackedUp(path, backup));
  vault = pm.OpenDataBaseFile(path);
  CHECK(Holds(vault, kId, 5, 3000) && pm.GetItemCount(vault, kKind) == 4);
  CHECK(Put(vault, kId, 6, 10) == 0 && IsBackedUp(path, backup)); /* over the hidden one that stands there */
  CHECK(pm.CloseDataBaseFile(vault) == 0 && pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup));

  vault = pm.OpenDataBaseFile(path);
  CHECK(Holds(vault, kId, 6, 10) && pm.GetItemIDByUserdata(vault, kKind, kUserData) == named);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && DeleteFileW(path));
}

/* The backup's full stop stands behind the last backslash; a slash separates nothing. */
static void TestPaths(void) {
  wchar_t folder[MAX_PATH], path[MAX_PATH + 10], backup[MAX_PATH + 10], name[256];
  GetCurrentDirectoryW(MAX_PATH, folder);
  wmemset(name, L'\u4e00', 3); /* the longest path that there is */
  wmemset(name + 3, L'x', 252);
  name[255 - wcslen(folder) - 1] = 0;
  swprintf(path, MAX_PATH + 10, L"%ls\\%ls", folder, name);
  swprintf(backup, MAX_PATH + 10, L"\\\\?\\%ls\\.%ls.bak", folder, name);
  const wchar_t* const paths[][2] = {
      {path, backup},
      {L"Tres\u00f6r \u4fdd\u9669 \U0001f511.db", L".Tres\u00f6r \u4fdd\u9669 \U0001f511.db.bak"},
      {L"a\\b\\back.db", L"a\\b\\.back.db.bak"},
      {L"a/b\\mixed.db", L"a/b\\.mixed.db.bak"},
      {L"a/b/slash.db", L".a/b/slash.db.bak"}};
  CHECK(CreateDirectoryW(L"a", NULL) && CreateDirectoryW(L"a\\b", NULL));
  CHECK(CreateDirectoryW(L".a", NULL) && CreateDirectoryW(L".a\\b", NULL));
  CHECK(wcslen(path) == 255);
  for (size_t i = 0; i < sizeof paths / sizeof *paths; ++i) TestLife(paths[i][0], paths[i][1]);
  wcscat(path, L"x");
  CHECK(pm.OpenDataBaseFile(path) == NULL && !IsThere(path));

  /* A full path of slashes puts the full stop before the drive, where no folder can be. */
  swprintf(path, MAX_PATH, L"%ls/drive.db", folder);
  for (wchar_t* c = path; *c != 0; ++c) *c = *c == L'\\' ? L'/' : *c;
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  CHECK(Put(vault, kId, 1, 100) == -2 && pm.FSize(path) == 0);
  CHECK(pm.CloseDataBaseFile(vault) == 0);
}

/* A backup that another program holds is waited for; one that is never let go stops every sync. */
static void TestHeldBackup(void) {
  static const wchar_t path[] = L"held.db", backup[] = L".held.db.bak";
  static const uint32_t sizes[] = {2500, 10}; /* the backup is copied whole, or the changes into it */
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  for (uint32_t i = 0; i < 4; ++i) CHECK(Put(vault, kId + i, 1, 2500) == 0);
  for (int i = 0; i < 2; ++i) {
    HoldForAMoment(backup);
    CHECK(Put(vault, kId, 2, sizes[i]) == 0 && IsBackedUp(path, backup) && seen.held > heldBefore);
  }

  HANDLE holder = Hold(backup, FILE_SHARE_READ | FILE_SHARE_WRITE);
  CHECK(Put(vault, kId, 3, 10) == -4); /* written, but the backup is that of the state before */
  const int32_t size = pm.FSize(path);
  CHECK(Put(vault, kId, 4, 2500) == -2 && pm.FSize(path) == size && IsHidden(backup));
  CHECK(CloseHandle(holder) && pm.PmSyncDirtyData() == 0 && IsBackedUp(path, backup));

  HoldForAMoment(backup);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup) && seen.held > heldBefore);
}

/* The report is text as the system writes it, and the DLL's environment is the program's. */
static void TestReport(void) {
  static const char head[] =
      "file information:\r\n\t size: 2048( 2k )\r\n\t item num: 2\r\n\t block num: 2\r\n";
  static const wchar_t report[] = L"\u62a5\u544a.txt";
  static char text[kMostBytes];
  DataBaseHandle* vault = pm.OpenDataBaseFile(L"reported.db");
  CHECK(Put(vault, kId, '\xAB', 17) == 0);
  _putenv("DB_DETAIL_HEX=Y");
  pm.PrintAllItemInfo(report);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && IsLetGo(report));
  CHECK(ReadAll(report, text) > 0);
  CHECK(strncmp(text, head, sizeof head - 1) == 0 && strstr(text, "0x0010 AB \r\n") != NULL);
}

/* A backup may be touched by those alone who may touch its data file. */
static void TestAccessRights(void) {
  char before[512] = {0}, wanted[512] = {0}, found[512] = {0};
  PSECURITY_DESCRIPTOR everyone;
  DWORD size;
  DataBaseHandle* vault = pm.OpenDataBaseFile(L"rights.db");
  CHECK(GetFileSecurityW(L"rights.db", DACL_SECURITY_INFORMATION, before, sizeof before, &size));
  CHECK(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &everyone,
                                                             NULL));
  CHECK(SetFileSecurityW(L"rights.db", DACL_SECURITY_INFORMATION, everyone));
  CHECK(GetFileSecurityW(L"rights.db", DACL_SECURITY_INFORMATION, wanted, sizeof wanted, &size));
  CHECK(memcmp(wanted, before, sizeof before) != 0);
  CHECK(Put(vault, kId, 1, 100) == 0);
  CHECK(GetFileSecurityW(L".rights.db.bak", DACL_SECURITY_INFORMATION, found, sizeof found, &size));
  CHECK(memcmp(wanted, found, sizeof found) == 0 && pm.CloseDataBaseFile(vault) == 0);
}

/* What cannot be opened as a database is let go again, as it was. */
static void TestRefusal(void) {
  CHECK(pm.FTruncate(L"none.db", 11) == 0 && pm.OpenDataBaseFile(L"none.db") == NULL);
  CHECK(IsLetGo(L"none.db") && pm.FSize(L"none.db") == 11);
  CHECK(pm.OpenDataBaseFile(L".") == NULL && pm.OpenDataBaseFile(L"NUL") == NULL);
}

int main(void) {
  EnterFolder();
  for (int strictly = 1; strictly >= 0; --strictly) { /* then with the DLL loaded anew */
    if (!CHECK(LoadPmstore() == 80 && pm.InitPmTotalDataController() == 1)) return 1;
    if (strictly) {
      CHECK(MakeStrict(pm.module) == 7);
      TestPaths();
      TestHeldBackup();
    } else {
      TestReport();
      TestAccessRights();
      TestRefusal();
    }
    pm.ReleasePmTotalDataController();
    CHECK(FreeLibrary(pm.module) && GetModuleHandleW(L"pmstore.dll") == NULL);
  }
  CHECK(seen.creations > 0 && seen.renames > 0);
  CHECK(seen.overHidden == 0 && seen.tooLong == 0 && seen.notDurable == 0 && seen.notWrittenThrough == 0);
  LeaveFolder();
  return Failures();
}
