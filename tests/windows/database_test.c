/*
 * Databases on Windows, as a component of the manager drives them: wide paths, the backup's name, attributes and
 * rights, what others may do with open files, and the report.
 */
#include "component.h"

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

/* One road through everything that makes, renews, restores and deletes a backup. */
static void TestLife(const wchar_t* path, const wchar_t* backup) {
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  if (!CHECK(vault != NULL)) return;
  const uint32_t named = pm.CreateNewItemID(vault, kKind, kUserData);
  CHECK(pm.InserItemToDataBase(vault, named, "secret", 6, 1) == 0 && IsBackedUp(path, backup));
  CHECK(Put(vault, kId, 5, 3000) == 0 && IsBackedUp(path, backup));
  CHECK(CopyFileW(backup, L"kept", FALSE));
  CHECK(pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup) && IsLetGo(path));

  CHECK(MoveFileW(L"kept", backup) && SetFileAttributesW(backup, FILE_ATTRIBUTE_HIDDEN));
  CHECK(pm.PmRestoreBackupFile(path) == 0 && IsBackedUp(path, backup));
  vault = pm.OpenDataBaseFile(path);
  CHECK(Put(vault, kId, 6, 10) == 0 && IsBackedUp(path, backup)); /* over the hidden one that stands there */
  CHECK(pm.CloseDataBaseFile(vault) == 0 && pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup));

  vault = pm.OpenDataBaseFile(path);
  CHECK(Holds(vault, kId, 6, 10) && pm.GetItemIDByUserdata(vault, kKind, kUserData) == named);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && DeleteFileW(path));
}

/* A backup stands beside its file, however the path is spelled; what would put it elsewhere is refused. */
static void TestPaths(void) {
  wchar_t folder[MAX_PATH], path[MAX_PATH + 10], backup[MAX_PATH + 10], name[256], tooLong[252] = {0};
  const wchar_t* const refused[] = {tooLong,  L"c:drive.db", L"a.db:stream", L"a.db::$DATA", L"a.db.",
                                    L"a.db ", L"a.db:",      L"a?.db",       L".",           L"NUL"};
  wmemset(tooLong, L'x', 251);
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
      {L"a/b/slash.db", L"a\\b\\.slash.db.bak"},
      {L"./dot.db", L".dot.db.bak"}};
  CHECK(CreateDirectoryW(L"a", NULL) && CreateDirectoryW(L"a\\b", NULL) && wcslen(path) == 255);
  for (size_t i = 0; i < sizeof paths / sizeof *paths; ++i) TestLife(paths[i][0], paths[i][1]);
  for (size_t i = 0; i < sizeof refused / sizeof *refused; ++i)
    CHECK(pm.OpenDataBaseFile(refused[i]) == NULL);
  wcscat(path, L"x");
  CHECK(pm.OpenDataBaseFile(path) == NULL && !IsThere(path));
  CHECK(pm.FTruncate(L"none.db", 11) == 0 && pm.OpenDataBaseFile(L"none.db") == NULL);
  CHECK(IsLetGo(L"none.db") && pm.FSize(L"none.db") == 11);

  DataBaseHandle* vault = pm.OpenDataBaseFile(L"a/one.db");
  CHECK(vault != NULL && pm.OpenDataBaseFile(L"a\\one.db") == vault);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && pm.CloseDataBaseFile(vault) == 0);
}

/* Nobody takes an open vault away, and everybody may read it. */
static void TestOpenVault(void) {
  static const wchar_t path[] = L"open.db";
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  CHECK(Put(vault, kId, 1, 100) == 0 && CopyFileW(path, L"copy.db", FALSE));
  CHECK(!DeleteFileW(path) && GetLastError() == ERROR_SHARING_VIOLATION);
  CHECK(!DeleteFileW(L".open.db.pmj") && GetLastError() == ERROR_SHARING_VIOLATION);
  CHECK(!MoveFileW(path, L"away.db") && !MoveFileExW(L"copy.db", path, MOVEFILE_REPLACE_EXISTING));

  /* Another spelling of the name meets the same lock and the same journal. */
  DataBaseHandle* other = pm.OpenDataBaseFile(L"OPEN.DB");
  CHECK(other != NULL && other != vault && Holds(other, kId, 1, 100) && Put(other, kId + 2, 3, 100) == -2);
  CHECK(pm.CloseDataBaseFile(other) == 0 && Put(vault, kId + 1, 2, 100) == 0 && IsThere(L".open.db.pmj"));
  CHECK(pm.CloseDataBaseFile(vault) == 0 && DeleteFileW(path));
  wchar_t shorter[MAX_PATH];
  CHECK(MoveFileW(L"copy.db", L"copy of a vault.db") &&
        GetShortPathNameW(L"copy of a vault.db", shorter, MAX_PATH));
  CHECK(wcscmp(shorter, L"copy of a vault.db") != 0 && (vault = pm.OpenDataBaseFile(shorter)) != NULL);
  CHECK(Put(vault, kId + 1, 2, 100) == 0 && IsThere(L".copy of a vault.db.pmj"));
  CHECK(pm.CloseDataBaseFile(vault) == 0);
}

