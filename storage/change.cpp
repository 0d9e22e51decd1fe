#include "storage/change.h"

#include <algorithm>
#include <cstring>

#include "storage/blockio.h"
#include "storage/blockwindow.h"
#include "storage/commit.h"
#include "storage/freeblocks.h"
#include "storage/itemmemory.h"
#include "storage/modify.h"
#include "storage/pack.h"
#include "storage/read.h"
#include "storage/result.h"

namespace storage {

Change change;

void Change::begin(FileInfo* file) {
  file_ = file;
  oldBlockNum_ = file->blockNum;
}

void Change::end() {
  for (Edit& edit : edits_) ReleaseItemBytes(edit.tail, edit.tail == nullptr ? 0 : edit.size - edit.offset);
  for (ItemInfo* item : saved_) item->staged = false;
  edits_.release();
  log_.release();
  saved_.release();
  moves_ = nullptr;
  source_ = nullptr;
  prepared_ = writes_ = backsUp_ = false;
  file_ = nullptr;
}

// ---- Staging ----

int32_t Change::prepare() {
  if (prepared_) return kOk;
  if (const int32_t result = PrepareToChange(file_); result != kOk) return result;
  prepared_ = writes_ = true;
  return kOk;
}

bool Change::remove(ItemInfo* item) {
  if (!log_.reserve(log_.size() + 1) || !ReserveBlocks(file_, file_->blockNum)) return false;
  for (const uint32_t offset : item->fragments) InsertFreeBlock(file_, offset / kBlockSize);
  log_.add({kRemoved, item->dirty ? kWasDirty : kNoFlag, 0, item});
  if (item->dirty) MarkClean(file_, item);
  file_->index.remove(item);
  return true;
}

int32_t Change::reserveItem(uint32_t id, uint32_t size) {
  if (!log_.reserve(log_.size() + 1)) return kNoItem;
  const bool makes = file_->index.find(id) == nullptr;
  const int32_t result = ReserveItem(file_, id, size);
  if (makes && result == kOk) log_.add({kMade, 0, 0, file_->index.find(id)});
  return result;
}

uint8_t* Change::edit(uint32_t id, uint32_t offset, uint32_t size) {
  ItemInfo* item = file_->index.find(id);
  const bool hadBytes = item == nullptr || item->data != nullptr || offset != 0;
  const bool wasInOrder = item != nullptr && item->inOrder;
  if (!log_.reserve(log_.size() + 2) || !edits_.reserve(edits_.size() + 1)) return nullptr;
  if (!hadBytes && !ReplaceUnread(file_, item, size)) return nullptr;
  if (reserveItem(id, size) != kOk) return nullptr;
  item = file_->index.find(id);
  offset = std::min(offset, item->size);
  uint8_t* tail = nullptr;
  if (hadBytes && offset < item->size) {
    tail = NewItemBytes(item->size - offset);
    if (tail == nullptr) return nullptr;
    std::memcpy(tail, item->data + offset, item->size - offset);
  }
  edits_.add({hadBytes, item->dirty, hadBytes ? item->inOrder : wasInOrder, offset, item->size,
              item->changedFrom, item->changedTo, tail});
  log_.add({kEdited, 0, edits_.size() - 1, item});
  item->size = size;
  MarkChanged(file_, item, offset, size);
  return item->data;
}

int32_t Change::stageMarks() {
  if (file_->transaction != Transaction::kNone || file_->unmarkedBlocks.empty()) return kOk;
  if (const int32_t result = prepare(); result != kOk) return result;
  auto& unmarked = file_->unmarkedBlocks;
  if (!log_.reserve(log_.size() + unmarked.count())) return kWriteFailed;
  for (uint32_t block = unmarked.lowest(); !unmarked.empty(); block = unmarked.next(block)) {
    const bool unlisted = file_->unlistedBlocks.contains(block);
    log_.add({kMarked, unlisted ? kWasUnlisted : kNoFlag, block, nullptr});
    unmarked.erase(block);
    file_->unlistedBlocks.erase(block);
  }
  return kOk;
}

int32_t Change::stageDirty() {
  if (file_->transaction != Transaction::kNone || file_->dirtyItems.empty()) return kOk;
  SortDirty(file_);
  return stage(file_->dirtyItems.begin(), file_->dirtyItems.size());
}

int32_t Change::stageTable() {
  ItemInfo* table = file_->index.find(kIdTableItem);
  return table != nullptr && table->dirty ? stage(&table, 1) : kOk;
}

int32_t Change::stage(ItemInfo** items, uint32_t count) {
  if (const int32_t result = prepare(); result != kOk) return result;
  if (!reserve(items, count)) return kWriteFailed;
  for (uint32_t i = 0; i < count; ++i) {
    ItemInfo* item = items[i];
    const uint32_t needed = PacketsFor(item->size);
    while (item->fragments.count < needed) take(item);
    while (item->fragments.count > needed) give(item);
    if (!item->staged) saved_.add(item);
    item->staged = true;
  }
  backsUp_ = true;
  return kOk;
}

Change::Needs Change::needsOf(ItemInfo* const* items, uint32_t count) const {
  Needs needs{file_->blockNum, 0};
  int64_t free = file_->freeBlocks.count();
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t needed = PacketsFor(items[i]->size), had = items[i]->fragments.count;
    needs.steps += needed > had ? needed - had : had - needed;
    free -= int64_t{needed} - had;
    if (free < 0) {
      needs.blockNum -= free;
      free = 0;
    }
  }
  return needs;
}

