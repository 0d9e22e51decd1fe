#include "storage/blockwindow.h"

#include <algorithm>

namespace storage {

BlockWindow::~BlockWindow() {
  platform::Wipe(bytes_, size_t{used_} * kBlockSize);
}

const uint8_t* BlockWindow::get(uint32_t block) {
  if (block < first_ || block - first_ >= count_) {
    // A page alone at first; a whole window near what was read, nearer than that is long.
    const bool goesOn = count_ != 0 && block + count_ >= first_ && block < first_ + 2 * count_;
    const uint32_t wanted = goesOn ? kWindow : kPageBlocks;
    first_ = block / wanted * wanted;
    used_ = std::max(used_, wanted);
    // Less at the file's end.
    const size_t size = file_.readAt(uint64_t{first_} * kBlockSize, bytes_, size_t{wanted} * kBlockSize);
    count_ = static_cast<uint32_t>(size / kBlockSize);
    if (block - first_ >= count_) return nullptr;
  }
  return bytes_ + size_t{block - first_} * kBlockSize;
}

}  // namespace storage