/* A backup that another program holds is waited for; one that is never let go stops syncs, and nothing is lost. */
static void TestHeldBackup(void) {
  static const wchar_t path[] = L"held.db", backup[] = L".held.db.bak", journal[] = L".held.db.pmj";
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  CHECK(CopyFileW(path, backup, FALSE));
  HANDLE holder = Hold(backup, FILE_SHARE_READ);
  CHECK(Put(vault, kId, 3, 10) != 0 && pm.FSize(path) == 0);
  CHECK(CloseHandle(holder) && pm.PmSyncDirtyData() == 0 && IsBackedUp(path, backup) && IsHidden(journal));
  HoldForAMoment(backup);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup) && !IsThere(journal) && seen.held > heldBefore);

  /* A backup whose name stays, since somebody has it open, is not gone: the journal stays with it. */
  vault = pm.OpenDataBaseFile(path);
  CHECK(Put(vault, kId, 3, 20) == 0);
  holder = Hold(backup, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && IsThere(journal) && CloseHandle(holder) && !IsThere(backup));

  /* One of an earlier session that was made read-only is no hindrance. */
  CHECK(CopyFileW(path, backup, FALSE) &&
        SetFileAttributesW(backup, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
  vault = pm.OpenDataBaseFile(path);
  CHECK(Holds(vault, kId, 3, 20) && Put(vault, kId, 4, 10) == 0 && IsBackedUp(path, backup));
  CHECK(pm.CloseDataBaseFile(vault) == 0 && !IsThere(backup) && !IsThere(journal));
}

/* Only what another program holds is waited for, and a caller's file is deleted as the system does it. */
static void TestWaiting(void) {
  static const struct {
    const wchar_t* path;
    DWORD attributes, share;
    int deleted, waits;
  } rows[] = {{L"free", FILE_ATTRIBUTE_NORMAL, 7, 1, 0},
              {L"read-only", FILE_ATTRIBUTE_READONLY, 7, 0, 0},
              {L"held", FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ, 0, 1}};
  for (size_t i = 0; i < sizeof rows / sizeof *rows; ++i) {
    CHECK(pm.FTruncate(rows[i].path, 1) == 0 && SetFileAttributesW(rows[i].path, rows[i].attributes));
    HANDLE file = rows[i].share == 7 ? NULL : Hold(rows[i].path, rows[i].share);
    const DWORD start = GetTickCount();
    CHECK((pm.FDelete(rows[i].path) == 0) == rows[i].deleted && IsThere(rows[i].path) != rows[i].deleted);
    CHECK((GetTickCount() - start > 150) == rows[i].waits);
    if (file != NULL) CloseHandle(file);
  }
  CHECK(pm.FDelete(L"a") == -1 && SetFileAttributesW(L"read-only", FILE_ATTRIBUTE_NORMAL));
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

/* Copies the list of who may do what with a file, with zeros behind it. */
static void ReadList(const wchar_t* path, char* bytes) {
  char descriptor[1024];
  BOOL there = FALSE, byDefault;
  ACL* list;
  DWORD size;
  memset(bytes, 0, 512);
  CHECK(GetFileSecurityW(path, DACL_SECURITY_INFORMATION, descriptor, sizeof descriptor, &size));
  CHECK(GetSecurityDescriptorDacl(descriptor, &there, &list, &byDefault) && there && list->AclSize <= 512);
  memcpy(bytes, list, list->AclSize);
}

/* A backup may be touched by those alone who may touch its data file. */
static void TestAccessRights(void) {
  char before[512], wanted[512], found[512];
  PSECURITY_DESCRIPTOR everyone;
  DataBaseHandle* vault = pm.OpenDataBaseFile(L"rights.db");
  CHECK(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &everyone,
                                                             NULL));
  ReadList(L"rights.db", before);
  CHECK(SetFileSecurityW(L"rights.db", DACL_SECURITY_INFORMATION, everyone));
  ReadList(L"rights.db", wanted);
  CHECK(memcmp(wanted, before, sizeof wanted) != 0 && Put(vault, kId, 1, 100) == 0);
  ReadList(L".rights.db.bak", found);
  CHECK(memcmp(wanted, found, sizeof wanted) == 0 && pm.CloseDataBaseFile(vault) == 0);
}

int main(void) {
  EnterFolder();
  for (int strictly = 1; strictly >= 0; --strictly) { /* then with the DLL loaded anew */
    if (!CHECK(LoadPmstore() == 80 && pm.InitPmTotalDataController() == 1)) return 1;
    if (strictly) {
      CHECK(MakeStrict(pm.module) == 4);
      TestPaths();
      TestHeldBackup();
    } else {
      TestOpenVault();
      TestWaiting();
      TestReport();
      TestAccessRights();
    }
    pm.ReleasePmTotalDataController();
    CHECK(FreeLibrary(pm.module) && GetModuleHandleW(L"pmstore.dll") == NULL);
  }
  CHECK(seen.creations > 0 && seen.refused == 0);
  LeaveFolder();
  return Failures();
}
