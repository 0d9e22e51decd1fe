#include "storage/journalformat.h"

namespace storage {

namespace {

// Several runs side by side, so that a processor need not wait for one multiplication to begin the next.
constexpr size_t kLanes = 4;
constexpr size_t kHalf = kBlockSize / 2;

}  // namespace

void EncodeJournalHeader(const JournalHeader& header, uint8_t* page) {
  StoreU64(page, kJournalMagic);
  StoreU64(page + 8, header.salt);
  StoreU32(page + 16, header.blockNum);
  StoreU32(page + 20, header.isRestore ? 1 : 0);
  StoreU64(page + 24, header.blockSum);
  StoreU64(page + 32, HashBytes(0, page, 32));
}

bool DecodeJournalHeader(const uint8_t* page, JournalHeader* header) {
  if (LoadU64(page) != kJournalMagic || LoadU64(page + 32) != HashBytes(0, page, 32)) return false;
  *header = {LoadU64(page + 8), LoadU32(page + 16), LoadU64(page + 24), LoadU32(page + 20) != 0};
  return true;
}

void EncodeFrameHead(const FrameHead& head, uint8_t* bytes) {
  StoreU64(bytes, kFrameMagic);
  StoreU64(bytes + 8, head.salt);
  StoreU64(bytes + 16, head.number);
  StoreU32(bytes + 24, head.blockNum);
  StoreU32(bytes + 28, head.kind);
}

bool DecodeFrameHead(const uint8_t* bytes, FrameHead* head) {
  *head = {LoadU64(bytes + 8), LoadU64(bytes + 16), LoadU32(bytes + 24), LoadU32(bytes + 28)};
  return LoadU64(bytes) == kFrameMagic && (head->kind == kChangeFrame || head->kind == kAheadFrame);
}

void EncodeRecordHead(const RecordHead& head, uint8_t* bytes) {
  StoreU32(bytes, head.type);
  StoreU32(bytes + 4, head.first);
  StoreU32(bytes + 8, head.count);
  StoreU32(bytes + 12, 0);
}

RecordHead DecodeRecordHead(const uint8_t* bytes) {
  return {LoadU32(bytes), LoadU32(bytes + 4), LoadU32(bytes + 8)};
}

uint64_t HashBytes(uint64_t state, const uint8_t* bytes, size_t size) {
  for (size_t at = 0; at < size; at += 8) state = MixWord(state, LoadU64(bytes + at));
  return state;
}

HalfHashes HashHalves(const uint8_t* block) {
  uint64_t lanes[2][kLanes] = {{1, 2, 3, 4}, {1, 2, 3, 4}};
  uint64_t mask = kWithoutType;
  for (size_t at = 0; at < kHalf; at += 8 * kLanes) {
    for (size_t lane = 0; lane < kLanes; ++lane) {
      const size_t place = at + 8 * lane;
      lanes[0][lane] = MixWord(lanes[0][lane], LoadU64(block + place) & mask);
      lanes[1][lane] = MixWord(lanes[1][lane], LoadU64(block + kHalf + place));
      mask = ~uint64_t{0};
    }
  }
  HalfHashes hashes;
  for (int i = 0; i < 2; ++i)
    hashes.half[i] = MixWord(MixWord(MixWord(lanes[i][0], lanes[i][1]), lanes[i][2]), lanes[i][3]);
  return hashes;
}

uint64_t HashHeader(const uint8_t* header) {
  return MixWord(MixWord(1, LoadU64(header) & kWithoutType), LoadU64(header + 8));
}

}  // namespace storage
