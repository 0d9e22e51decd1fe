// Blocks on their way into the data file: those that follow each other are written at once.
#pragma once

#include "storage/blockio.h"
#include "storage/largebuffer.h"

namespace storage {

class BlockRun {
 public:
  enum class Flush { kSoon, kLater };  // of the data file

  BlockRun(FileInfo* file, uint32_t blocks, Flush flush) : file_(file), flush_(flush), buffer_(blocks) {}

  // The place for a block, to be filled before the next call; null when what came before it could not be written.
  uint8_t* add(uint32_t block) {
    if ((count_ == buffer_.blocks() || block != first_ + count_) && !write()) return nullptr;
    if (count_ == 0) first_ = block;
    return buffer_.bytes() + size_t{count_++} * kBlockSize;
  }

  bool write() {
    if (count_ == 0) return true;
    if (!WriteBlocks(file_, first_, buffer_.bytes(), count_)) return false;
    if (flush_ == Flush::kSoon)
      file_->file.startSync(uint64_t{first_} * kBlockSize, uint64_t{count_} * kBlockSize);
    count_ = 0;
    return true;
  }

 private:
  FileInfo* file_;
  Flush flush_;
  LargeBuffer buffer_;
  uint32_t first_ = 0, count_ = 0;
};

}  // namespace storage
