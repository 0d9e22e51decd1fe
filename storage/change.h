// A change: everything that one call of a caller writes, staged in memory first and then made to happen as a whole.
//
//   begin() -> edits, removals, stageMarks(), stageDirty(), stageMoves() in the order of the call -> commit.h
//                                                                                            \-> undo()
//
// Invariants:
//  1. Staging writes nothing to the data file. Everything that it does in memory, but for the callers' own changes of
//     items, stands in the log and can be undone without fail.
//  2. Before anything is staged that has to be written, the file is ours to change and the journal takes frames.
//  3. Blocks are taken lowest first, by ascending ID within each stageDirty(): as if each had been written at once.
//  4. Only the outermost call that begins a change ends it; what it calls adds to it.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/compiler.h"
#include "storage/controller.h"
#include "storage/dirty.h"

namespace storage {

class BlockWindow;

// A block that is copied into another one.
struct BlockMove {
  uint32_t to = 0;
  uint32_t from = 0;
};

class Change {
 public:
  // Whether a change of this process is under way.
  bool isOpen() const { return file_ != nullptr; }
  void begin(FileInfo* file);
  void undo();    // and ends it
  void finish();  // it has happened: makes items clean, releases what is gone, and ends it

  // Takes the item out; its blocks become free in memory. False, with nothing changed, when there is no memory.
  bool remove(ItemInfo* item);

  // Makes room for an item of `size` bytes, so that an edit up to that size cannot fail; a missing item is made, with
  // no bytes. 0, or why its bytes are not in memory: kNoItem or kIncomplete.
  int32_t reserveItem(uint32_t id, uint32_t size);

  // Makes the item `size` bytes long, keeping its first `offset` bytes, and marks the rest as changed. With an offset
  // of 0 its bytes need not be readable. Its buffer, for the caller to fill from `offset` on; null when there is no
  // memory.
  uint8_t* edit(uint32_t id, uint32_t offset, uint32_t size);

  // Free marks for all blocks that are free now: 0, or why the file cannot be changed.
  int32_t stageMarks();

  // The dirty items. 0; or why the file cannot be changed; kWriteFailed when there is no memory, or when they do not
  // fit into a data file.
  int32_t stageDirty();

  // Whether the dirty items fit into a data file; and the table of IDs alone, where they do not.
  bool fitsDirty() const;
  int32_t stageTable();

  // Blocks copied from `source` (of this file, when it is null), in the file's new length. The list is kept.
  int32_t stageMoves(const platform::File* source, const commonbase::GrowArray<BlockMove>* moves,
                     uint32_t blockNum);

  // Nothing but the names of the blocks that are free in memory only.
  int32_t stageNothing() { return prepare(); }

  // What has been staged, for commit.h.
  FileInfo* file() const { return file_; }
  bool writes() const { return writes_; }
  bool backsUp() const { return backsUp_; }  // the backup is made before and brought up to date behind it
  uint32_t oldBlockNum() const { return oldBlockNum_; }

  // Visits every block that is to be written, in an order that stays the same: visit(block, write). False when a visit
  // gave false.
  struct Write {
    const ItemInfo* item = nullptr;  // null: copied from the source
    uint32_t index = 0;              // of the item's packet; of the source's block
  };
  template <typename Visit>
  bool forEachWrite(Visit visit) const;
  // The file that writes without an item are copied from.
  const platform::File& source() const { return source_ != nullptr ? *source_ : file_->file; }
  // Puts the bytes of a write into a block. False when they cannot be read.
  static bool fill(const Write& write, BlockWindow* source, uint8_t* block);
  // The same with the first 16 bytes only.
  static bool header(const Write& write, BlockWindow* source, uint8_t* header);

  // Visits the blocks that get the free mark, as forEachWrite.
  template <typename Visit>
  bool forEachMark(Visit visit) const;

  // How many blocks are written or marked; no more than `most`.
  uint32_t countWrites(uint32_t most) const;

 private:
  static constexpr uint32_t kFetchedAhead = 16;

  enum Kind : uint8_t { kTaken, kGiven, kMarked, kRemoved, kMade, kEdited };
  enum Flag : uint8_t { kNoFlag = 0, kWasUnmarked = 1, kWasUnlisted = 2, kWasEnd = 4, kWasDirty = 8 };
  struct Step {
    Kind kind{};
    uint8_t flags = 0;
    uint32_t block = 0;  // kEdited: the number of the edit
    ItemInfo* item = nullptr;
  };
  // An item as it was before an edit.
  struct Edit {
    bool hadBytes = false;
    bool wasDirty = false;
    bool wasInOrder = false;
    uint32_t offset = 0, size = 0;
    uint32_t changedFrom = 0, changedTo = 0;
    uint8_t* tail = nullptr;  // from `offset` on
  };

  int32_t prepare();
  int32_t stage(ItemInfo** items, uint32_t count);
  // What staging items takes: the file's length in blocks behind it, and steps of the log.
  struct Needs {
    int64_t blockNum = 0;
    uint32_t steps = 0;
  };
  Needs needsOf(ItemInfo* const* items, uint32_t count) const;
  bool reserve(ItemInfo** items, uint32_t count);
  void take(ItemInfo* item);
  void give(ItemInfo* item);
  void undoStep(const Step& step);
  void undoEdit(const Step& step);
  void end();

  FileInfo* file_ = nullptr;
  bool prepared_ = false;
  bool writes_ = false;
  bool backsUp_ = false;
  uint32_t oldBlockNum_ = 0;
  commonbase::GrowArray<Step> log_;
  commonbase::GrowArray<Edit> edits_;
  commonbase::GrowArray<ItemInfo*> saved_;
  const platform::File* source_ = nullptr;
  const commonbase::GrowArray<BlockMove>* moves_ = nullptr;
};

// The change under way; one at a time in the process.
extern Change change;

template <typename Visit>
bool Change::forEachWrite(Visit visit) const {
  for (uint32_t number = 0; number < saved_.size(); ++number) {
    // The records of many items are larger than the caches, and stand in an order of their own.
    if (number + kFetchedAhead < saved_.size()) platform::Prefetch(saved_[number + kFetchedAhead]);
    const ItemInfo* item = saved_[number];
    for (uint32_t i = FirstToWrite(item); i < item->fragments.count; ++i) {
      if (!PacketIsOnDisk(item, i) && !visit(item->fragments[i] / kBlockSize, Write{item, i})) return false;
    }
  }
  return moves_ == nullptr || std::all_of(moves_->begin(), moves_->end(), [&](const BlockMove& move) {
           return visit(move.to, Write{nullptr, move.from});
         });
}

template <typename Visit>
bool Change::forEachMark(Visit visit) const {
  return std::all_of(log_.begin(), log_.end(), [&](const Step& step) {
    const bool marked = step.kind == kMarked && file_->freeBlocks.contains(step.block) &&
                        !file_->unmarkedBlocks.contains(step.block);
    return !marked || visit(step.block);
  });
}

}  // namespace storage
