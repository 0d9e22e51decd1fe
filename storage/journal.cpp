#include "storage/journal.h"

#include <algorithm>

#include "commonbase/src/pmstring.h"
#include "platform/heap.h"
#include "storage/framewriter.h"
#include "storage/names.h"
#include "storage/result.h"
#include "storage/scratch.h"

namespace storage {

namespace {

using commonbase::NumberSet;
using platform::File;

// A journal starts over when it has grown past this, or past a part of the data file.
constexpr uint64_t kFullSize = uint64_t{4} << 20;
constexpr uint64_t kFullShare = 8;

// Zeros are written ahead in pieces that grow with the journal: each costs a change a longer flush, so they become
// few. A journal that has grown full has shown that a session is long.
constexpr uint64_t kFirstRoom = uint64_t{64} << 10;
constexpr uint64_t kRoomGrowth = 3;  // a piece is so many times what stands

// Writes zeros from `from` to `to`, as far as there is room; how far.
uint64_t WriteZeros(File* file, uint64_t from, uint64_t to) {
  static const uint8_t kZeros[64 << 10] = {};
  while (from < to) {
    const auto size = static_cast<size_t>(std::min<uint64_t>(to - from, sizeof kZeros));
    const size_t written = file->writeAt(from, kZeros, size);
    from += written;
    if (written < size) break;
  }
  return from;
}

}  // namespace

Journal::~Journal() {
  platform::Release(path_);
}

bool Journal::setPath(const PmChar* path) {
  PmChar name[kMaxJournalPath + 1];
  if (!GetJournalFileName(name, path)) return false;
  const size_t size = commonbase::LengthOf(name) + size_t{1};
  PmChar* copy = platform::Resize<PmChar>(nullptr, size);
  if (copy == nullptr) return false;
  std::copy(name, name + size, copy);
  platform::Release(path_);
  path_ = copy;
  return true;
}

int32_t Journal::start(const File& data, uint32_t blockNum, uint64_t blockSum, const NumberSet& unmarked,
                       const NumberSet& unlisted) {
  platform::FileIdentity file;
  if (!data.identify(&file)) return kWriteFailed;
  const auto fileBlocks = static_cast<uint32_t>(file.size / kBlockSize);
  Fresh fresh{
      {}, {0, fileBlocks, blockSum, servesRestore_}, 0, blockNum, end_ > kFullSize ? kFullSize : kFirstRoom};
  if (!covered_.reserve(fileBlocks) || !platform::Random(&fresh.header.salt, sizeof fresh.header.salt))
    return kWriteFailed;
  PmChar name[kMaxJournalPath + 1];
  ChangeSuffix(name, path_, kNewJournalSuffix);
  platform::Remove(name);
  if (!fresh.file.createNew(name)) return kCannotOpen;
  const bool written = write(&fresh, data, unmarked, unlisted);
  platform::SetHidden(name, true);
  // Not every system renames a file that is open, or over one that is.
  const bool flushed = written && fresh.file.sync();
  if (!fresh.file.close() || !flushed) {
    platform::Remove(name);
    return kWriteFailed;
  }
  return put(fresh, name);
}

// Fills a new journal; its header comes last, with the sum over the whole file.
bool Journal::write(Fresh* fresh, const File& data, const NumberSet& unmarked, const NumberSet& unlisted) {
  File* file = &fresh->file;
  if (!file->copyAccessRights(data)) return false;
  FrameWriter frame(file, kJournalPage, {fresh->header.salt, 1, fresh->blockNum, kChangeFrame});
  const uint64_t empty = frame.end();
  for (uint32_t block = fresh->blockNum; block < fresh->header.blockNum; ++block) {
    Scratch<> cut;
    if (data.readAt(uint64_t{block} * kBlockSize, cut.bytes, kBlockSize) != kBlockSize) return false;
    fresh->header.blockSum += AddFound(&frame, block, cut.bytes);
  }
  for (uint32_t block = unmarked.lowest(); block != NumberSet::kNone; block = unmarked.next(block + 1)) {
    if (!unlisted.contains(block)) frame.add(kFreedRecord, block);
  }
  if (frame.end() != empty) {
    if (!frame.finish()) return false;
    fresh->firstFrame = frame.end();
  }
  uint8_t page[kJournalPage] = {};
  EncodeJournalHeader(fresh->header, page);
  if (file->writeAt(0, page, sizeof page) != sizeof page) return false;
  fresh->roomEnd = WriteZeros(file, std::max<uint64_t>(fresh->firstFrame, kJournalPage), fresh->roomEnd);
  return true;
}

// Gives a new journal its name and goes on with it. When it does not get the name, the old one stands as before.
int32_t Journal::put(const Fresh& fresh, const PmChar* name) {
  file_.close();
  const bool renamed = platform::Rename(name, path_);
  if (!renamed) platform::Remove(name);
  const bool stands = renamed || state_ != JournalState::kNone;
  platform::FileIdentity found;
  const bool opened = stands && file_.open(path_, platform::Access::kReadWrite) && file_.identify(&found) &&
                      (renamed || found.sameFile(identity_));
  if (renamed) {
    identity_ = found;
    salt_ = fresh.header.salt;
    carriedTo_ = end_ = kJournalPage;
    carriedNumber_ = number_ = 1;
    if (fresh.firstFrame != 0) {
      end_ = fresh.firstFrame;
      number_ = 2;
    }
    roomEnd_ = fresh.roomEnd;
    blockNum_ = fresh.header.blockNum;
    covered_.clear();
    for (uint32_t block = fresh.blockNum; block < blockNum_; ++block) covered_.insert(block);
    if (covered_.empty()) noteCarriedOut();  // else the file is still to be cut
    state_ = JournalState::kOpen;
  }
  if (stands && !opened) state_ = JournalState::kSpent;  // its place is taken, and no frame can be appended
  if (!renamed || !opened) return kCannotOpen;
  // Were the name not durable, the old journal could come back and hide what is appended to this one.
  if (platform::SyncFolder(path_)) return kOk;
  state_ = JournalState::kSpent;
  return kCannotOpen;
}

bool Journal::adopt() {
  if (!file_.open(path_, platform::Access::kReadWrite) || !file_.identify(&identity_)) return false;
  state_ = JournalState::kSpent;
  return true;
}

bool Journal::wantsStart(uint32_t blockNum) const {
  if (state_ == JournalState::kNone || state_ == JournalState::kSpent) return true;
  return state_ == JournalState::kOpen &&
         (end_ > std::max(kFullSize, uint64_t{blockNum} * kBlockSize / kFullShare) || !isInPlace());
}

bool Journal::isInPlace() const {
  platform::FileIdentity named;
  return platform::IdentityOf(path_, &named) && named.sameFile(identity_);
}

void Journal::makeRoom(uint64_t size) {
  if (end_ + size <= roomEnd_ || size > kFirstRoom) return;
  const uint64_t ahead = std::clamp(kRoomGrowth * roomEnd_, kFirstRoom, kFullSize);
  roomEnd_ = WriteZeros(&file_, std::max(roomEnd_, end_), NextPage(end_ + size + ahead));
}

int32_t Journal::append(FrameWriter* frame) {
  if (!frame->finish() || !file_.sync()) {
    spend();
    return kWriteFailed;
  }
  end_ = frame->end();
  ++number_;
  return kOk;
}

bool Journal::replay(RecordSink* sink) {
  if (!file_.isOpen() && !adopt()) return false;
  uint64_t position = carriedTo_;
  for (uint64_t number = carriedNumber_; position != end_; ++number) {
    FrameHead head;
    if (ReadFrame(file_, &position, salt_, number, &head, sink) != FrameOutcome::kWhole) return false;
  }
  return true;
}

void Journal::noteCarriedOut() {
  carriedTo_ = end_;
  carriedNumber_ = number_;
}

void Journal::spend() {
  state_ = state_ == JournalState::kOpen ? JournalState::kSpent : JournalState::kDead;
}

void Journal::poison() {
  state_ = state_ == JournalState::kOpen ? JournalState::kPoisoned : JournalState::kDead;
}

void Journal::remove() {
  const bool ours = isInPlace();
  file_.close();  // not every system removes a file that is open
  if (ours && !platform::Remove(path_) && file_.open(path_, platform::Access::kReadWrite)) file_.setSize(0);
  leave();
}

void Journal::leave() {
  file_.close();
  state_ = JournalState::kNone;
}

}  // namespace storage
