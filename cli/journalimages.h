// What a journal holds by itself: for when the data file is gone, cut, or another than the journal's own.
//
// storage/overlay.h lays a journal over the file that it belongs to, all or nothing. Here every frame counts that is
// whole, whatever has become of the header page, of other frames and of the data file, also out of step; each is
// proven by its own hash.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "platform/platform.h"
#include "storage/journalreader.h"

namespace cli {

struct JournalImages {
  std::map<uint32_t, storage::LastWord> last;                  // of each block that a frame speaks of
  std::map<uint32_t, std::vector<storage::HalfHashes>> found;  // what stood there before
  std::map<uint32_t, std::vector<storage::HalfHashes>> put;    // what frames put there
  uint32_t blockNum = 0;                                       // the data file's length after the last frame
  bool isGapless = true;                                       // no frame is missing between two others
  bool endsTorn = false;  // a frame begins behind the last whole one: it never happened, or is damaged
  std::map<uint32_t, uint64_t> torn;  // its intact packets: where they stand, by the block that they were for
};

// Whether a file begins as a journal does.
bool IsJournal(const platform::File& file);

// Reads all whole frames. Without a block in `last` there are none.
JournalImages ReadJournalImages(const platform::File& journal);

// Whether a data file that has lost its end, or that the journal does not fit for another reason, is the journal's own
// all the same: every covered block that is as a save writes it is one that the journal found or put there, and one of
// them at least was put there, which no older copy of the file can hold.
bool IsFileOf(const JournalImages& journal, const platform::File& data, uint32_t fileBlocks);

}  // namespace cli
