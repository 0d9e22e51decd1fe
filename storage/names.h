// The names of the files beside a data file. Each is the data file's own with a full stop before it and a suffix of
// four characters behind it, so that a file system that takes one of them takes them all.
//
// The backup stands beside the path as the caller gives it, the others beside the file itself when the path is a
// symbolic link.
#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "storage/storage.h"

namespace storage {

inline constexpr char kBackupSuffix[] = ".bak";
inline constexpr char kJournalSuffix[] = ".pmj";
inline constexpr char kNewJournalSuffix[] = ".pmt";      // a journal that is being made
inline constexpr char kForeignJournalSuffix[] = ".pmo";  // one that was found beside a file that it is not of
inline constexpr char kForeignBackupSuffix[] = ".bko";   // the backup that stood beside it

constexpr size_t kAddedLength = sizeof kBackupSuffix;  // the full stop and the suffix
constexpr size_t kMaxBackupPath = kMaxPath + kAddedLength;
constexpr size_t kMaxJournalPath = platform::kMaxRealPath + kAddedLength;

// The index of the first character behind the last folder separator of a path, 0 without one.
size_t GetFileNameOffset(const PmChar* path);

// Puts the backup's path into `backup`, a buffer of kMaxBackupPath + 1 characters.
void GetBackupFileName(PmChar* backup, const PmChar* path);

struct BackupName {
  PmChar path[kMaxBackupPath + 1];
  explicit BackupName(const PmChar* dataPath) { GetBackupFileName(path, dataPath); }
};

// Puts the journal's path into `journal`, a buffer of kMaxJournalPath + 1 characters. False when the path is a
// symbolic link that leads nowhere.
bool GetJournalFileName(PmChar* journal, const PmChar* path);

// A path of this family with another suffix, in a buffer as large as that of `path`.
void ChangeSuffix(PmChar* changed, const PmChar* path, const char* suffix);

// Renames a file of this family to the same name with another suffix, and a number behind it when that name is
// taken. True also when there is no such file.
bool SetAside(const PmChar* path, const char* suffix);

}  // namespace storage
