// Saving items: each gets exactly the blocks it needs, and its packets that are not on disk yet are written.
//
// Packets whose blocks lie one behind the other are collected and written at once, whatever items they are of:
// a load of small items costs few large writes. An item waits until all its packets are written.
//
// Invariants:
//  1. Items are saved in the order in which they come; the first that fails ends it.
//  2. Blocks that an item took for packets that were not written are given back, from the item that failed on.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

class ItemWriter {
 public:
  // In a pass, which has made room for the blocks of all dirty items.
  explicit ItemWriter(FileInfo* file) : file_(file) {}

  // Saves the item, at the next finish() at the latest. False when a write failed; call nothing but savedNum()
  // then.
  bool save(ItemInfo* item);

  // Writes what is still waiting. False when that failed.
  bool finish() { return write(waitingNum_); }

  // The number of items that are saved, the first ones that came.
  uint32_t savedNum() const { return savedNum_; }

 private:
  struct Waiting {
    ItemInfo* item;
    uint32_t had;      // blocks, before it was given those that it needs
    uint32_t fileEnd;  // in blocks, at that time
  };
  struct Packet {
    uint32_t waiting;  // the item's place in waiting_
    uint32_t index;
  };

  bool collect(uint32_t index);
  bool write(uint32_t completeNum);
  void noteSaved(uint32_t num);
  void giveUp(const Packet& failed);

  FileInfo* file_;
  uint32_t savedNum_ = 0;
  uint32_t waitingNum_ = 0;
  uint32_t packetNum_ = 0;
  uint32_t firstBlock_ = 0;  // of the packets collected
  Waiting waiting_[kBufferBlocks];
  Packet packets_[kBufferBlocks];
};

}  // namespace storage
