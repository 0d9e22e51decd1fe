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

// Syncs, compacts and releases the file of that path, and deletes its backup and its journal. Always 0; afterwards no
// file is current. Where not all of it reached the file, both stay, for the next open to recover.
int32_t CloseDataFile(const PmChar* path);

// Releases the current file's record, and leaves no file current; nothing is written.
void CloseCurrentFile();

// Recovers the data file of that path, or copies the backup over it where there is nothing to recover; opens it and
// makes it current. kNoItem when there is neither, when the backup is no valid data file or has a damaged packet or a
// table that is not well formed by the caller's word (the data file is untouched then), when another program holds
// the file, or when it cannot be copied or opened. The backup stands, but for one beside a journal of another file:
// both are set aside.
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

// Makes room for an item `id` of `size` bytes, so that RewriteItemTail up to that size cannot fail; within a change. A
// missing item is made, with no bytes. 0; kNoItem when there is no memory; kIncomplete when its bytes cannot be read.
int32_t ReserveItemBytes(uint32_t id, uint32_t size);

// Makes item `id` `size` bytes long, keeping its first `offset` bytes, and marks the rest as changed; within a change,
// which puts it back when it is dropped. With an offset of 0 the bytes need not be readable. The item's buffer, for the
// caller to fill from `offset` on; null when there is no memory.
uint8_t* RewriteItemTail(uint32_t id, uint32_t offset, uint32_t size);

// Removes the item; its blocks become free in memory. With `syncNow`, and outside a transaction, the free marks of all
// free blocks are written too. kNoItem when there is no such item or no memory, or why the file cannot be written:
// nothing has changed then.
int32_t DeleteItem(uint32_t id, int32_t syncNow);

// ---- Writing ----

// What the operations write between the making of such an object and end() is one change: all of it happens, or
// none. Within another one it adds to that. Undone are removals, edits by RewriteItemTail and everything on disk; the
// callers' own bytes stay in memory, dirty.
class OneChange {
 public:
  OneChange();
  ~OneChange();  // drops what was not ended
  OneChange(const OneChange&) = delete;
  OneChange& operator=(const OneChange&) = delete;

  // Makes it happen when `result` is not negative, and drops it otherwise; the first failure. Within another one:
  // `result`.
  int32_t end(int32_t result);

 private:
  bool began_;
};

// Writes every dirty item, in ascending ID order, between two copies to the backup. 0 also when there is
// nothing to write and always inside a transaction; kCannotOpen or kWriteFailed, with nothing written, when the file
// cannot be changed.
int32_t SyncDirtyData();

// The same; but where the dirty items do not fit into the file, the table of IDs alone.
int32_t SyncTable();

int32_t StartTransaction();

// Ends the transaction: the free marks, then the dirty items. The first failure is the result.
int32_t StopTransaction();

}  // namespace storage
