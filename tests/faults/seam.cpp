#include "tests/faults/seam.h"

#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdarg>
#include <map>

namespace seam {
namespace {

// What a call is, for the faults that strike only some.
enum Trait { kPlain = 0, kNeedsRoom = 1, kWrites = 2, kFlushes = 4 };

Fault armed = Fault::kNone;
int strikeAt, eligibleNum, callNum;
bool untilDisarmed, struck, suspended;
std::vector<Change>* recorded;
std::map<ino_t, int> numbers;
int nextNumber;

bool CanStrike(int traits) {
  switch (armed) {
    case Fault::kNone:
      return false;
    case Fault::kNoSpace:
      return (traits & kNeedsRoom) != 0;
    case Fault::kShortWrite:
      return (traits & kWrites) != 0;
    case Fault::kFailedFlush:
      return (traits & kFlushes) != 0;
    default:
      return true;
  }
}

// Counts a call; whether it has to fail.
bool Strikes(int traits) {
  if (suspended) return false;
  ++callNum;
  if (!CanStrike(traits)) return false;
  const int number = eligibleNum++;
  if (number < strikeAt || (number > strikeAt && !untilDisarmed)) return false;
  if (armed == Fault::kDeath) _exit(0);
  struck = true;
  errno = armed == Fault::kNoSpace ? ENOSPC : EIO;
  return true;
}

int NumberOf(ino_t inode) {
  const auto [place, isNew] = numbers.try_emplace(inode, nextNumber);
  if (isNew) ++nextNumber;
  return place->second;
}

int NumberOf(int descriptor, uint64_t* size = nullptr, bool* isFolder = nullptr) {
  struct stat status {};
  fstat(descriptor, &status);
  if (size != nullptr) *size = static_cast<uint64_t>(status.st_size);
  if (isFolder != nullptr) *isFolder = S_ISDIR(status.st_mode);
  return NumberOf(status.st_ino);
}

std::string Base(const char* path) {
  const std::string text = path;
  return text.substr(text.rfind('/') + 1);
}

void Note(Change::Kind kind, int file, std::string name = "", std::string newName = "") {
  recorded->push_back({kind, file, 0, {}, 0, std::move(name), std::move(newName)});
}

extern "C" ssize_t __real_pread64(int, void*, size_t, off64_t);

void NoteWrite(int descriptor, off64_t at, ssize_t written) {
  if (recorded == nullptr || written <= 0) return;
  Change change{Change::kWrite, 0, 0, {}, 0, "", ""};
  change.file = NumberOf(descriptor, &change.size);
  change.position = static_cast<uint64_t>(at) / kSector * kSector;
  const uint64_t end = (static_cast<uint64_t>(at + written) + kSector - 1) / kSector * kSector;
  change.bytes.resize(end - change.position);
  __real_pread64(descriptor, change.bytes.data(), change.bytes.size(), static_cast<off64_t>(change.position));
  recorded->push_back(std::move(change));
}

// A flush of a file or a folder. What the medium may hold is worked out, so nothing waits for it.
int Flush(int descriptor) {
  const bool fails = Strikes(kFlushes);
  if (recorded != nullptr) {
    bool isFolder;
    const int file = NumberOf(descriptor, nullptr, &isFolder);
    if (!isFolder) Note(fails ? Change::kFailedSync : Change::kSyncFile, file);
    if (isFolder && !fails) Note(Change::kSyncFolder, file);
  }
  return fails ? -1 : 0;
}

int allocationNum, failingAllocation = -1, foundInFreed;
const char* watched;

bool AllocationFails() {
  return allocationNum++ == failingAllocation;
}

void Inspect(void* memory) {
  if (watched == nullptr || memory == nullptr) return;
  if (memmem(memory, malloc_usable_size(memory), watched, strlen(watched)) != nullptr) ++foundInFreed;
}

}  // namespace

void Arm(Fault fault, int at, bool fromThenOn) {
  armed = fault;
  strikeAt = at;
  untilDisarmed = fromThenOn;
  struck = false;
  eligibleNum = callNum = 0;
}

void Disarm() {
  armed = Fault::kNone;
}

void Suspend(bool isSuspended) {
  suspended = isSuspended;
}

bool Struck() {
  return struck;
}

int CallNum() {
  return callNum;
}

void Record(std::vector<Change>* changes) {
  recorded = changes;
  numbers.clear();
  nextNumber = 0;
}

int FileNumber(const std::string& path) {
  struct stat status {};
  stat(path.c_str(), &status);
  return NumberOf(status.st_ino);
}

void FailAllocation(int at) {
  allocationNum = 0;
  failingAllocation = at;
}

int AllocationNum() {
  return allocationNum;
}

void WatchFreed(const char* text) {
  watched = text;
  foundInFreed = 0;
}

int FoundInFreed() {
  return foundInFreed;
}

extern "C" {

// The linker's names: __wrap_x stands in for x, and __real_x is the system's own.
int __real_open64(const char*, int, ...);
int __wrap_open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  const bool creates = (flags & O_CREAT) != 0;
  if (Strikes(creates ? kNeedsRoom : kPlain)) return -1;
  const int descriptor = __real_open64(path, flags, mode);
  if (descriptor >= 0 && creates && recorded != nullptr) {
    struct stat status {};
    fstat(descriptor, &status);
    numbers.erase(status.st_ino);  // the system may use the number of a removed file again
    Note(Change::kCreate, NumberOf(status.st_ino), Base(path));
  }
  return descriptor;
}

ssize_t __wrap_pread64(int descriptor, void* bytes, size_t size, off64_t at) {
  return Strikes(kPlain) ? -1 : __real_pread64(descriptor, bytes, size, at);
}

ssize_t __real_pwrite64(int, const void*, size_t, off64_t);
ssize_t __wrap_pwrite64(int descriptor, const void* bytes, size_t size, off64_t at) {
  if (Strikes(kNeedsRoom | kWrites)) {
    if (armed != Fault::kShortWrite) return -1;
    size /= 2;
  }
  const ssize_t written = __real_pwrite64(descriptor, bytes, size, at);
  NoteWrite(descriptor, at, written);
  return written;
}

ssize_t __real_copy_file_range(int, off64_t*, int, off64_t*, size_t, unsigned);
ssize_t __wrap_copy_file_range(int from, off64_t* at, int to, off64_t* target, size_t size, unsigned flags) {
  if (Strikes(kNeedsRoom | kWrites)) {
    if (armed != Fault::kShortWrite) return -1;
    size /= 2;
  }
  const off64_t start = *target;
  const ssize_t copied = __real_copy_file_range(from, at, to, target, size, flags);
  NoteWrite(to, start, copied);
  return copied;
}

int __real_ftruncate64(int, off64_t);
int __wrap_ftruncate64(int descriptor, off64_t size) {
  if (Strikes(kNeedsRoom)) return -1;
  const int result = __real_ftruncate64(descriptor, size);
  if (result == 0 && recorded != nullptr) {
    Note(Change::kSetSize, NumberOf(descriptor));
    recorded->back().size = static_cast<uint64_t>(size);
  }
  return result;
}

int __wrap_fsync(int descriptor) {
  return Flush(descriptor);
}

int __wrap_fdatasync(int descriptor) {
  return Flush(descriptor);
}

int __real_close(int);
int __wrap_close(int descriptor) {
  const bool fails = Strikes(kFlushes);
  const int result = __real_close(descriptor);  // a descriptor is gone even when closing it fails
  if (fails) errno = armed == Fault::kNoSpace ? ENOSPC : EIO;
  return fails ? -1 : result;
}

int __real_rename(const char*, const char*);
int __wrap_rename(const char* from, const char* to) {
  if (Strikes(kNeedsRoom)) return -1;
  const int file = recorded != nullptr ? FileNumber(from) : 0;
  const int result = __real_rename(from, to);
  if (result == 0 && recorded != nullptr) Note(Change::kRename, file, Base(from), Base(to));
  return result;
}

int __real_unlink(const char*);
int __wrap_unlink(const char* path) {
  if (Strikes(kPlain)) return -1;
  const int result = __real_unlink(path);
  if (result == 0 && recorded != nullptr) Note(Change::kRemove, 0, Base(path));
  return result;
}

int __real_lstat64(const char*, struct stat64*);
int __wrap_lstat64(const char* path, struct stat64* status) {
  return Strikes(kPlain) ? -1 : __real_lstat64(path, status);
}

int __real_stat64(const char*, struct stat64*);
int __wrap_stat64(const char* path, struct stat64* status) {
  return Strikes(kPlain) ? -1 : __real_stat64(path, status);
}

int __real_fstat64(int, struct stat64*);
int __wrap_fstat64(int descriptor, struct stat64* status) {
  return Strikes(kPlain) ? -1 : __real_fstat64(descriptor, status);
}

int __real_fchmod(int, mode_t);
int __wrap_fchmod(int descriptor, mode_t mode) {
  return Strikes(kPlain) ? -1 : __real_fchmod(descriptor, mode);
}

int __real_setxattr(const char*, const char*, const void*, size_t, int);
int __wrap_setxattr(const char* path, const char* name, const void* value, size_t size, int flags) {
  return Strikes(kNeedsRoom) ? -1 : __real_setxattr(path, name, value, size, flags);
}

void* __real_malloc(size_t);
void* __wrap_malloc(size_t size) {
  return AllocationFails() ? nullptr : __real_malloc(size);
}

void* __real_calloc(size_t, size_t);
void* __wrap_calloc(size_t number, size_t size) {
  return AllocationFails() ? nullptr : __real_calloc(number, size);
}

void* __real_realloc(void*, size_t);
void* __wrap_realloc(void* memory, size_t size) {
  return AllocationFails() ? nullptr : __real_realloc(memory, size);
}

void __real_free(void*);
void __wrap_free(void* memory) {
  Inspect(memory);
  __real_free(memory);
}

}  // extern "C"

}  // namespace seam
