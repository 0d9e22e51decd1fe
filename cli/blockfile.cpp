#include "cli/blockfile.h"

#include <fmt/format.h>

#include <filesystem>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/host.h"
#include "cli/journalimages.h"
#include "storage/format.h"
#include "storage/pack.h"

namespace cli {

namespace fs = std::filesystem;
using storage::kBlockSize;

BlockFile::BlockFile(PmString path, std::string shown, PmString journal, Reading reading)
    : path_(std::move(path)), shown_(std::move(shown)) {
  journal_.path = std::move(journal);
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
    places_ = FindPlacesInJournal(file_, stamp_.size);
    return;
  }
  if (stamp_.size > storage::kMaxFileSize)
    throw Failure(ExitCode::kRefused, fmt::format("{} is too large to be a vault", shown_));
  journal_.lay(file_, stamp_.size, reading);
  places_ = std::move(journal_.places);
}

std::unique_ptr<BlockFile> BlockFile::inStep() const {
  if (places_ || journal_.overlay) return nullptr;
  std::optional<BlockPlaces> places = FindShiftedPlaces(file_, stamp_.size);
  if (!places) return nullptr;
  auto found = std::make_unique<BlockFile>(path_, shown_);
  found->journal_.path = journal_.path;
  found->journal_.state = journal_.state;
  found->journal_.whyUnreadable = journal_.whyUnreadable;
  found->places_ = std::move(places);
  return found;
}

uint64_t BlockFile::size() const {
  if (places_) return places_->places.size() * kBlockSize + (stamp_.size - places_->restAt);
  return journal_.overlay ? uint64_t{journal_.overlay->blockNum()} * kBlockSize : stamp_.size;
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
  if (!places_) return uint64_t{number} * kBlockSize;
  return number < places_->places.size() ? places_->places[number].offset : places_->restAt;
}

std::string BlockFile::blockText(uint32_t number) const {
  const bool isInJournal = places_ && number < places_->places.size() && places_->places[number].isInJournal;
  return fmt::format("block {} (offset {}{})", number, offsetOf(number),
                     isInJournal ? " of " + ToUtf8(journal_.path) : "");
}

bool BlockFile::readPlace(const BlockPlaces::Place& place, uint8_t* bytes) const {
  const platform::File& file = place.isInJournal ? journal_.file : file_;
  if (file.readAt(place.offset, bytes, kBlockSize) != kBlockSize) return false;
  if (place.isFree) storage::MarkFree(bytes);
  return true;
}

void BlockFile::read(uint32_t first, uint32_t count, uint8_t* bytes) const {
  const SystemCall call;
  const size_t wanted = size_t{count} * kBlockSize;
  bool isRead = true;
  if (places_) {
    for (uint32_t i = 0; i < count && isRead; ++i)
      isRead = readPlace(places_->places[first + i], bytes + size_t{i} * kBlockSize);
  } else {
    isRead = journal_.overlay ? journal_.overlay->read(file_, first, bytes, count)
                              : file_.readAt(uint64_t{first} * kBlockSize, bytes, wanted) == wanted;
  }
  if (isRead) return;
  throw Failure(ExitCode::kIoError,
                fmt::format("cannot read {} at {}{}", shown_, blockText(first), call.reason()));
}

Bytes BlockFile::readRest() const {
  Bytes rest(restSize());
  rest.resize(file_.readAt(places_ ? places_->restAt : size() - rest.size(), rest.data(), rest.size()));
  return rest;
}

Bytes BlockFile::readSplitEnd(uint32_t number) const {
  if (!shifted() || number >= places_->places.size()) return {};
  const auto& places = places_->places;
  const uint64_t end = number + 1 < places.size() ? places[number + 1].offset : stamp_.size;
  if (end == places[number].offset + kBlockSize || end < kBlockSize) return {};
  Bytes bytes(kBlockSize);
  bytes.resize(file_.readAt(end - kBlockSize, bytes.data(), bytes.size()));
  return bytes;
}

bool BlockFile::hasChanged() const {
  platform::FileStamp now;
  if (!platform::StampOf(path_.c_str(), &now)) return true;
  // What the journal says counts, wherever its last changes stand already.
  if (journal_.overlay) return !now.sameFile(stamp_) || !journal_.overlay->isCurrent();
  return !(now == stamp_) || (journal_.state == JournalRole::kNone && !journal_.path.empty() &&
                              platform::SizeOf(journal_.path.c_str()) > 0);
}

}  // namespace cli
