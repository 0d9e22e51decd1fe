#include "cli/copying.h"

#include <fmt/format.h>

#include "cli/failure.h"

namespace cli {

void CopyToNewFile(const PmString& from, const PmString& to, const std::string& toShown) {
  platform::File source;
  platform::File target;
  platform::FileStamp stamp;
  if (!source.open(from.c_str(), platform::Access::kRead) || !source.stamp(&stamp)) {
    throw Failure(ExitCode::kIoError, fmt::format("cannot read {}", ToUtf8(from)));
  }
  if (platform::Exists(to.c_str())) {
    throw Failure(ExitCode::kRefused, fmt::format("{} exists already", toShown),
                  "Name another file, or remove it first.");
  }
  if (!target.createNew(to.c_str())) {
    throw Failure(ExitCode::kIoError, fmt::format("cannot make {}", toShown),
                  "Check that its folder exists and that you may write there.");
  }
  target.copyAccessRights(source);
  const bool written = target.copyRange(source, 0, stamp.size) && target.sync();
  if (target.close() && written && platform::SyncFolder(to.c_str())) return;
  platform::Remove(to.c_str());
  throw Failure(ExitCode::kIoError, fmt::format("cannot write {}", toShown), "The disk may be full.");
}

void CopyOver(const PmString& from, const PmString& to, const std::string& toShown) {
  const PmString whileCopied = UnusedName(to, ".new");
  CopyToNewFile(from, whileCopied, ToUtf8(whileCopied));
  if (platform::Rename(whileCopied.c_str(), to.c_str()) && platform::SyncFolder(to.c_str())) return;
  platform::Remove(whileCopied.c_str());
  throw Failure(ExitCode::kIoError, fmt::format("cannot write {}", toShown));
}

PmString UnusedName(const PmString& path, const std::string& suffix) {
  PmString name = path + RequireUtf8(suffix, "suffix");
  for (int i = 2; platform::Exists(name.c_str()); ++i)
    name = path + RequireUtf8(fmt::format("{}.{}", suffix, i), "suffix");
  return name;
}

}  // namespace cli
