// The blocks of one file, opened for reading only.
#pragma once

#include <cstdint>
#include <string>

#include "cli/text.h"
#include "platform/platform.h"

namespace cli {

class BlockFile {
 public:
  // Fails when there is no such file or it cannot be read.
  BlockFile(PmString path, std::string shown);

  const PmString& path() const { return path_; }
  const std::string& shown() const { return shown_; }
  uint64_t size() const { return stamp_.size; }
  int64_t modified() const;  // seconds since 1970

  // The number of whole blocks, and the bytes behind them that make none.
  uint32_t blockCount() const;
  uint32_t restSize() const;

  // `count` whole blocks from `first` on.
  void read(uint32_t first, uint32_t count, uint8_t* bytes) const;
  Bytes readRest() const;

  // Whether the file was changed by someone since it was opened here.
  bool hasChanged() const;

 private:
  PmString path_;
  std::string shown_;
  platform::File file_;
  platform::FileStamp stamp_;
};

// "block 3 (offset 3072)"
std::string BlockText(uint32_t number);

}  // namespace cli
