// The blocks that share a page with those that a change overwrites or marks, and are neither. The journal carries them
// along: a medium whose power fails may lose the whole page that it was writing. Where a change touches very many pages
// in part, that is too much, and it carries none.
#pragma once

#include <cstdint>

#include "commonbase/src/growarray.h"
#include "storage/change.h"

namespace storage {

class PageMates {
 public:
  // Reads which blocks are touched, up to `end`: what lies behind begins on a page of its own. False when there is no
  // memory.
  bool find(const Change& staged, uint32_t end);

  // Ascending.
  const uint32_t* begin() const { return mates_.begin(); }
  const uint32_t* end() const { return mates_.end(); }

 private:
  static constexpr uint32_t kMost = 4096;

  bool collect(uint32_t blockNum);
  bool add(uint32_t block);

  commonbase::GrowArray<uint32_t> touched_;
  commonbase::GrowArray<uint32_t> mates_;
};

}  // namespace storage
