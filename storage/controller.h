// The engine's records: the controller of the process, one open data file, one item of a data file.
//
// Exactly one open file at a time is the current one; the operations on items work on it. Nothing of the
// index is stored: it is rebuilt from the block headers whenever a file is opened.
//
// Invariants, at the return of every operation:
//  1. blockNum * 1024 is the length of the data file, unless the file is torn.
//  2. Every block is in exactly one place: the fragments of one item, or freeBlocks.
//  3. unmarkedBlocks is the part of freeBlocks whose free mark is not on disk, or not for sure; for each that
//     this session gave up, freeBlockOwner names the item whose old packet the block still holds, when known.
//  4. dirtyItems are the items whose bytes are newer than the file; item->dirtySlot is their place in it.
//  5. A file is torn from the first write of a pass until a pass has completed. While it is, the backup
//     beside it is the only whole state: it is neither replaced nor deleted, and the file is not compacted.
//  6. staleBlocks are the blocks written since the backup last equalled the file (see backup.h).
#pragma once

#include <cstdint>

#include "commonbase/src/growarray.h"
#include "commonbase/src/numberset.h"
#include "commonbase/src/slabpool.h"
#include "commonbase/src/slist.h"
#include "platform/platform.h"
#include "storage/format.h"
#include "storage/itemindex.h"
#include "storage/storage.h"

namespace storage {

struct FileInfo {
  PmChar path[kMaxPath + 1];
  ItemIndex index;
  platform::File file;
  uint32_t blockNum;
  commonbase::NumberSet freeBlocks;
  uint32_t openFlags;
  commonbase::GrowArray<ItemInfo*> dirtyItems;
  bool inTransaction;

  commonbase::SlabPool<ItemInfo> itemPool;  // the storage of the index's records

  commonbase::NumberSet unmarkedBlocks;
  commonbase::GrowArray<uint32_t> freeBlockOwner;
  bool marksDue;     // the next pass to complete has written the free marks, whatever fails before
  bool flushFailed;  // what free blocks hold may be lost with the power: the next pass writes them anew
  bool torn;
  bool syncFailed;    // blocks that are free in memory alone may hold items that the file on disk lists
  bool backupBehind;  // the file is whole, but an older backup may stand beside it

  commonbase::NumberSet staleBlocks;
  bool backupKnown;  // the backup on disk is the one this record's stamps and staleBlocks speak of
  platform::FileStamp dataStamp;
  platform::FileStamp backupStamp;
};

// Open flag: packets are not verified when items are read.
constexpr uint32_t kOpenUnverified = 1;

// The scratch buffer of the controller, in blocks. Systems copy into memory that is aligned to the processor's
// widest moves up to twice as fast.
constexpr uint32_t kBufferBlocks = 64;
constexpr uint32_t kBufferAlignment = 64;

struct PmDataController {
  SList* openFiles;        // of FileInfo, in the order in which they were opened
  SListNode* currentFile;  // null when no file is current
  uint8_t* blockBuffer;
};

// Null while the engine is down.
extern PmDataController* controller;

// The current file, or null.
FileInfo* CurrentFile();

// A record for `path`, or null when there is no memory.
FileInfo* NewFileInfo(const PmChar* path, uint32_t pathBytes);

// Releases a record with its items; item bytes are wiped. Writes nothing.
void ReleaseFileInfo(FileInfo* file);

// Gives an item's storage back.
void ReleaseItem(FileInfo* file, ItemInfo* item);

// Wipes item bytes and gives their memory back.
void ReleaseItemBytes(uint8_t* data, uint32_t capacity);

}  // namespace storage
