// A data file as a journal lays over it that is not carried out, since another program is writing it or the disk is
// full: what the last change made of it, whatever of that has reached the file.
//
// Invariants:
//  1. Nothing is written: neither to the file nor to anything beside it.
//  2. What was read counts only while isCurrent() still holds behind it.
#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "storage/journalreader.h"

namespace storage {

class Overlay {
 public:
  enum Outcome { kLaid, kNotOurs, kUnreadable };

  // Opens a journal and reads what it says of the data file.
  Outcome open(const PmChar* journalPath, const platform::File& data);

  // The length of the data file after the journal's last change.
  uint32_t blockNum() const { return contents_.blockNum(); }
  bool isUndoneRestore() const { return contents_.isUndoneRestore(); }

  // Whether all `count` blocks from `block` on were read.
  bool read(const platform::File& data, uint32_t block, uint8_t* bytes, uint32_t count) const;

  // Whether the journal is still the one that was read, and has got no further frame.
  bool isCurrent() const;

 private:
  const PmChar* path_ = nullptr;
  platform::File journal_;
  platform::FileIdentity identity_;
  JournalContents contents_;
};

}  // namespace storage
