/*
 * The common base across the DLL's boundary: records as a 32-bit C program sees them, chains that hold
 * addresses, one heap and one set of streams for the DLL and the program, and the program's functions called
 * by the DLL.
 */
#include <malloc.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "component.h"

_Static_assert(sizeof(CommonPool) == 36 && offsetof(CommonPool, freeNum) == 16, "CommonPool");
_Static_assert(sizeof(SListNode) == 8 && sizeof(SList) == 16, "SList");
_Static_assert(sizeof(AvlNode) == 16 && offsetof(AvlNode, height) == 12, "AvlNode");
_Static_assert(sizeof(AvlTree) == 64 && offsetof(AvlTree, elementSize) == 28, "AvlTree");
_Static_assert(offsetof(AvlTree, freeElementNum) == 26 && offsetof(AvlTree, InitAvlTree) == 36, "AvlTree");
_Static_assert(sizeof(DListNode) == 16 && sizeof(DList) == 20, "DList");
_Static_assert(sizeof(PmChar) == 2, "PmChar");

static Pmstore pm;

/* Whether the free chain that starts at `free` is the area's nodes in ascending order, linked by address. */
static int ChainsAddresses(const void* free, const void* area, int nodeNum, size_t nodeSize,
                           size_t linkOffset) {
  const char* node = area;
  if (free != area) return 0;
  for (int i = 0; i < nodeNum; ++i, node += nodeSize) {
    uint32_t link;
    memcpy(&link, node + linkOffset, sizeof link);
    if (link != (i + 1 < nodeNum ? (uint32_t)(node + nodeSize) : 0)) return 0;
  }
  return 1;
}

static void TestChains(void) {
  static const int32_t sizes[] = {4, 5, 8, 40};
  for (int i = 0; i < 4; ++i) {
    CommonPool* pool = pm.CreateCommonPool(3, sizes[i]);
    CHECK(pool->nodeArea == (unsigned char*)(pool + 1));
    CHECK(ChainsAddresses(pool->freeList, pool->nodeArea, 3, (size_t)sizes[i], 0));
    void* node = pool->GetCommonNode(pool);
    void* second = pool->GetCommonNode(pool);
    CHECK(node == pool->nodeArea && *(uint32_t*)node == 0);
    pool->FreeCommonNode(node, pool);
    CHECK(*(uint32_t*)node == (uint32_t)second + (uint32_t)sizes[i]);
    pm.ReleaseCommonPool(pool);

    AvlTree* tree = pm.CreateAvlTree(NULL, NULL, 3, NULL, sizes[i]);
    CHECK(ChainsAddresses(tree->freeElements, tree->elementArea, 3, (size_t)sizes[i], 0));
    CHECK(ChainsAddresses(tree->freeNodes, tree->nodeArea, 3, sizeof(AvlNode), offsetof(AvlNode, right)));
    pm.ReleaseAvlTree(tree);
  }
}

/* Whether the run-time library of this program knows the block as one of its own. */
static int IsOurs(void* block, size_t size) {
  return HeapValidate((HANDLE)_get_heap_handle(), 0, block) && _msize(block) >= size;
}

static void TestOneHeap(void) {
  void* block = pm.Malloc(1000);
  CHECK(IsOurs(block, 1000));
  free(block);
  block = malloc(1000);
  CHECK(IsOurs(block, 1000));
  pm.Free(block);
  pm.Free(NULL);
}

static int32_t Descending(const void* a, const void* b) {
  return a < b ? 1 : a > b ? -1 : 0;
}

static int32_t Sum(AvlNode* node, void* context) {
  uint32_t* digits = context;
  *digits = *digits * 10 + *(uint32_t*)node->element;
  return 0;
}

static int32_t LessNumber(const void* a, const void* b) {
  const uint32_t left = *(const uint32_t*)a, right = *(const uint32_t*)b;
  return left < right ? -1 : left > right;
}

static int32_t ShorterFirst(const void* present, uint32_t presentLength, const void* added,
                            uint32_t addedLength) {
  (void)present;
  (void)added;
  return addedLength < presentLength;
}

static int32_t SameText(const void* present, const void* key, uint32_t keyLength) {
  return memcmp(present, key, keyLength) == 0;
}

