#ifndef PMSTORE_H
#define PMSTORE_H

#include "avltree.h"
#include "dlist.h"
#include "file.h"
#include "nodepool.h"
#include "pmtypes.h"
#include "slist.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct DataBaseHandle DataBaseHandle;

PM_EXPORT int32_t InitPmTotalDataController(void);
PM_EXPORT void ReleasePmTotalDataController(void);

PM_EXPORT DataBaseHandle* OpenDataBaseFile(const PmChar* path);
PM_EXPORT int32_t CloseDataBaseFile(DataBaseHandle* handle);
PM_EXPORT int32_t PmRestoreBackupFile(const PmChar* path);

PM_EXPORT uint32_t CreateNewItemID(DataBaseHandle* handle, uint32_t kind, const PmChar* userData);
PM_EXPORT int32_t RetainID(DataBaseHandle* handle, uint32_t id, uint32_t kind, const PmChar* userData);
PM_EXPORT uint32_t GetItemIDByUserdata(DataBaseHandle* handle, uint32_t kind, const PmChar* userData);
PM_EXPORT const PmChar* GetItemAddons(DataBaseHandle* handle, uint32_t id, uint32_t* pending);
PM_EXPORT uint32_t FirstGetItemID(DataBaseHandle* handle, uint32_t kind);
PM_EXPORT uint32_t NextGetItemID(DataBaseHandle* handle, uint32_t kind);
PM_EXPORT uint32_t GetItemCount(DataBaseHandle* handle, uint32_t kind);

PM_EXPORT int32_t InserItemToDataBase(DataBaseHandle* handle, uint32_t id, const void* data, uint32_t size,
                                      int32_t syncNow);
PM_EXPORT int32_t DeleteItemFromDataBase(DataBaseHandle* handle, uint32_t id, int32_t syncNow);
PM_EXPORT int32_t PmModifyItem(DataBaseHandle* handle, uint32_t id, const void* data, int32_t offset,
                               uint32_t size, int32_t syncNow);
PM_EXPORT const void* PmGetItemPtrByID(DataBaseHandle* handle, uint32_t* idThenSize);

PM_EXPORT int32_t PmSyncDirtyData(void);
PM_EXPORT int32_t PmStartTransaction(void);
PM_EXPORT int32_t PmStopTransaction(void);

PM_EXPORT void PrintAllItemInfo(const PmChar* reportPath);

#ifdef __cplusplus
}
#endif

#endif
