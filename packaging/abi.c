/*
 * What programs that were built with version 1.0.0 rely on, for as long as the library is called libpmstore.so.1. This
 * file compiles with the headers of every such version; it is added to, and nothing in it is ever changed.
 */
#include "pmstore.h"

int32_t InitPmTotalDataController(void);
void ReleasePmTotalDataController(void);
DataBaseHandle* OpenDataBaseFile(const PmChar*);
int32_t CloseDataBaseFile(DataBaseHandle*);
int32_t PmRestoreBackupFile(const PmChar*);
uint32_t CreateNewItemID(DataBaseHandle*, uint32_t, const PmChar*);
int32_t RetainID(DataBaseHandle*, uint32_t, uint32_t, const PmChar*);
uint32_t GetItemIDByUserdata(DataBaseHandle*, uint32_t, const PmChar*);
const PmChar* GetItemAddons(DataBaseHandle*, uint32_t, uint32_t*);
uint32_t FirstGetItemID(DataBaseHandle*, uint32_t);
uint32_t NextGetItemID(DataBaseHandle*, uint32_t);
uint32_t GetItemCount(DataBaseHandle*, uint32_t);
int32_t InserItemToDataBase(DataBaseHandle*, uint32_t, const void*, uint32_t, int32_t);
int32_t DeleteItemFromDataBase(DataBaseHandle*, uint32_t, int32_t);
int32_t PmModifyItem(DataBaseHandle*, uint32_t, const void*, int32_t, uint32_t, int32_t);
const void* PmGetItemPtrByID(DataBaseHandle*, uint32_t*);
int32_t PmSyncDirtyData(void);
int32_t PmStartTransaction(void);
int32_t PmStopTransaction(void);
void PrintAllItemInfo(const PmChar*);
void* Malloc(uint32_t);
void Free(void*);
CommonPool* CreateCommonPool(int32_t, int32_t);
void ReleaseCommonPool(CommonPool*);
SList* CreateEmptysList(int32_t);
int32_t IsListEmpty(const SListNode*);
int32_t IsLastInList(const SListNode*);
SListNode* FindInsList(const void*, const SList*);
SListNode* FindMinInsList(const SList*, int32_t);
SListNode* FindMaxInsList(const SList*, int32_t);
SListNode* PrevsListNode(const SListNode*, SListNode*);
SListNode* NextsListNode(const SListNode*, const SListNode*);
int32_t InsertNodeTosList(void*, SList*, SListNode*);
int32_t AppendNodeTosList(void*, SList*);
int32_t CountSlist(const SListNode*);
void DeletesListNode(SListNode*, SList*);
SListNode* ListHeader(SListNode*);
SListNode* ListTail(SListNode*);
SListNode* FirstListNode(const SListNode*);
void* ListNodeElement(const SListNode*);
void ClearsList(SList*);
void FreesList(SList*);
void FreesListWithElements(SList*);
uint32_t GetAvlNodeSize(void);
AvlTree* CreateAvlTree(AvlTree*, AvlNode*, int32_t, void*, int32_t);
AvlNode* InsertAvlNode(void*, AvlTree*, AvlNode*);
AvlNode* FindAvlNode(const void*, const AvlTree*, AvlNode*);
AvlNode* FindMinAvlNode(AvlNode*);
AvlNode* FindMaxAvlNode(AvlNode*);
AvlNode* DeleteAvlNode(const void*, AvlTree*, AvlNode*);
void InorderTravAvlTree(AvlNode*, AvlVisit, void*);
void PostorderTravAvlTree(AvlNode*, AvlVisit, void*);
void* AvlTreeElement(const AvlNode*);
void ReleaseAvlTree(AvlTree*);
int32_t FExists(const PmChar*);
FILE* FOpen(const PmChar*, const char*);
int32_t FClose(FILE*);
int32_t FRead(void*, uint32_t, uint32_t, FILE*);
int32_t FReadLine(char*, int32_t, FILE*);
int32_t FWrite(const void*, uint32_t, uint32_t, FILE*);
int32_t FSeek(FILE*, int32_t, int32_t);
int32_t FEof(FILE*);
int32_t FSize(const PmChar*);
int32_t GetCurDir(int32_t, PmChar*);
int32_t FDelete(const PmChar*);
int32_t FTruncate(const PmChar*, int32_t);
int32_t FFlush(FILE*);
int32_t FCopyToFile(const PmChar*, const PmChar*);
int32_t FSetHideAttribute(const PmChar*, int32_t);
int32_t DLCreate(DList*);
int32_t DLInsert(const void*, uint32_t, DList*);
int32_t DLInsertSort(const void*, uint32_t, DLOrder, DList*);
void* DLGetFirstData(uint32_t*, DList*);
void* DLGetNextData(uint32_t*, DList*);
void* DLGetFirstDataR(uint32_t*, DList*);
void* DLGetNextDataR(uint32_t*, DList*);
void* DLFindData(DLMatch, const void*, uint32_t, const DList*);
int32_t DLDelByData(DLMatch, const void*, uint32_t, DList*);
int32_t DLDelToTail(DList*);
int32_t DLDestroy(DList*);

