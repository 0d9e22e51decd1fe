/*
 * The common base across the DLL's boundary: chains that hold addresses, one heap and one set of streams for
 * the DLL and the program, and the program's functions called by the DLL.
 */
#include <malloc.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "component.h"

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
    CHECK(ChainsAddresses(pool->freeList, pool + 1, 3, (size_t)sizes[i], 0));
    void* node = pool->GetCommonNode(pool);
    CHECK(node == pool->nodeArea);
    pool->FreeCommonNode(node, pool);
    CHECK(ChainsAddresses(pool->freeList, pool + 1, 3, (size_t)sizes[i], 0));
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

static int32_t LessNumber(const void* a, const void* b) {
  const uint32_t left = *(const uint32_t*)a, right = *(const uint32_t*)b;
  return left < right ? -1 : left > right;
}

static int32_t AppendDigit(AvlNode* node, void* context) {
  uint32_t* digits = context;
  *digits = *digits * 10 + *(uint32_t*)node->element;
  return 0;
}

static void TestCallbacks(void) {
  static const uint32_t values[] = {5, 3, 8, 1, 4};
  AvlTree* tree = pm.CreateAvlTree(NULL, NULL, 2, NULL, 8);
  tree->CmpAvlNode = LessNumber;
  for (int i = 0; i < 5; ++i) {
    uint32_t* element = tree->GetAvlElement(tree);
    *element = values[i];
    pm.InsertAvlNode(element, tree, tree->root);
  }
  uint32_t digits = 0;
  pm.InorderTravAvlTree(tree->root, AppendDigit, &digits);
  CHECK(digits == 13458);
  pm.ReleaseAvlTree(tree);
}

static void TestStreams(const wchar_t* folder) {
  wchar_t path[MAX_PATH], program[MAX_PATH], own[MAX_PATH];
  char line[16];
  swprintf(path, MAX_PATH, L"%ls\u0416 \u4e2d \U0001f511.txt", folder);
  FILE* stream = pm.FOpen(path, "wt"); /* one set of streams: opened there, written here, and in text mode */
  CHECK(fputs("abc\nd", stream) >= 0);
  CHECK(pm.FClose(stream) == 0);
  CHECK(pm.FSize(path) == 6 && pm.FExists(path) == 0);
  stream = _wfopen(path, L"rb");
  CHECK(pm.FReadLine(line, sizeof line, stream) == 5 && strcmp(line, "abc\r\n") == 0);
  CHECK(fclose(stream) == 0);

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
  CHECK(pm.FDelete(path) == 0 && pm.FExists(path) == -1);

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
