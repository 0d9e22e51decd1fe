// The journal's format: its numbers and hashes, nothing else.
//
// A journal is a header page and a run of frames, each beginning on a page of its own, so that writing one never
// rewrites a sector or page of another. Between a frame's end and the next page, and behind the last frame, stand
// zeros.
//
//   header page                          frame
//   offset  size  content                offset  size  content
//        0     8  magic and version           0     8  magic and version
//        8     8  salt                        8     8  salt
//       16     4  blockNum                   16     8  number, from 1
//       20     4  1: a restore's            24     4  blockNum
//       24     8  blockSum                   28     4  kind
//       32     8  hash of bytes 0 to 31      32        records, the last one of type kCommit
//
//   record:  offset  size  content
//                 0     4  type
//                 4     4  first: the first of the blocks that it is about
//                 8     4  count: how many blocks, one behind the other
//                12     4  0
//                16        count units of the type's size
//
// A frame is whole when its kCommit record holds the hash of everything before that record's unit.
//
// The hashes of blocks leave out the byte that says whether a block is free: setting it changes none of them. All
// numbers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "storage/format.h"

namespace storage {

constexpr uint32_t kJournalPage = 4096;
constexpr uint32_t kPageBlocks = kJournalPage / kBlockSize;  // data file blocks that share a page
constexpr uint64_t NextPage(uint64_t position) {
  return (position + kJournalPage - 1) / kJournalPage * kJournalPage;
}
constexpr uint64_t kJournalMagic = 0x01006C6E724A6D70;
constexpr uint64_t kFrameMagic = 0x01656D6172466D70;
constexpr uint32_t kJournalHeaderSize = 40;
constexpr uint32_t kFrameHeadSize = 32;
constexpr uint32_t kRecordHeadSize = 16;

struct JournalHeader {
  uint64_t salt = 0;
  uint32_t blockNum = 0;  // of the data file when the journal began
  uint64_t blockSum = 0;  // the sum of BlockPart over those blocks
  // It is a restore's: as long as no change has happened, the backup beside it is what was there before.
  bool isRestore = false;
};

enum FrameKind : uint32_t {
  kChangeFrame = 1,
  kAheadFrame = 2,  // what a change is about to write behind the end; nothing has happened yet
};

struct FrameHead {
  uint64_t salt = 0;
  uint64_t number = 0;
  uint32_t blockNum = 0;  // of the data file after the change
  uint32_t kind = 0;
};

enum RecordType : uint32_t {
  kImageRecord = 1,   // 1024 bytes: the block as the change makes it
  kFoundRecord = 2,   // two half hashes and the part, of a block before the journal first changes or cuts it
  kDirectRecord = 3,  // two half hashes, of a block that the change wrote behind the end before the frame
  kAheadRecord = 4,   // the header hash of a block that is about to be written behind the end
  kMarkRecord = 5,    // nothing: the blocks get the free mark
  kFreedRecord = 6,   // nothing: the blocks have become free in memory only since the frame before
  kCommitRecord = 7,  // the hash that makes the frame whole
};

// The size of a record's unit; kNoUnit for a type that there is not.
constexpr uint32_t kNoUnit = UINT32_MAX;
constexpr uint32_t UnitSize(uint32_t type) {
  constexpr uint32_t kSizes[] = {kNoUnit, kBlockSize, 24, 16, 8, 0, 0, 8};
  return type < sizeof kSizes / sizeof *kSizes ? kSizes[type] : kNoUnit;
}

struct RecordHead {
  uint32_t type = 0;
  uint32_t first = 0;
  uint32_t count = 0;
};

// Puts a header into a zeroed page; reads one, false when it is not whole.
void EncodeJournalHeader(const JournalHeader& header, uint8_t* page);
bool DecodeJournalHeader(const uint8_t* page, JournalHeader* header);

void EncodeFrameHead(const FrameHead& head, uint8_t* bytes);
bool DecodeFrameHead(const uint8_t* bytes, FrameHead* head);

void EncodeRecordHead(const RecordHead& head, uint8_t* bytes);
RecordHead DecodeRecordHead(const uint8_t* bytes);

// Hashes `size` bytes, a multiple of 8, behind what `state` is the hash of; 0 is that of nothing.
uint64_t HashBytes(uint64_t state, const uint8_t* bytes, size_t size);

// What the two halves of a block hold.
struct HalfHashes {
  uint64_t half[2] = {};
  bool operator==(const HalfHashes& other) const {
    return half[0] == other.half[0] && half[1] == other.half[1];
  }
};
HalfHashes HashHalves(const uint8_t* block);

// What a packet header says.
uint64_t HashHeader(const uint8_t* header);

// The next state of a hash, word by word.
inline uint64_t MixWord(uint64_t state, uint64_t word) {
  state = (state ^ word) * 0x9E3779B97F4A7C15U;
  return state ^ state >> 32;
}

constexpr uint64_t kWithoutType = ~uint64_t{0xFF00};  // the first word of a block without its packetType

// The part that a block has in the sum over a file: a hash of its number, its header and its stored checksum.
inline uint64_t BlockPart(uint32_t block, const uint8_t* bytes) {
  uint64_t state = MixWord(uint64_t{block} + 1, LoadU64(bytes) & kWithoutType);
  state = MixWord(state, LoadU64(bytes + 8));
  return MixWord(state, LoadU32(bytes + kChecksumOffset));
}

}  // namespace storage
