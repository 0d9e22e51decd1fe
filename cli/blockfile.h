// The blocks of one vault file, opened for reading only: as they stand, or as the journal beside the file lays
// itself over them, which is what a program that opens the vault would find.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "cli/text.h"
#include "platform/platform.h"
#include "storage/overlay.h"

namespace cli {

// What a journal that stands beside a file is to it.
enum class JournalState {
  kNone,     // there is none
  kLaid,     // it is the file's own, and laid over it
  kForeign,  // it is not the file's own, or damaged: a program that opens the vault sets it aside
};

class BlockFile {
 public:
  // Opens the file as it stands. Fails when there is no such file or it cannot be read.
  BlockFile(PmString path, std::string shown) : BlockFile(std::move(path), std::move(shown), PmString()) {}

  // Opens the file with the journal of that path laid over it, if it is the file's.
  BlockFile(PmString path, std::string shown, PmString journal);

  const PmString& path() const { return path_; }
  const std::string& shown() const { return shown_; }
  JournalState journal() const { return journalState_; }
  uint64_t size() const;
  int64_t modified() const;  // seconds since 1970

  // The number of whole blocks, and the bytes behind them that make none.
  uint32_t blockCount() const;
  uint32_t restSize() const;

  // `count` whole blocks from `first` on.
  void read(uint32_t first, uint32_t count, uint8_t* bytes) const;
  Bytes readRest() const;

  // Whether the vault was changed by someone since it was opened here.
  bool hasChanged() const;

 private:
  void layOver();

  PmString path_;
  std::string shown_;
  PmString journalPath_;
  JournalState journalState_ = JournalState::kNone;
  std::unique_ptr<storage::Overlay> overlay_;
  platform::File file_;
  platform::FileStamp stamp_;
};

// "block 3 (offset 3072)"
std::string BlockText(uint32_t number);

}  // namespace cli
