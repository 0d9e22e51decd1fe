/*
 * Databases on Windows, as a component of the manager drives them from C: wide paths, the backup's name and
 * hidden attribute, the report, and the order of the system calls that keep a vault safe.
 */
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "component.h"
#include "strict.h"

enum { kKind = 7, kId = 0x1234 };

static Pmstore pm;
static wchar_t folder[MAX_PATH];

static int IsThere(const wchar_t* path) {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

static int IsHidden(const wchar_t* path) {
  return IsThere(path) && (GetFileAttributesW(path) & FILE_ATTRIBUTE_HIDDEN) != 0;
}

static int SameBytes(const wchar_t* left, const wchar_t* right) {
  DWORD size = 0, rightSize = 1;
  unsigned char* bytes = ReadAll(left, &size);
  unsigned char* rightBytes = ReadAll(right, &rightSize);
  const int same = bytes && rightBytes && size == rightSize && memcmp(bytes, rightBytes, size) == 0;
  free(bytes);
  free(rightBytes);
  return same;
}

/* Whether the backup stands hidden beside the file, with the same bytes. */
static int IsBackedUp(const wchar_t* path, const wchar_t* backup) {
  return IsHidden(backup) && SameBytes(path, backup);
}

/* Whether nobody, this process included, has the file open. */
static int IsLetGo(const wchar_t* path) {
  HANDLE file = CreateFileW(path, GENERIC_READ, 0, NULL, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, NULL);
  if (file == INVALID_HANDLE_VALUE) return 0;
  CloseHandle(file);
  return 1;
}

static int32_t Put(DataBaseHandle* vault, uint32_t id, unsigned char value, uint32_t size) {
  unsigned char bytes[3000];
  memset(bytes, value, size);
  pm.RetainID(vault, id, kKind, NULL);
  return pm.InserItemToDataBase(vault, id, bytes, size, 1);
}

static int Holds(DataBaseHandle* vault, uint32_t id, unsigned char value, uint32_t size) {
  unsigned char bytes[3000];
  uint32_t word = id;
  const void* item = pm.PmGetItemPtrByID(vault, &word);
  memset(bytes, value, size);
  return item != NULL && word == size && memcmp(item, bytes, size) == 0;
}

/* One road through everything that makes, renews, moves, restores and deletes a backup. */
static void TestLife(const wchar_t* path, const wchar_t* backup) {
  static const wchar_t userData[] = L"\u043a\u043b\u044e\u0447 \U0001f511";
  wchar_t other[MAX_PATH];
  swprintf(other, MAX_PATH, L"%lskept", folder);

  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  if (!CHECK(vault != NULL)) return;
  const uint32_t id = pm.CreateNewItemID(vault, kKind, userData);
  CHECK(pm.InserItemToDataBase(vault, id, "secret", 6, 0) == 0);
  CHECK(pm.GetItemIDByUserdata(vault, kKind, userData) == id);
  CHECK(IsBackedUp(path, backup));

  for (unsigned char i = 0; i < 5; ++i) {
    CHECK(Put(vault, kId + i, i, 2500u + i) == 0);
    CHECK(IsBackedUp(path, backup));
  }
  CHECK(pm.DeleteItemFromDataBase(vault, kId + 1, 1) == 0);
  CHECK(pm.PmStartTransaction() == 0);
  CHECK(Put(vault, kId, 0x55, 900) == 0);
  CHECK(pm.PmStopTransaction() == 0);
  CHECK(IsBackedUp(path, backup));
  CHECK(CopyFileW(backup, other, FALSE));

  CHECK(pm.CloseDataBaseFile(vault) == 0);
  CHECK(!IsThere(backup) && IsLetGo(path));

  CHECK(MoveFileExW(other, backup, MOVEFILE_REPLACE_EXISTING) &&
        SetFileAttributesW(backup, FILE_ATTRIBUTE_HIDDEN));
  CHECK(pm.PmRestoreBackupFile(path) == 0);
  CHECK(IsBackedUp(path, backup));
  vault = pm.OpenDataBaseFile(path);
  CHECK(Holds(vault, kId, 0x55, 900) && Holds(vault, kId + 4, 4, 2504) && pm.GetItemCount(vault, kKind) == 5);
  CHECK(Put(vault, kId, 0x66, 10) == 0); /* over the hidden backup that the restore left */
  CHECK(IsBackedUp(path, backup));
  CHECK(pm.CloseDataBaseFile(vault) == 0 && pm.CloseDataBaseFile(vault) == 0);
  CHECK(!IsThere(backup) && IsLetGo(path));

  vault = pm.OpenDataBaseFile(path);
  CHECK(Holds(vault, kId, 0x66, 10) && wcscmp(pm.GetItemAddons(vault, id, &(uint32_t){0}), userData) == 0);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && DeleteFileW(path));
}

