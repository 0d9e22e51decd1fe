#include "storage/room.h"

#include <algorithm>

#include "storage/blockio.h"
#include "storage/journalformat.h"
#include "storage/result.h"

namespace storage {

namespace {

using platform::File;

// Small changes that follow each other take room for more than one of them; after a large one none may follow.
constexpr uint32_t kAhead = 64;
constexpr uint32_t kSmall = 256;

// Not in the page that the file ends in: it is there already, and nothing that stands in it may be lost with the power
// before the change is in the journal.
bool FillWithZeros(File* file, uint32_t from, uint32_t to) {
  from = (from + kPageBlocks - 1) / kPageBlocks * kPageBlocks;
  static const uint8_t kZeros[16 * kBlockSize] = {};
  for (uint64_t at = uint64_t{from} * kBlockSize, end = uint64_t{to} * kBlockSize; at < end;) {
    const auto size = static_cast<size_t>(std::min<uint64_t>(end - at, sizeof kZeros));
    if (file->writeAt(at, kZeros, size) != size) return false;
    at += size;
  }
  return true;
}

bool TakeBlocks(File* file, uint32_t from, uint32_t to, uint32_t* roomEnd) {
  if (to <= from || to <= *roomEnd) return true;
  const auto take = [&](uint32_t end) {
    return file->reserve(uint64_t{from} * kBlockSize, uint64_t{end - from} * kBlockSize);
  };
  const uint32_t ahead = std::min(to + kAhead, kMaxBlocks);
  if (to - from < kSmall && take(ahead) == File::Room::kTaken) {
    *roomEnd = ahead;
    return true;
  }
  const File::Room room = take(to);
  if (room == File::Room::kTaken) *roomEnd = to;
  return room == File::Room::kTaken || (room == File::Room::kUnknown && FillWithZeros(file, from, to));
}

}  // namespace

int32_t TakeRoom(FileInfo* file, uint32_t oldBlockNum, bool inBackup) {
  file->isFlushed = false;  // there may be zeros
  if (!TakeBlocks(&file->file, oldBlockNum, file->blockNum, &file->roomEnd)) return kWriteFailed;
  if (!inBackup || file->blockNum <= std::max(oldBlockNum, file->backupRoomEnd)) return kOk;
  const bool taken = TakeBlocks(&file->backup, oldBlockNum, file->blockNum, &file->backupRoomEnd);
  // Taking room is a change of the file, too; it is ours.
  if (!file->backup.note(&file->backupStamp)) file->backup.close();
  return taken ? kOk : kWriteFailed;
}

bool ReleaseRoom(FileInfo* file) {
  platform::FileIdentity now;
  if (!file->file.identify(&now)) return false;
  if (file->roomEnd <= file->blockNum && now.size <= uint64_t{file->blockNum} * kBlockSize) return true;
  return CutBlocks(file, file->blockNum);
}

}  // namespace storage
