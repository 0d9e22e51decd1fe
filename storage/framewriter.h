// Writing one frame of a journal, as a stream: memory stays bounded whatever the change is.
//
// Invariants:
//  1. Nothing but finish() writes the commit record: a frame that was begun and not finished is none.
//  2. Units of one type for blocks that follow each other stand in one record, as far as the buffer holds.
//  3. The frame is written but not flushed; that is the caller's.
#pragma once

#include "platform/platform.h"
#include "storage/journalformat.h"

namespace storage {

class FrameWriter {
 public:
  FrameWriter(platform::File* file, uint64_t position, const FrameHead& head);
  ~FrameWriter();
  FrameWriter(const FrameWriter&) = delete;
  FrameWriter& operator=(const FrameWriter&) = delete;

  // The place for the unit of a block, to be filled before the next call.
  uint8_t* add(RecordType type, uint32_t block);

  // Writes what is left, with the commit record, up to the end of a page. False when anything could not be written.
  bool finish();

  // The position behind what was added.
  uint64_t end() const { return position_ + used_; }

 private:
  void closeRecord();
  void flush();
  void write(size_t size);

  platform::File* file_;
  uint64_t position_;  // of the buffer's bytes
  uint64_t hash_ = 0;  // of what was written
  size_t used_ = 0;
  RecordHead record_{};  // the open one; none when its count is 0
  size_t recordAt_ = 0;
  bool failed_ = false;
};

// Notes what a block holds before the journal overwrites, marks or cuts it for the first time; its part in the
// file's sum.
uint64_t AddFound(FrameWriter* frame, uint32_t block, const uint8_t* bytes);

// Notes a block that was written directly.
void AddDirect(FrameWriter* frame, uint32_t block, const uint8_t* bytes);

}  // namespace storage
