#include "cli/blockfile.h"

#include <fmt/format.h>

#include <filesystem>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/host.h"
#include "storage/format.h"

namespace cli {

namespace fs = std::filesystem;
using storage::kBlockSize;

std::string BlockText(uint32_t number) {
  return fmt::format("block {} (offset {})", number, uint64_t{number} * kBlockSize);
}

BlockFile::BlockFile(PmString path, std::string shown, PmString journal)
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
  if (stamp_.size > storage::kMaxFileSize)
    throw Failure(ExitCode::kRefused, fmt::format("{} is too large to be a vault", shown_));
  if (!journalPath_.empty() && !platform::IsMissing(journalPath_.c_str())) layOver();
}

void BlockFile::layOver() {
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
    return;
  }
  if (outcome == storage::Overlay::kUnreadable) {
    throw Failure(ExitCode::kIoError,
                  fmt::format("cannot read the journal {}{}", ToUtf8(journalPath_), call.reason()),
                  "Without it the vault's last changes are missing. --source file reads the bare file.");
  }
  journalState_ = JournalState::kForeign;
  overlay_.reset();
}

uint64_t BlockFile::size() const {
  return overlay_ ? uint64_t{overlay_->blockNum()} * kBlockSize : stamp_.size;
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

void BlockFile::read(uint32_t first, uint32_t count, uint8_t* bytes) const {
  const SystemCall call;
  const size_t wanted = size_t{count} * kBlockSize;
  if (overlay_ ? overlay_->read(file_, first, bytes, count)
               : file_.readAt(uint64_t{first} * kBlockSize, bytes, wanted) == wanted)
    return;
  throw Failure(ExitCode::kIoError,
                fmt::format("cannot read {} at {}{}", shown_, BlockText(first), call.reason()));
}

Bytes BlockFile::readRest() const {
  Bytes rest(restSize());
  rest.resize(file_.readAt(size() - rest.size(), rest.data(), rest.size()));
  return rest;
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
