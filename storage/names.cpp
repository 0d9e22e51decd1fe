#include "storage/names.h"

#include <algorithm>

#include "commonbase/src/pmstring.h"

namespace storage {

namespace {

constexpr uint32_t kSuffixLength = sizeof kBackupSuffix - 1;

PmChar* Append(PmChar* end, const char* text) {
  while (*text != 0) *end++ = static_cast<PmChar>(*text++);
  *end = 0;
  return end;
}

void GetNameBeside(PmChar* beside, const PmChar* path, const char* suffix) {
  const PmChar* name = path + GetFileNameOffset(path);
  PmChar* end = Append(std::copy(path, name, beside), ".");
  Append(std::copy(name, name + commonbase::LengthOf(name), end), suffix);
}

}  // namespace

size_t GetFileNameOffset(const PmChar* path) {
  size_t offset = 0;
  for (size_t i = 0; path[i] != 0; ++i) {
    if (platform::IsFolderSeparator(path[i])) offset = i + 1;
  }
  return offset;
}

void GetBackupFileName(PmChar* backup, const PmChar* path) {
  GetNameBeside(backup, path, kBackupSuffix);
}

bool GetJournalFileName(PmChar* journal, const PmChar* path) {
  PmChar real[platform::kMaxRealPath + 1];
  if (!platform::FollowLinks(path, real)) return false;
  GetNameBeside(journal, real, kJournalSuffix);
  return true;
}

void ChangeSuffix(PmChar* changed, const PmChar* path, const char* suffix) {
  PmChar* end = std::copy(path, path + commonbase::LengthOf(path), changed);
  Append(end - kSuffixLength, suffix);
}

bool SetAside(const PmChar* path, const char* suffix) {
  if (!platform::Exists(path)) return platform::IsMissing(path);
  constexpr char kDigits[] = "0123456789";
  PmChar aside[kMaxJournalPath + 3];
  ChangeSuffix(aside, path, suffix);
  PmChar* end = aside + commonbase::LengthOf(aside);
  for (int number = 2; platform::Exists(aside); ++number) {
    if (number == 100) return false;
    const char text[] = {kDigits[number / 10], kDigits[number % 10], 0};
    Append(end, text);
  }
  return platform::Rename(path, aside);
}

}  // namespace storage
