// The blocks of one vault file, wherever they stand, opened for reading only: those of the file with its journal laid
// over it, which is what a program that opens the vault would find; or, for a rescue, all that can be found. What the
// blocks make together is the Image's to say (image.h).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/blockplaces.h"
#include "cli/bytes.h"
#include "cli/journalbeside.h"
#include "platform/platform.h"

namespace cli {

class BlockFile {
 public:
  // Opens the file, with the journal of that path laid over it if it is the file's; an empty path is none. For a rescue
  // the file may be a journal itself: its blocks are then those whose bytes the journal holds. Fails when there is no
  // such file or it cannot be read.
  BlockFile(PmString path, std::string shown, PmString journal = {}, Reading reading = Reading::kAsPrograms);

  // The same file with its blocks where they really stand; null when they are in step, or a journal speaks of them.
  std::unique_ptr<BlockFile> inStep() const;

  const PmString& path() const { return path_; }
  const std::string& shown() const { return shown_; }
  JournalRole journal() const { return journal_.state; }
  // Whether the journal is laid over it, and says no more than that a restore was begun.
  bool isUndoneRestore() const { return journal_.overlay && journal_.overlay->isUndoneRestore(); }
  const std::string& whyUnreadable() const { return journal_.whyUnreadable; }  // of the journal
  bool isJournal() const { return isJournal_; }
  uint64_t size() const;
  int64_t modified() const;  // seconds since 1970

  // The number of whole blocks, and the bytes behind them that make none.
  uint32_t blockCount() const;
  uint32_t restSize() const;

  // The first block that was found out of step.
  std::optional<uint32_t> shifted() const { return places_ ? places_->shifted : std::nullopt; }
  // Blocks that the journal tells of and that are nowhere; only in a rescue.
  uint32_t missing() const { return places_ ? places_->missing : 0; }
  // A journal that lacks a frame, or whose only one is not whole: what it says last of a block may not be the last.
  bool mayBeOlder() const { return places_ && places_->mayBeOlder; }
  // The journal, by itself or laid over the file, ends in a frame that is not whole; only in a rescue.
  bool endsTorn() const { return journal_.endsTorn || (places_ && places_->endsTorn); }

  // "block 3 (offset 3072)", with the place where it stands; and that place.
  std::string blockText(uint32_t number) const;
  uint64_t offsetOf(uint32_t number) const;

  // `count` whole blocks from `first` on.
  void read(uint32_t first, uint32_t count, uint8_t* bytes) const;
  Bytes readRest() const;

  // Of a block that has more bytes or less than one: those 1,024 that end where the next one begins. Else nothing.
  Bytes readSplitEnd(uint32_t number) const;

  // Whether the vault was changed by someone since it was opened here.
  bool hasChanged() const;

 private:
  bool readPlace(const BlockPlaces::Place& place, uint8_t* bytes) const;

  PmString path_;
  std::string shown_;
  platform::File file_;
  platform::FileStamp stamp_;
  bool isJournal_ = false;
  JournalBeside journal_;
  std::optional<BlockPlaces> places_;  // when they are not one behind the other
};

}  // namespace cli
