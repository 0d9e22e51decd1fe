#include "cli/copying.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/failure.h"
#include "cli/host.h"

namespace cli {

namespace {

constexpr uint32_t kPiece = 1024;  // blocks copied at once

// A file that is removed again unless it is finished.
class NewFile {
 public:
  NewFile(PmString path, const PmString& accessRightsOf) : path_(std::move(path)) {
    platform::File source;
    if (!file_.createNew(path_.c_str())) fail("make");
    file_.lock();  // so that it is known to be in the making
    if (source.open(accessRightsOf.c_str(), platform::Access::kRead)) file_.copyAccessRights(source);
  }
  ~NewFile() {
    if (!isFinished_) platform::Remove(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void append(const Bytes& bytes) {
    if (file_.writeAt(size_, bytes.data(), bytes.size()) != bytes.size()) fail("write");
    size_ += bytes.size();
  }

  void finish(const PmString& to, const std::string& toShown) {
    const bool written = file_.sync();
    if (!written || !file_.close()) fail("write");
    Finish(path_, to, toShown);
    isFinished_ = true;
  }

 private:
  [[noreturn]] void fail(const char* doing) const {
    throw Failure(ExitCode::kIoError, fmt::format("cannot {} {}{}", doing, ToUtf8(path_), call_.reason()));
  }

  SystemCall call_;
  PmString path_;
  platform::File file_;
  uint64_t size_ = 0;
  bool isFinished_ = false;
};

void CopyImage(const Image& from, const PmString& to, const std::string& toShown,
               const PmString& accessRightsOf) {
  NewFile file(UnfinishedName(to), accessRightsOf);
  const auto count = static_cast<uint32_t>(from.blocks().size());
  for (uint32_t first = 0; first < count; first += kPiece)
    file.append(from.readBlocks(first, std::min(kPiece, count - first)));
  file.append(from.file().readRest());
  file.finish(to, toShown);
}

}  // namespace

void RequireUnused(const PmString& path, const std::string& shown) {
  if (!platform::Exists(path.c_str())) return;
  throw Failure(ExitCode::kRefused, fmt::format("{} exists already", shown),
                "Name another file, or remove it first.");
}

void Finish(const PmString& unfinished, const PmString& to, const std::string& toShown) {
  const SystemCall call;
  if (platform::Rename(unfinished.c_str(), to.c_str()) && platform::SyncFolder(to.c_str())) return;
  throw Failure(ExitCode::kIoError,
                fmt::format("cannot rename {} to {}{}", ToUtf8(unfinished), toShown, call.reason()));
}

void CopyToNewFile(const Image& from, const PmString& to, const std::string& toShown) {
  RequireUnused(to, toShown);
  CopyImage(from, to, toShown, from.file().path());
}

void CopyToNewFile(const PmString& from, const PmString& to, const std::string& toShown) {
  RequireUnused(to, toShown);
  const BlockFile source(from, ToUtf8(from));
  NewFile file(UnfinishedName(to), from);
  Bytes piece;
  for (uint32_t first = 0; first < source.blockCount(); first += kPiece) {
    const uint32_t count = std::min(kPiece, source.blockCount() - first);
    piece.resize(size_t{count} * storage::kBlockSize);
    source.read(first, count, piece.data());
    file.append(piece);
  }
  file.append(source.readRest());
  file.finish(to, toShown);
}

void CopyOver(const Image& from, const PmString& to, const std::string& toShown) {
  CopyImage(from, to, toShown, platform::Exists(to.c_str()) ? to : from.file().path());
}

PmString UnusedName(const PmString& path, const std::string& suffix) {
  PmString name = WithSuffix(path, suffix);
  for (int i = 2; platform::Exists(name.c_str()); ++i)
    name = WithSuffix(path, fmt::format("{}.{}", suffix, i));
  return name;
}

PmString UnfinishedName(const PmString& path) {
  const VaultPath left(ToUtf8(WithSuffix(path, kUnfinishedSuffix)));
  if (left.exists() && !left.isLocked()) {
    for (const PmString& file : {left.journal, left.backup, left.file}) platform::Remove(file.c_str());
  }
  return UnusedName(path, kUnfinishedSuffix);
}

}  // namespace cli
