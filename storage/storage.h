// The block storage engine's face to the catalogue.
//
// The engine keeps the data files that the process has open and one current file among them. The operations
// on items work on the current file; with none, they return kNoItem (-1) or null and touch nothing.
//
// Every result is 0 or a negative code of result.h. What failed for want of memory or for its arguments has
// changed nothing.
#pragma once

#include <cstdint>

#include "platform/pmtypes.h"
#include "storage/result.h"

namespace storage {

struct ItemInfo;

constexpr uint32_t kMaxPath = 255;    // characters, without the terminator
constexpr uint32_t kIdTableItem = 0;  // the item that holds the catalogue's table of IDs

// ---- The engine and its files ----

// Brings the engine up: 0, kNoItem when the list of open files, kNoController when anything else cannot be
// had. Call it once before everything else, and again only after ReleasePmDataController.
int32_t InitPmDataController();

// Closes every open file in the order of opening and brings the engine down. 0; nothing happens when it is
// down.
int32_t ReleasePmDataController();

// Opens a data file, creating a missing one, and makes it current. `flags` is OR-ed into its open flags;
// `pathBytes` is the path's length without the terminator. kBadData when it is not a valid data file;
// kCannotOpen when it cannot be opened or created, when the path is longer than 255 characters or when there
// is no memory; kIncomplete when it shrank while it was read. After a failure the current file is what it
// was.
int32_t OpenDataFile(const PmChar* path, const uint32_t* flags, uint32_t pathBytes);

// Makes the open file of that path current; kNoItem, and no file is current, when there is none.
int32_t SelectDataFile(const PmChar* path);

// The current file's path, or null.
const PmChar* CurrentDataFilePath();

// Whether a transaction is open on the current file.
bool InTransaction();

// Syncs, compacts and releases the file of that path, and deletes its backup. Always 0; afterwards no file is
// current. A file left torn by a failed write keeps its backup and is not compacted.
int32_t CloseDataFile(const PmChar* path);

// Releases the current file's record, and leaves no file current; nothing is written.
void CloseCurrentFile();

// Copies the backup over the data file of that path, opens it and makes it current. kNoItem when there is no
// backup, when the backup is no valid data file or its item 0 is damaged or not well formed by the caller's
// word (the data file is untouched then), or when it cannot be copied or opened; the backup stands in every
// case.
using TableCheck = bool (*)(const uint8_t* bytes, uint32_t size);
int32_t RestoreDataFile(const PmChar* path, TableCheck isWellFormed);

// ---- Items of the current file ----

ItemInfo* FindItemInIndex(uint32_t id);

// The item's bytes, with its size put into the word that held its ID; null, with the word unchanged, when
// there is no such item or it cannot be read. The engine keeps the buffer.
const uint8_t* GetItemPtrByID(uint32_t* idThenSize);

// Wipes a clean item's bytes and gives their memory back; the next one who asks for them reads them anew.
void ForgetItemBytes(uint32_t id);

// Makes `size` bytes the whole content of item `id`, creating it when it is missing. With `syncNow`, the
// result of SyncDirtyData.
int32_t InsertItem(uint32_t id, const void* data, uint32_t size, int32_t syncNow);

// Writes `size` bytes at `offset`, lengthening the item when they reach past its end; with offset -1 they
// become its whole content. With `syncNow`, the result of SyncDirtyData.
int32_t ModifyItem(uint32_t id, const void* data, int32_t offset, uint32_t size, int32_t syncNow);

// Makes room for an item `id` of `size` bytes, so that RewriteItemTail up to that size cannot fail. A missing
// item is created, clean and with no bytes; a present one keeps its content and its state. False, with
// nothing changed, when there is no memory or the item's bytes cannot be read.
bool ReserveItem(uint32_t id, uint32_t size);

// Makes item `id` `size` bytes long, keeping its first `offset` bytes (which it must have), and marks the
// rest as changed. Returns the item's buffer, for the caller to fill from `offset` on; null as ReserveItem.
uint8_t* RewriteItemTail(uint32_t id, uint32_t offset, uint32_t size);

// Removes the item; its blocks become free in memory. With `syncNow`, and outside a transaction, the backup
// is made first (its failure is the result, and nothing has changed) and the free marks are written: the
// result of SyncFreeBlock.
int32_t DeleteItem(uint32_t id, int32_t syncNow);

// Removes the item with the next sync, which also marks its blocks free: a crash before finds it as it was. A
// missing one is gone already. False, with nothing changed, when there is no memory.
bool DropItem(uint32_t id);

// ---- Writing ----

// Writes every dirty item, in ascending ID order, between two copies to the backup. 0 also when there is
// nothing to write and always inside a transaction.
//
// With kLater, a sync that went well leaves its pass open: what it wrote is in the data file, durable, but a
// recovery takes it back until the next sync has completed the pass. So two syncs become one change.
enum class PassEnd { kNow, kLater };
int32_t SyncDirtyData(PassEnd end = PassEnd::kNow);

int32_t StartTransaction();

// Ends the transaction: the free marks, then the dirty items. The first failure is the result.
int32_t StopTransaction();

}  // namespace storage
