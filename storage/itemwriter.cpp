#include "storage/itemwriter.h"

#include <algorithm>

#include "storage/blockio.h"
#include "storage/dirty.h"
#include "storage/freeblocks.h"
#include "storage/pack.h"

namespace storage {

namespace {

// Gives back the item's blocks from number `first` on; those at or behind `fileEnd` are not in the file yet.
// The others hold a packet of `owner`.
void GiveBackBlocks(ItemInfo* item, FileInfo* file, uint32_t first, uint32_t fileEnd, uint32_t owner) {
  while (item->fragments.count > first) {
    const uint32_t block = item->fragments.last() / kBlockSize;
    item->fragments.removeLast();
    if (block >= fileEnd) {
      --file->blockNum;
    } else {
      InsertFreeBlock(file, block, owner);
    }
  }
}

// Takes back what AdjustFragmentCount gave up, when nobody has it any more: the offsets still stand behind the
// list's end.
void TakeBackBlocks(ItemInfo* item, FileInfo* file, uint32_t had) {
  while (item->fragments.count < had) {
    const uint32_t offset = item->fragments[item->fragments.count];
    file->freeBlocks.erase(offset / kBlockSize);
    file->unmarkedBlocks.erase(offset / kBlockSize);
    item->fragments.add(offset);
  }
}

// Gives the item exactly the blocks that its bytes need, whose number it returns: new ones behind its last,
// or its last ones given up.
uint32_t AdjustFragmentCount(ItemInfo* item, FileInfo* file) {
  const uint32_t needed = PacketsFor(item->size);
  while (item->fragments.count < needed) item->fragments.add(AllocateBlock(file) * kBlockSize);
  GiveBackBlocks(item, file, needed, file->blockNum, item->id);
  return needed;
}

}  // namespace

bool ItemWriter::save(ItemInfo* item) {
  if (waitingNum_ == kBufferBlocks && !write(waitingNum_)) return false;
  const uint32_t had = item->fragments.count;
  waiting_[waitingNum_++] = {item, had, file_->blockNum};
  const uint32_t needed = AdjustFragmentCount(item, file_);
  for (uint32_t i = 0; i < needed; ++i) {
    if (i < had && PacketIsOnDisk(item, i)) continue;
    if (!collect(i)) return false;
  }
  return true;
}

// Packs a packet of the item that came last behind those that were collected, which are written first when it
// does not fit to them.
bool ItemWriter::collect(uint32_t index) {
  const ItemInfo* item = waiting_[waitingNum_ - 1].item;
  const uint32_t block = item->fragments[index] / kBlockSize;
  const bool fits = packetNum_ < kBufferBlocks && block == firstBlock_ + packetNum_;
  if (packetNum_ != 0 && !fits && !write(waitingNum_ - 1)) return false;
  if (packetNum_ == 0) firstBlock_ = block;
  PackItemData(item->id, item->data, item->size, static_cast<uint16_t>(index),
               controller->blockBuffer + size_t{packetNum_} * kBlockSize);
  packets_[packetNum_++] = {waitingNum_ - 1, index};
  return true;
}

// Writes what was collected; the first `completeNum` waiting items are saved then.
bool ItemWriter::write(uint32_t completeNum) {
  const uint32_t written = WriteBlocks(file_, firstBlock_, controller->blockBuffer, packetNum_);
  if (written < packetNum_) {
    giveUp(packets_[written]);
    return false;
  }
  packetNum_ = 0;
  noteSaved(completeNum);
  return true;
}

void ItemWriter::noteSaved(uint32_t num) {
  for (uint32_t i = 0; i < num; ++i) NoteSaved(waiting_[i].item);
  std::copy(waiting_ + num, waiting_ + waitingNum_, waiting_);
  savedNum_ += num;
  waitingNum_ -= num;
}

// Of the item that failed, the packets before are written; of those that came behind it, none.
void ItemWriter::giveUp(const Packet& failed) {
  for (uint32_t i = waitingNum_; i-- > failed.waiting;) {
    const Waiting& waiting = waiting_[i];
    const uint32_t written = i == failed.waiting ? failed.index : 0;
    ForgetSaved(waiting.item);
    GiveBackBlocks(waiting.item, file_, std::max(written, waiting.had), waiting.fileEnd, kUnknownOwner);
    if (i != failed.waiting) TakeBackBlocks(waiting.item, file_, waiting.had);
  }
  CutBlocks(file_, file_->blockNum);  // a block written in part would leave a ragged end
  noteSaved(failed.waiting);
}

}  // namespace storage