static void TestCallbacks(void) {
  SList* list = pm.CreateEmptysList(2);
  for (uint32_t i = 1; i <= 4; ++i) CHECK(pm.AppendNodeTosList((void*)(i * 7 % 5), list) == 0);
  list->CmpsListNode = Descending;
  CHECK(pm.ListNodeElement(pm.FindMinInsList(list, 0)) == (void*)4);
  CHECK(pm.FindInsList((void*)3, list) == pm.ListTail(list->header));
  pm.FreesList(list);

  AvlTree* tree = pm.CreateAvlTree(NULL, NULL, 2, NULL, 8);
  tree->CmpAvlNode = LessNumber;
  static const uint32_t values[] = {5, 3, 8, 1, 4};
  for (int i = 0; i < 5; ++i) {
    uint32_t* element = tree->GetAvlElement(tree);
    *element = values[i];
    pm.InsertAvlNode(element, tree, tree->root);
  }
  uint32_t digits = 0;
  pm.InorderTravAvlTree(tree->root, Sum, &digits);
  CHECK(digits == 13458);
  pm.ReleaseAvlTree(tree);

  DList records;
  uint32_t length;
  CHECK(pm.DLCreate(&records) == 0);
  CHECK(pm.DLInsertSort("three", 5, ShorterFirst, &records) == 0);
  CHECK(pm.DLInsertSort("six", 3, ShorterFirst, &records) == 0);
  CHECK(memcmp(pm.DLGetFirstData(&length, &records), "six", 3) == 0 && length == 3);
  CHECK(pm.DLDelByData(SameText, "three", 5, &records) == 0 && records.count == 1);
  CHECK(pm.DLDestroy(&records) == 0);
}

static void TestStreams(const wchar_t* folder) {
  wchar_t path[MAX_PATH], copy[MAX_PATH], program[MAX_PATH], own[MAX_PATH];
  char line[16];
  swprintf(path, MAX_PATH, L"%ls\u0416 \u4e2d \U0001f511.txt", folder);
  swprintf(copy, MAX_PATH, L"%lscopy.txt", folder);

  FILE* stream = pm.FOpen(path, "wt"); /* one set of streams: opened there, written here, and in text mode */
  CHECK(fputs("abc\nd", stream) >= 0);
  CHECK(pm.FClose(stream) == 0);
  CHECK(pm.FSize(path) == 6 && pm.FExists(path) == 0);
  stream = _wfopen(path, L"rb");
  CHECK(pm.FReadLine(line, sizeof line, stream) == 5 && strcmp(line, "abc\r\n") == 0);
  CHECK(fclose(stream) == 0);

  CHECK(pm.FCopyToFile(path, copy) == 0 && pm.FSize(copy) == 6);
  stream = _wfopen(path, L"ab");
  CHECK(fputc('\x1a', stream) != EOF && fclose(stream) == 0);
  CHECK(pm.FTruncate(path, 9) == 0); /* a final Ctrl-Z is a byte like any other */
  DWORD size = 0;
  unsigned char* bytes = ReadAll(path, &size);
  CHECK(size == 9 && memcmp(bytes, "abc\r\nd\x1a\0\0", 9) == 0);
  free(bytes);

  SetFileAttributesW(path, FILE_ATTRIBUTE_READONLY);
  CHECK(pm.FSetHideAttribute(path, 1) != 0);
  CHECK((GetFileAttributesW(path) & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY)) ==
        FILE_ATTRIBUTE_HIDDEN);
  CHECK(pm.FSetHideAttribute(path, 0) != 0);
  CHECK((GetFileAttributesW(path) & FILE_ATTRIBUTE_HIDDEN) == 0);
  CHECK(pm.FDelete(path) == 0 && pm.FDelete(path) == -1 && pm.FSetHideAttribute(path, 1) == 0);

  const DWORD length = GetModuleFileNameW(NULL, program, MAX_PATH);
  CHECK(pm.GetCurDir(MAX_PATH, own) == (int32_t)length);
  wcsrchr(program, L'\\')[1] = 0;
  CHECK(wcscmp(own, program) == 0);
}

int main(void) {
  wchar_t folder[MAX_PATH];
  pm = LoadPmstore();
  MakeFolder(folder);
  TestChains();
  TestOneHeap();
  TestCallbacks();
  TestStreams(folder);
  RemoveFolder(folder);
  CHECK(FreeLibrary(pm.module));
  return Failures();
}