/* The longest path there is, whose backup goes beyond what Windows takes without more ado. */
static void TestLongPath(void) {
  wchar_t path[MAX_PATH + 10], backup[MAX_PATH + 10];
  const int left = 255 - (int)wcslen(folder);
  wchar_t name[256];
  for (int i = 0; i < left; ++i) name[i] = i < 5 ? (wchar_t)(0x4e00 + i) : L'x';
  name[left] = 0;
  swprintf(path, MAX_PATH + 10, L"%ls%ls", folder, name);
  swprintf(backup, MAX_PATH + 10, L"\\\\?\\%ls.%ls.bak", folder, name);
  TestLife(path, backup);
  wcscat(path, L"x");
  CHECK(pm.OpenDataBaseFile(path) == NULL && !IsThere(path));
}

/* The full stop stands behind the last backslash; a slash separates nothing. */
static void TestBackupName(void) {
  wchar_t drive[MAX_PATH];
  CHECK(SetCurrentDirectoryW(folder));
  CHECK(CreateDirectoryW(L"a", NULL) && CreateDirectoryW(L"a\\b", NULL));
  TestLife(L"Tres\u00f6r \u4fdd\u9669 \U0001f511.db", L".Tres\u00f6r \u4fdd\u9669 \U0001f511.db.bak");
  TestLife(L"a\\b\\back.db", L"a\\b\\.back.db.bak");
  TestLife(L"a/b\\mixed.db", L"a/b\\.mixed.db.bak");

  /* The folder that the backup's name leads to is not there; once it is, the sync that waited for it
   * succeeds. */
  DataBaseHandle* vault = pm.OpenDataBaseFile(L"a/b/slash.db");
  DWORD size = 1;
  CHECK(Put(vault, kId, 1, 100) == -2);
  free(ReadAll(L"a\\b\\slash.db", &size));
  CHECK(size == 0 && pm.PmSyncDirtyData() == -2);
  CHECK(CreateDirectoryW(L".a", NULL) && CreateDirectoryW(L".a\\b", NULL));
  CHECK(pm.PmSyncDirtyData() == 0);
  CHECK(IsBackedUp(L"a\\b\\slash.db", L".a\\b\\slash.db.bak"));
  CHECK(pm.CloseDataBaseFile(vault) == 0 && !IsThere(L".a\\b\\slash.db.bak"));

  /* A full path of slashes puts the full stop before the drive, where no folder can be. */
  swprintf(drive, MAX_PATH, L"%lsdrive.db", folder);
  for (wchar_t* c = drive; *c != 0; ++c) *c = *c == L'\\' ? L'/' : *c;
  vault = pm.OpenDataBaseFile(drive);
  CHECK(Put(vault, kId, 1, 100) == -2);
  CHECK(pm.CloseDataBaseFile(vault) == 0);
  SetCurrentDirectoryW(L"C:\\");
}

/* The report is text as the system writes it, and the DLL's environment is the program's. */
static void TestReport(void) {
  static const char head[] =
      "file information:\r\n\t size: 2048( 2k )\r\n\t item num: 2\r\n\t block num: 2\r\n";
  wchar_t path[MAX_PATH], report[MAX_PATH];
  swprintf(path, MAX_PATH, L"%lsreported.db", folder);
  swprintf(report, MAX_PATH, L"%ls\u62a5\u544a.txt", folder);
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  CHECK(Put(vault, kId, 0xAB, 17) == 0);
  _putenv("DB_DETAIL_HEX=Y");
  pm.PrintAllItemInfo(report);
  CHECK(pm.CloseDataBaseFile(vault) == 0 && IsLetGo(report));
  DWORD size = 0;
  char* text = (char*)ReadAll(report, &size);
  CHECK(text != NULL && strncmp(text, head, sizeof head - 1) == 0 && strstr(text, "0x0010 AB \r\n") != NULL);
  free(text);
}