/* The records: the type of each field, and where an address has 8 bytes also its place. */
#define SIZE(record, size) \
  _Static_assert(sizeof(void*) != 8 || sizeof(record) == (size), "the size of " #record)
#define FIELD(record, field, place, type)                                                                  \
  _Static_assert(_Generic(((record*)0)->field, type : 1, default : 0), "the type of " #record "." #field); \
  _Static_assert(sizeof(void*) != 8 || offsetof(record, field) == (place), "the place of " #record "." #field)

SIZE(CommonPool, 64);
FIELD(CommonPool, nodeArea, 0, unsigned char*);
FIELD(CommonPool, freeList, 8, void*);
FIELD(CommonPool, nodeNum, 16, int32_t);
FIELD(CommonPool, nodeSize, 20, int32_t);
FIELD(CommonPool, freeNum, 24, int32_t);
FIELD(CommonPool, InitCommonPool, 32, void(PM_CALL*)(CommonPool*));
FIELD(CommonPool, GetCommonNode, 40, void*(PM_CALL*)(CommonPool*));
FIELD(CommonPool, FreeCommonNode, 48, void(PM_CALL*)(void*, CommonPool*));
FIELD(CommonPool, FreeCommonPool, 56, void(PM_CALL*)(CommonPool*));

SIZE(SListNode, 16);
FIELD(SListNode, element, 0, void*);
FIELD(SListNode, next, 8, SListNode*);

SIZE(SList, 32);
FIELD(SList, header, 0, SListNode*);
FIELD(SList, usedNodeNum, 8, uint32_t);
FIELD(SList, pool, 16, CommonPool*);
FIELD(SList, CmpsListNode, 24, int32_t(PM_CALL*)(const void*, const void*));

SIZE(AvlNode, 32);
FIELD(AvlNode, element, 0, void*);
FIELD(AvlNode, left, 8, AvlNode*);
FIELD(AvlNode, right, 16, AvlNode*);
FIELD(AvlNode, height, 24, int32_t);

SIZE(AvlTree, 112);
FIELD(AvlTree, root, 0, AvlNode*);
FIELD(AvlTree, nodeArea, 8, AvlNode*);
FIELD(AvlTree, elementArea, 16, void*);
FIELD(AvlTree, freeNodes, 24, AvlNode*);
FIELD(AvlTree, freeElements, 32, void*);
FIELD(AvlTree, nodeNum, 40, uint32_t);
FIELD(AvlTree, freeNodeNum, 44, int16_t);
FIELD(AvlTree, freeElementNum, 46, int16_t);
FIELD(AvlTree, elementSize, 48, int32_t);
FIELD(AvlTree, ownsNodeArea, 52, int16_t);
FIELD(AvlTree, ownsElementArea, 54, int16_t);
FIELD(AvlTree, InitAvlTree, 56, AvlTree*(PM_CALL*)(AvlTree*, void*, int32_t, int32_t));
FIELD(AvlTree, GetAvlNode, 64, AvlNode*(PM_CALL*)(void*));
FIELD(AvlTree, GetAvlElement, 72, void*(PM_CALL*)(void*));
FIELD(AvlTree, FreeAvlNode, 80, void(PM_CALL*)(void*, AvlNode*));
FIELD(AvlTree, FreeAvlElement, 88, void(PM_CALL*)(void*, void*));
FIELD(AvlTree, DestroyAvlTree, 96, void(PM_CALL*)(AvlTree*));
FIELD(AvlTree, CmpAvlNode, 104, int32_t(PM_CALL*)(const void*, const void*));

SIZE(DListNode, 32);
FIELD(DListNode, prev, 0, DListNode*);
FIELD(DListNode, next, 8, DListNode*);
FIELD(DListNode, size, 16, uint32_t);
FIELD(DListNode, data, 24, void*);

SIZE(DList, 32);
FIELD(DList, count, 0, uint32_t);
FIELD(DList, reserved, 4, uint32_t);
FIELD(DList, head, 8, DListNode*);
FIELD(DList, tail, 16, DListNode*);
FIELD(DList, cursor, 24, DListNode*);
