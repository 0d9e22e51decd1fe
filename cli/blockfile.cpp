#include "cli/blockfile.h"

#include <fmt/format.h>

#include <filesystem>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/host.h"
#include "cli/journalimages.h"
#include "cli/outofstep.h"
#include "storage/format.h"
#include "storage/pack.h"

namespace cli {

namespace fs = std::filesystem;
using storage::kBlockSize;

BlockFile::BlockFile(PmString path, std::string shown, PmString journal, Reading reading)
    : path_(std::move(path)), shown_(std::move(shown)), journalPath_(std::move(journal)) {
  const SystemCall call;
  std::error_code ignored;
  if (fs::is_directory(fs::u8path(shown_), ignored))
    throw Failure(ExitCode::kIoError, fmt::format("{} is a folder, not a vault", shown_));
  if (!file_.open(path_.c_str(), platform::Access::kRead) || !file_.stamp(&stamp_)) {
    if (platform::IsMissing(path_.c_str()))
      throw Failure(ExitCode::kMissing, fmt::format("there is no file {}", shown_));
    throw Failure(ExitCode::kIoError, fmt::format("cannot open {} for reading{}", shown_, call.reason()),
                  "Check that it is a file and that you may read it.");
  }
  isJournal_ = IsJournal(file_);
  if (isJournal_ && reading == Reading::kForRescue) {
    takeJournal();
    return;
  }
  if (stamp_.size > storage::kMaxFileSize)
    throw Failure(ExitCode::kRefused, fmt::format("{} is too large to be a vault", shown_));
  if (!journalPath_.empty() && !platform::IsMissing(journalPath_.c_str())) layOver(reading);
}

void BlockFile::layOver(Reading reading) {
  if (platform::SizeOf(journalPath_.c_str()) == 0) return;  // emptied where it could not be removed
  // What another program does to the files meanwhile may look like anything, but not for long.
  constexpr int kTries = 5;
  const SystemCall call;
  storage::Overlay::Outcome outcome = storage::Overlay::kNotOurs;
  for (int i = 0; i < kTries && outcome != storage::Overlay::kLaid; ++i) {
    overlay_ = std::make_unique<storage::Overlay>();
    outcome = overlay_->open(journalPath_.c_str(), file_);
  }
  if (outcome == storage::Overlay::kLaid) {
    journalState_ = JournalState::kLaid;
    endsTorn_ = reading == Reading::kForRescue &&
                journal_.open(journalPath_.c_str(), platform::Access::kRead) &&
                !ReadJournalImages(journal_).torn.empty();
    return;
  }
  overlay_.reset();
  journalState_ = JournalState::kForeign;
  if (reading == Reading::kForRescue) return layOverRest();
  if (outcome == storage::Overlay::kUnreadable) {
    throw Failure(ExitCode::kIoError,
                  fmt::format("cannot read the journal {}{}", ToUtf8(journalPath_), call.reason()),
                  "Without it the vault's last changes are missing. --source file reads the bare file.");
  }
}

// Lays the journal over what is left of its file.
void BlockFile::layOverRest() {
  const SystemCall call;
  if (!journal_.open(journalPath_.c_str(), platform::Access::kRead)) {
    whyUnreadable_ = call.reason();
    journalState_ = JournalState::kUnreadable;
    return;
  }
  const JournalImages journal = ReadJournalImages(journal_);
  const auto there = static_cast<uint32_t>(stamp_.size / kBlockSize);
  if (!journal.isGapless || !IsFileOf(journal, file_, there)) return;
  journalState_ = JournalState::kLaidOnRest;
  isInPieces_ = true;
  restAt_ =
      journal.blockNum > there && journal.last.count(there) == 0 ? uint64_t{there} * kBlockSize : stamp_.size;
  for (uint32_t block = 0; block < journal.blockNum; ++block) {
    const auto word = journal.last.find(block);
    const bool hasImage = word != journal.last.end() && word->second.imageAt != 0;
    if (hasImage || block < there) {
      pieces_.push_back({hasImage ? word->second.imageAt : uint64_t{block} * kBlockSize, hasImage,
                         word != journal.last.end() && word->second.isFree});
    } else {
      ++missing_;
    }
  }
}

// Takes the file for what it is, a journal: its blocks are those that it puts anywhere and does not free.
void BlockFile::takeJournal() {
  const JournalImages journal = ReadJournalImages(file_);
  isInPieces_ = true;
  restAt_ = stamp_.size;
  mayBeOlder_ = !journal.isGapless;
  endsTorn_ = journal.endsTorn;
  missing_ = journal.blockNum;
  for (const auto& [block, word] : journal.last) {
    if (block >= journal.blockNum) continue;
    if (word.imageAt != 0 && !word.isFree) pieces_.push_back({word.imageAt, false, false});
    if (word.imageAt != 0 || word.isFree) --missing_;
  }
  if (!journal.last.empty()) return;
  for (const auto& [block, offset] : journal.torn) pieces_.push_back({offset, false, false});
  mayBeOlder_ = mayBeOlder_ || !pieces_.empty();
}

std::unique_ptr<BlockFile> BlockFile::inStep() const {
  if (isInPieces_ || overlay_) return nullptr;
  const std::vector<uint64_t> blocks = FindOutOfStep(file_, stamp_.size);
  if (blocks.empty()) return nullptr;
  auto found = std::make_unique<BlockFile>(path_, shown_);
  found->journalPath_ = journalPath_;
  found->journalState_ = journalState_;
  found->isInPieces_ = true;
  found->restAt_ = blocks.back() + kBlockSize;
  for (uint64_t offset : blocks) {
    if (!found->shifted_ && offset % kBlockSize != 0)
      found->shifted_ = static_cast<uint32_t>(found->pieces_.size());
    found->pieces_.push_back({offset, false, false});
  }
  return found;
}

uint64_t BlockFile::size() const {
  return isInPieces_ ? pieces_.size() * kBlockSize + (stamp_.size - restAt_)
         : overlay_  ? uint64_t{overlay_->blockNum()} * kBlockSize
                     : stamp_.size;
}

int64_t BlockFile::modified() const {
  return ModifiedTime(fs::u8path(shown_));
}

uint32_t BlockFile::blockCount() const {
  return static_cast<uint32_t>(size() / kBlockSize);
}

uint32_t BlockFile::restSize() const {
  return static_cast<uint32_t>(size() % kBlockSize);
}

uint64_t BlockFile::offsetOf(uint32_t number) const {
  if (number < pieces_.size()) return pieces_[number].offset;
  return isInPieces_ ? restAt_ : uint64_t{number} * kBlockSize;
}

std::string BlockFile::blockText(uint32_t number) const {
  const bool isInJournal = number < pieces_.size() && pieces_[number].isInJournal;
  return fmt::format("block {} (offset {}{})", number, offsetOf(number),
                     isInJournal ? " of " + ToUtf8(journalPath_) : "");
}

bool BlockFile::readPiece(uint32_t number, uint8_t* bytes) const {
  const Piece& piece = pieces_[number];
  if ((piece.isInJournal ? journal_ : file_).readAt(piece.offset, bytes, kBlockSize) != kBlockSize)
    return false;
  if (piece.isFree) storage::MarkFree(bytes);
  return true;
}

void BlockFile::read(uint32_t first, uint32_t count, uint8_t* bytes) const {
  const SystemCall call;
  const size_t wanted = size_t{count} * kBlockSize;
  bool isRead = true;
  if (isInPieces_) {
    for (uint32_t i = 0; i < count && isRead; ++i)
      isRead = readPiece(first + i, bytes + size_t{i} * kBlockSize);
  } else {
    isRead = overlay_ ? overlay_->read(file_, first, bytes, count)
                      : file_.readAt(uint64_t{first} * kBlockSize, bytes, wanted) == wanted;
  }
  if (isRead) return;
  throw Failure(ExitCode::kIoError,
                fmt::format("cannot read {} at {}{}", shown_, blockText(first), call.reason()));
}

Bytes BlockFile::readRest() const {
  Bytes rest(restSize());
  rest.resize(file_.readAt(isInPieces_ ? restAt_ : size() - rest.size(), rest.data(), rest.size()));
  return rest;
}

Bytes BlockFile::readSplitEnd(uint32_t number) const {
  if (!shifted_ || number >= pieces_.size()) return {};
  const uint64_t end = number + 1 < pieces_.size() ? pieces_[number + 1].offset : stamp_.size;
  if (end == pieces_[number].offset + kBlockSize || end < kBlockSize) return {};
  Bytes bytes(kBlockSize);
  bytes.resize(file_.readAt(end - kBlockSize, bytes.data(), bytes.size()));
  return bytes;
}

bool BlockFile::hasChanged() const {
  platform::FileStamp now;
  if (!platform::StampOf(path_.c_str(), &now)) return true;
  // What the journal says counts, wherever its last changes stand already.
  if (overlay_) return !now.sameFile(stamp_) || !overlay_->isCurrent();
  return !(now == stamp_) || (journalState_ == JournalState::kNone && !journalPath_.empty() &&
                              platform::SizeOf(journalPath_.c_str()) > 0);
}

}  // namespace cli
