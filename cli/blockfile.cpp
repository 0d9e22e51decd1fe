#include "cli/blockfile.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>

#include "cli/failure.h"
#include "cli/host.h"
#include "storage/format.h"

namespace cli {

namespace fs = std::filesystem;
using storage::kBlockSize;

std::string BlockText(uint32_t number) {
  return fmt::format("block {} (offset {})", number, uint64_t{number} * kBlockSize);
}

BlockFile::BlockFile(PmString path, std::string shown) : path_(std::move(path)), shown_(std::move(shown)) {
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
}

int64_t BlockFile::modified() const {
  std::error_code error;
  const fs::file_time_type time = fs::last_write_time(fs::u8path(shown_), error);
  if (error) return 0;
  // The file clock's epoch is its own; its distance from now is the same on every clock.
  const auto age = std::chrono::duration_cast<std::chrono::seconds>(fs::file_time_type::clock::now() - time);
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) - age.count();
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
  if (file_.readAt(uint64_t{first} * kBlockSize, bytes, wanted) == wanted) return;
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
  return !platform::StampOf(path_.c_str(), &now) || !(now == stamp_);
}

}  // namespace cli
