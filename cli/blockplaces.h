// Where the blocks of a vault stand when they do not stand one behind the other in its file: what a rescue finds.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/platform.h"

namespace cli {

struct BlockPlaces {
  struct Place {
    uint64_t offset = 0;
    bool isInJournal = false;  // in the journal beside the file, not in the file
    bool isFree = false;       // the journal frees it, whatever stands there
  };

  std::vector<Place> places;        // of all blocks that there are
  uint64_t restAt = 0;              // where the last of the file's blocks ends
  std::optional<uint32_t> shifted;  // the first block that is out of step
  uint32_t missing = 0;             // blocks that the journal tells of and that are nowhere
  bool mayBeOlder = false;          // what is here of a block may not be what was written last
  bool endsTorn = false;            // the journal ends in a frame that is not whole
};

// Of a file of `size` bytes into which bytes were inserted or from which some are missing. Nothing when its blocks
// are in step.
std::optional<BlockPlaces> FindShiftedPlaces(const platform::File& file, uint64_t size);

// Of what is left of a file, with its journal laid over it. Nothing when the journal is not the file's own, or lacks a
// frame.
std::optional<BlockPlaces> FindPlacesWithJournal(const platform::File& file, uint64_t size,
                                                 const platform::File& journal);

// Of a journal by itself: those blocks that it puts anywhere and does not free.
BlockPlaces FindPlacesInJournal(const platform::File& journal, uint64_t size);

}  // namespace cli