bool Change::fitsDirty() const {
  if (file_->transaction != Transaction::kNone) return true;
  SortDirty(file_);
  return needsOf(file_->dirtyItems.begin(), file_->dirtyItems.size()).blockNum <= kMaxBlocks;
}

// Makes room for all that staging the items takes. False when there is no memory, or when they do not fit into the
// largest data file.
bool Change::reserve(ItemInfo** items, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    if (!items[i]->fragments.reserve(PacketsFor(items[i]->size))) return false;
  }
  const Needs needs = needsOf(items, count);
  return needs.blockNum <= kMaxBlocks && ReserveBlocks(file_, static_cast<uint32_t>(needs.blockNum)) &&
         log_.reserve(log_.size() + needs.steps) && saved_.reserve(saved_.size() + count);
}

void Change::take(ItemInfo* item) {
  const uint32_t lowest = file_->freeBlocks.lowest();
  uint8_t flags = 0;
  if (lowest == commonbase::NumberSet::kNone) {
    flags = kWasEnd;
  } else {
    if (file_->unmarkedBlocks.contains(lowest)) flags |= kWasUnmarked;
    if (file_->unlistedBlocks.contains(lowest)) flags |= kWasUnlisted;
  }
  const uint32_t block = AllocateBlock(file_);
  item->fragments.add(block * kBlockSize);
  log_.add({kTaken, flags, block, item});
}

void Change::give(ItemInfo* item) {
  const uint32_t block = item->fragments.last() / kBlockSize;
  item->fragments.removeLast();
  InsertFreeBlock(file_, block);
  log_.add({kGiven, 0, block, item});
}

int32_t Change::stageMoves(const platform::File* source, const commonbase::GrowArray<BlockMove>* moves,
                           uint32_t blockNum) {
  if (const int32_t result = prepare(); result != kOk) return result;
  if (!ReserveBlocks(file_, blockNum)) return kWriteFailed;
  source_ = source;
  moves_ = moves;
  file_->blockNum = blockNum;
  return kOk;
}

bool Change::fill(const Write& write, BlockWindow* source, uint8_t* block) {
  if (write.item != nullptr) {
    PackItemData(write.item->id, write.item->data, write.item->size, static_cast<uint16_t>(write.index),
                 block);
    return true;
  }
  const uint8_t* bytes = source->get(write.index);
  if (bytes != nullptr) std::memcpy(block, bytes, kBlockSize);
  return bytes != nullptr;
}

bool Change::header(const Write& write, BlockWindow* source, uint8_t* header) {
  if (write.item != nullptr) {
    EncodeHeader(HeaderOfPacket(write.item->id, write.item->size, static_cast<uint16_t>(write.index)),
                 header);
    return true;
  }
  const uint8_t* bytes = source->get(write.index);
  if (bytes != nullptr) std::memcpy(header, bytes, kHeaderSize);
  return bytes != nullptr;
}

uint32_t Change::countWrites(uint32_t most) const {
  uint32_t count = 0;
  const auto one = [&](uint32_t) { return ++count < most; };
  if (forEachWrite([&](uint32_t block, const Write&) { return one(block); })) forEachMark(one);
  return count;
}

// ---- Undoing ----

void Change::undo() {
  for (ItemInfo* item : saved_) item->staged = false;
  saved_.clear();
  for (uint32_t i = log_.size(); i-- > 0;) undoStep(log_[i]);
  file_->blockNum = oldBlockNum_;
  end();
}

void Change::undoStep(const Step& step) {
  auto& free = file_->freeBlocks;
  auto& unmarked = file_->unmarkedBlocks;
  auto& unlisted = file_->unlistedBlocks;
  const auto forget = [&](uint32_t block) {
    free.erase(block);
    unmarked.erase(block);
    unlisted.erase(block);
  };
  if (step.kind == kTaken) step.item->fragments.removeLast();
  if (step.kind == kTaken && (step.flags & kWasEnd) == 0) free.insert(step.block);
  if (step.kind == kMarked || (step.flags & kWasUnmarked) != 0) unmarked.insert(step.block);
  if ((step.flags & kWasUnlisted) != 0) unlisted.insert(step.block);
  if (step.kind == kGiven) {
    forget(step.block);
    step.item->fragments.add(step.block * kBlockSize);
  }
  if (step.kind == kEdited) undoEdit(step);
  if (step.kind == kMade) {
    file_->index.remove(step.item);
    ReleaseItem(file_, step.item);
  }
  if (step.kind != kRemoved) return;
  for (const uint32_t offset : step.item->fragments) forget(offset / kBlockSize);
  file_->index.insert(step.item);
  if ((step.flags & kWasDirty) != 0) MarkDirty(file_, step.item);
}

void Change::undoEdit(const Step& step) {
  const Edit& edit = edits_[step.block];
  ItemInfo* item = step.item;
  if (edit.tail != nullptr) std::memcpy(item->data + edit.offset, edit.tail, edit.size - edit.offset);
  if (!edit.hadBytes) DropItemBytes(item);
  item->inOrder = edit.wasInOrder;
  item->size = edit.size;
  item->changedFrom = edit.changedFrom;
  item->changedTo = edit.changedTo;
  if (!edit.wasDirty) MarkClean(file_, item);
}

// ---- Done ----

void Change::finish() {
  for (ItemInfo* item : saved_) {
    if (item->dirty) MarkClean(file_, item);
    NoteSaved(item);
  }
  for (const Step& step : log_) {
    if (step.kind == kRemoved) ReleaseItem(file_, step.item);
  }
  if (writes_) ForgetUnlisted(file_);
  end();
}

}  // namespace storage