static DWORD RightsOf(const wchar_t* path, char* rights, DWORD size) {
  DWORD length = 0;
  CHECK(GetFileSecurityW(path, DACL_SECURITY_INFORMATION, rights, size, &length));
  return length;
}

/* A backup may be touched by those alone who may touch its data file. */
static void TestAccessRights(void) {
  wchar_t path[MAX_PATH], backup[MAX_PATH];
  char owner[512], list[512], before[512], wanted[512], found[512];
  DWORD size;
  PSID sid;
  BOOL defaulted;
  SECURITY_DESCRIPTOR alone;
  swprintf(path, MAX_PATH, L"%lsprivate.db", folder);
  swprintf(backup, MAX_PATH, L"%ls.private.db.bak", folder);
  DataBaseHandle* vault = pm.OpenDataBaseFile(path);
  const DWORD beforeSize = RightsOf(path, before, sizeof before);
  CHECK(GetFileSecurityW(path, OWNER_SECURITY_INFORMATION, owner, sizeof owner, &size));
  CHECK(GetSecurityDescriptorOwner(owner, &sid, &defaulted));
  CHECK(InitializeAcl((ACL*)list, sizeof list, ACL_REVISION));
  CHECK(AddAccessAllowedAce((ACL*)list, ACL_REVISION, FILE_ALL_ACCESS, sid));
  CHECK(InitializeSecurityDescriptor(&alone, SECURITY_DESCRIPTOR_REVISION));
  CHECK(SetSecurityDescriptorDacl(&alone, TRUE, (ACL*)list, FALSE));
  CHECK(SetFileSecurityW(path, DACL_SECURITY_INFORMATION, &alone));
  const DWORD wantedSize = RightsOf(path, wanted, sizeof wanted);
  CHECK(wantedSize != beforeSize || memcmp(wanted, before, wantedSize) != 0);

  CHECK(Put(vault, kId, 1, 100) == 0);
  CHECK(RightsOf(backup, found, sizeof found) == wantedSize && memcmp(found, wanted, wantedSize) == 0);
  CHECK(pm.CloseDataBaseFile(vault) == 0);
}

/* What cannot be opened as a database is let go again, as it was. */
static void TestRefusal(void) {
  wchar_t path[MAX_PATH];
  swprintf(path, MAX_PATH, L"%lsnone.db", folder);
  FILE* stream = _wfopen(path, L"wb");
  fputs("not a vault", stream);
  fclose(stream);
  CHECK(pm.OpenDataBaseFile(path) == NULL);
  CHECK(IsLetGo(path) && pm.FSize(path) == 11);
  CHECK(pm.OpenDataBaseFile(folder) == NULL && pm.OpenDataBaseFile(L"NUL") == NULL);
}

int main(void) {
  MakeFolder(folder);
  for (int round = 0; round < 2; ++round) { /* once more with the DLL loaded anew */
    pm = LoadPmstore();
    CHECK(MakeStrict(pm.module) == 10);
    CHECK(pm.InitPmTotalDataController() == 1);
    TestLongPath();
    TestBackupName();
    pm.ReleasePmTotalDataController();
    CHECK(FreeLibrary(pm.module) && GetModuleHandleW(L"pmstore.dll") == NULL);
    RemoveFolder(folder);
    MakeFolder(folder);
  }
  CHECK(seen.creations > 0 && seen.renames > 0);
  CHECK(seen.overHidden == 0 && seen.tooLong == 0 && seen.notDurable == 0 && seen.notWrittenThrough == 0);

  pm = LoadPmstore();
  CHECK(pm.InitPmTotalDataController() == 1);
  TestReport();
  TestAccessRights();
  TestRefusal();
  pm.ReleasePmTotalDataController();
  RemoveFolder(folder);
  CHECK(!IsThere(folder));
  return Failures();
}
