// The blocks of one vault file, opened for reading only: as they stand, or as the journal beside the file lays
// itself over them, which is what a program that opens the vault would find; or, for a rescue, all that can be found.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/text.h"
#include "platform/platform.h"
#include "storage/overlay.h"

namespace cli {

// What a journal that stands beside a file is to it.
enum class JournalState {
  kNone,        // there is none
  kLaid,        // it is the file's own, and laid over it
  kLaidOnRest,  // for a rescue: the file's own, and laid over what is left of a file that a program would refuse it
  kForeign,     // it is not the file's own, or damaged: a program that opens the vault sets it aside
  kUnreadable,  // for a rescue: the system does not give it
};

// As a program would find the file; or with everything that can be found, for whoever rescues it.
enum class Reading { kAsPrograms, kForRescue };

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
  JournalState journal() const { return journalState_; }
  // Whether the journal is laid over it, and says no more than that a restore was begun.
  bool isUndoneRestore() const { return overlay_ && overlay_->isUndoneRestore(); }
  const std::string& whyUnreadable() const { return whyUnreadable_; }  // ": Permission denied", of a journal
  bool isJournal() const { return isJournal_; }
  uint64_t size() const;
  int64_t modified() const;  // seconds since 1970

  // The number of whole blocks, and the bytes behind them that make none.
  uint32_t blockCount() const;
  uint32_t restSize() const;

  // The first block that was found out of step.
  std::optional<uint32_t> shifted() const { return shifted_; }
  // Blocks that the journal tells of and that are nowhere; only in a rescue.
  uint32_t missing() const { return missing_; }
  // A journal that lacks a frame, or whose only one is not whole: what it says last of a block may not be the last.
  bool mayBeOlder() const { return mayBeOlder_; }
  // The journal, by itself or laid over the file, ends in a frame that is not whole; only in a rescue.
  bool endsTorn() const { return endsTorn_; }

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
  // Where a block stands: in the file, or in the journal beside it.
  struct Piece {
    uint64_t offset = 0;
    bool isInJournal = false;
    bool isFree = false;
  };

  void layOver(Reading reading);
  void layOverRest();
  void takeJournal();
  bool readPiece(uint32_t number, uint8_t* bytes) const;

  PmString path_;
  std::string shown_;
  PmString journalPath_;
  JournalState journalState_ = JournalState::kNone;
  std::string whyUnreadable_;
  std::unique_ptr<storage::Overlay> overlay_;
  platform::File file_;
  platform::FileStamp stamp_;
  bool isJournal_ = false;
  bool isInPieces_ = false;
  std::vector<Piece> pieces_;
  uint64_t restAt_ = 0;  // behind the last of the file's blocks
  platform::File journal_;
  std::optional<uint32_t> shifted_;
  uint32_t missing_ = 0;
  bool mayBeOlder_ = false;
  bool endsTorn_ = false;
};

}  // namespace cli
