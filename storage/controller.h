// The engine's records: the controller of the process, and one open data file.
//
// Exactly one open file at a time is the current one; the operations on items work on it. Nothing of the
// index is stored: it is rebuilt from the block headers whenever a file is opened.
//
// Invariants, at the return of every operation:
//  1. blockNum * 1024 is the length of the data file, and blockSum the sum over its blocks, unless the journal is
//     behind; then they are what carrying it out will give.
//  2. Every block is in exactly one place: the fragments of one item, or freeBlocks.
//  3. unmarkedBlocks is the part of freeBlocks whose free mark is not in the file; unlistedBlocks the part of those
//     that no durable frame names either.
//  4. dirtyItems are the items whose bytes are newer than the file; item->dirtySlot is their place in it.
//  5. The file is locked while a journal stands (journal.h), and changes only then.
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
#include "storage/journal.h"
#include "storage/storage.h"

namespace storage {

class Overlay;

enum class Transaction : uint8_t {
  kNone,
  kOpen,
  kOpenOnUnsaved,  // begun while a sync that failed before had not been made good
};

struct FileInfo {
  PmChar path[kMaxPath + 1] = {};
  ItemIndex index;
  platform::File file;
  uint32_t blockNum = 0;
  commonbase::NumberSet freeBlocks;
  uint32_t openFlags = 0;
  commonbase::GrowArray<ItemInfo*> dirtyItems;
  Transaction transaction{};

  commonbase::SlabPool<ItemInfo> itemPool;  // the storage of the index's records

  Journal journal;
  Overlay* overlay = nullptr;  // what a journal that stays as it is lays over the file; null without one
  uint64_t blockSum = 0;
  bool isFlushed = false;  // nothing has been written since the medium was made to hold the file
  uint32_t roomEnd = 0;  // room on the medium is taken up to this block, when that lies behind the file's end
  commonbase::NumberSet unmarkedBlocks;
  commonbase::NumberSet unlistedBlocks;

  commonbase::NumberSet staleBlocks;
  platform::File backup;  // the one that this record's stamps and staleBlocks speak of, while it is open
  uint32_t backupRoomEnd = 0;
  platform::FileStamp dataStamp;  // of the file as the engine found or left it
  platform::FileStamp backupStamp;

  // Of items whose bytes are in the file alone; nothing but memory's layout depends on it.
  uint64_t unreadBytes = 0;
  int64_t readCredit = 0;  // blocks that may be read along with others (read.h)
};

// Open flag: packets are not verified when items are read.
constexpr uint32_t kOpenUnverified = 1;

// The scratch buffer of the controller, in blocks. Systems copy into memory that is aligned to the processor's
// widest moves up to twice as fast.
constexpr uint32_t kBufferBlocks = 40;
constexpr uint32_t kBufferAlignment = 64;

struct PmDataController {
  SList* openFiles = nullptr;        // of FileInfo, in the order in which they were opened
  SListNode* currentFile = nullptr;  // null when no file is current
  uint8_t* blockBuffer = nullptr;
};

// Null while the engine is down.
extern PmDataController* controller;

// The current file, or null.
FileInfo* CurrentFile();

// A record for `path`, or null when there is no memory.
FileInfo* NewFileInfo(const PmChar* path, uint32_t pathBytes);

// Releases a record with its items; item bytes are wiped. Writes nothing.
void ReleaseFileInfo(FileInfo* file);

}  // namespace storage
