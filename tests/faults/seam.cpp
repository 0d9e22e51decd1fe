#include "tests/faults/seam.h"

#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <map>
#include <random>
#include <set>

// The linker's names: __wrap_x stands in for x, and __real_x is the system's own.
extern "C" {
int __real_open64(const char*, int, ...);
ssize_t __real_pread64(int, void*, size_t, off64_t);
ssize_t __real_pwrite64(int, const void*, size_t, off64_t);
int __real_ftruncate64(int, off64_t);
int __real_close(int);
int __real_rename(const char*, const char*);
int __real_unlink(const char*);
void __real_free(void*);
void __real__ZN10commonbase10MemoryPool4giveEPvm(void*, void*, size_t);
}

namespace seam {
namespace {

// What a call is, for the faults that strike only some.
enum Trait { kPlain = 1, kNeedsRoom = 2, kWrites = 4, kFlushes = 8, kAllocates = 16 };
constexpr int kAnyCall = kPlain | kNeedsRoom | kWrites | kFlushes;
constexpr int kStruck[] = {0,        kAnyCall, kNeedsRoom, kWrites,
                           kFlushes, kWrites,  kAnyCall,   kAllocates};  // by fault

Fault armed = Fault::kNone;
int strikeAt, eligibleNum, nextNumber;
bool untilDisarmed;
std::string ending;
std::vector<Change>* recorded;
std::map<ino_t, int> numbers;
struct Opened {
  ino_t file;
  std::string name;
};
std::map<int, Opened> opened;  // by descriptor
std::set<int> owing;           // descriptors whose next flush tells of a lost write
std::mt19937 storm;

// Looks at memory that is given back.
void LookAt(const void* memory, size_t size) {
  if (watched != nullptr && memory != nullptr && memmem(memory, size, watched, strlen(watched)) != nullptr)
    ++foundInFreed;
}

bool CanStrike(int traits) {
  // Where writes stay short, what would mend the first one fails too.
  const bool mends = armed == Fault::kShortWrite && struck != 0 && untilDisarmed;
  return (traits & (mends ? kNeedsRoom : kStruck[static_cast<int>(armed)])) != 0;
}

// Counts a call; whether it has to fail.
bool Strikes(int traits, const std::string& name = "") {
  if (suspended || !CanStrike(traits)) return false;
  if (name.size() < ending.size() || name.compare(name.size() - ending.size(), ending.size(), ending) != 0)
    return false;
  const int number = eligibleNum++;
  if (armed == Fault::kStorm) {
    if (storm() % (static_cast<unsigned>(strikeAt) + 1) != 0) return false;
  } else if (number < strikeAt || (number > strikeAt && !untilDisarmed)) {
    return false;
  }
  ++struck;
  errno = armed == Fault::kNoSpace ? ENOSPC : EIO;
  return true;
}

bool Strikes(int traits, int descriptor) {
  return Strikes(traits, ending.empty() ? ending : opened[descriptor].name);
}

struct stat StatusOf(int descriptor) {
  struct stat status {};
  fstat(descriptor, &status);
  return status;
}

int NumberOf(int descriptor) {
  const auto [place, isNew] = numbers.try_emplace(StatusOf(descriptor).st_ino, nextNumber);
  if (isNew) ++nextNumber;
  return place->second;
}

std::string Base(const char* path) {
  return std::filesystem::path(path).filename();
}

Change& Note(Change::Kind kind, int descriptor, const char* name = "", const char* newName = "") {
  recorded->push_back({kind, descriptor < 0 ? 0 : NumberOf(descriptor), Base(name), Base(newName)});
  if (descriptor >= 0) recorded->back().size = static_cast<uint64_t>(StatusOf(descriptor).st_size);
  return recorded->back();
}

void NoteWrite(int descriptor, off64_t at, ssize_t written, bool lost = false) {
  if (recorded == nullptr || written <= 0) return;
  Change& change = Note(Change::kWrite, descriptor);
  change.lost = lost;
  change.position = static_cast<uint64_t>(at) / kSector * kSector;
  const uint64_t end = (static_cast<uint64_t>(at + written) + kSector - 1) / kSector * kSector;
  change.bytes.resize(end - change.position);
  __real_pread64(descriptor, change.bytes.data(), change.bytes.size(), static_cast<off64_t>(change.position));
}

template <typename Call>
ssize_t Write(int descriptor, off64_t at, size_t size, Call call) {
  const bool strikes = Strikes(kNeedsRoom | kWrites, descriptor),
             lost = strikes && armed == Fault::kLostWrite;
  if (strikes && !lost) {
    if (armed != Fault::kShortWrite && (armed != Fault::kStorm || storm() % 2 == 0)) return -1;
    size /= 2;
  }
  const ssize_t written = call(size);
  NoteWrite(descriptor, at, written, lost);
  for (const auto& [other, file] : opened)
    if (lost && file.file == opened[descriptor].file) owing.insert(other);
  return written;
}

// A flush of a file or a folder. What the medium may hold is worked out, so nothing waits for it.
int Flush(int descriptor) {
  const bool owes = owing.erase(descriptor) != 0, fails = Strikes(kFlushes, descriptor) || owes;
  struck += owes;
  if (fails) ++failedFlushes[opened[descriptor].name];
  const bool isFolder = S_ISDIR(StatusOf(descriptor).st_mode);
  if (recorded != nullptr && !(isFolder && fails))
    Note(isFolder ? Change::kSyncFolder : fails ? Change::kFailedSync : Change::kSyncFile, descriptor);
  return fails ? -1 : 0;
}

}  // namespace

void Arm(Fault fault, int at, bool fromThenOn, uint32_t seed, const std::string& nameEnding) {
  armed = fault;
  storm.seed(seed);
  strikeAt = at;
  untilDisarmed = fromThenOn;
  ending = nameEnding;
  eligibleNum = struck = 0;
  owing.clear();
}

void Disarm() {
  armed = Fault::kNone;
}

void Record(std::vector<Change>* changes, const std::string& folder) {
  recorded = changes;
  if (changes == nullptr) return;
  numbers.clear();
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const int descriptor = __real_open64(entry.path().c_str(), O_RDONLY);
    Note(Change::kCreate, descriptor, entry.path().c_str());
    NoteWrite(descriptor, 0, static_cast<ssize_t>(entry.file_size()));
    Note(Change::kSyncFile, descriptor);
    __real_close(descriptor);
  }
  Note(Change::kSyncFolder, -1);
}

extern "C" {

int __wrap_open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const bool creates = (flags & O_CREAT) != 0;
  const mode_t mode = creates ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  if (Strikes(creates ? kNeedsRoom : kPlain, path)) return -1;
  const int descriptor = __real_open64(path, flags, mode);
  if (descriptor >= 0) opened[descriptor] = {StatusOf(descriptor).st_ino, path};
  if (descriptor < 0 || !creates || recorded == nullptr) return descriptor;
  numbers.erase(StatusOf(descriptor).st_ino);  // the system may use the number of a removed file again
  Note(Change::kCreate, descriptor, path);
  return descriptor;
}

ssize_t __wrap_pwrite64(int descriptor, const void* bytes, size_t size, off64_t at) {
  return Write(descriptor, at, size,
               [&](size_t part) { return __real_pwrite64(descriptor, bytes, part, at); });
}

int __wrap_ftruncate64(int descriptor, off64_t size) {
  const int result = Strikes(kNeedsRoom, descriptor) ? -1 : __real_ftruncate64(descriptor, size);
  if (result == 0 && recorded != nullptr) Note(Change::kSetSize, descriptor);
  return result;
}

int __wrap_fsync(int descriptor) {
  return Flush(descriptor);
}

int __wrap_fdatasync(int descriptor) {
  return Flush(descriptor);
}

int __wrap_close(int descriptor) {
  const bool fails = Strikes(kFlushes, descriptor);
  opened.erase(descriptor);
  owing.erase(descriptor);
  const int result = __real_close(descriptor);  // a descriptor is gone even when closing it fails
  return fails ? -1 : result;
}

int __wrap_rename(const char* from, const char* to) {
  const int result = Strikes(kNeedsRoom, to) ? -1 : __real_rename(from, to);
  if (result != 0 || recorded == nullptr) return result;
  const int descriptor = __real_open64(to, O_RDONLY);
  Note(Change::kRename, descriptor, from, to);
  return __real_close(descriptor);
}

int __wrap_unlink(const char* path) {
  const int result = Strikes(kPlain, path) ? -1 : __real_unlink(path);
  if (result == 0 && recorded != nullptr) Note(Change::kRemove, -1, path);
  return result;
}

// Calls that are only struck; each gives `failed` then. `on` is the file.
#define PASS(traits, on, failed, result, name, parameters, arguments) \
  result __real_##name parameters;                                    \
  result __wrap_##name parameters {                                   \
    return Strikes(traits, on) ? failed : __real_##name arguments;    \
  }
PASS(kPlain, path, -1, int, lstat64, (const char* path, struct stat64* status), (path, status))
PASS(kPlain, path, -1, int, stat64, (const char* path, struct stat64* status), (path, status))
PASS(kPlain, descriptor, -1, int, fstat64, (int descriptor, struct stat64* status), (descriptor, status))
PASS(kPlain, *path != 0 ? path : opened[folder].name, -1, int, statx,
     (int folder, const char* path, int flags, unsigned mask, struct statx* status),
     (folder, path, flags, mask, status))
PASS(kPlain, descriptor, -1, int, inotify_add_watch, (int descriptor, const char* path, uint32_t mask),
     (descriptor, path, mask))
PASS(kPlain, descriptor, -1, int, fchmod, (int descriptor, mode_t mode), (descriptor, mode))
PASS(kPlain, descriptor, -1, ssize_t, pread64, (int descriptor, void* bytes, size_t size, off64_t at),
     (descriptor, bytes, size, at))
PASS(kNeedsRoom, path, -1, int, setxattr,
     (const char* path, const char* name, const void* value, size_t size, int flags),
     (path, name, value, size, flags))
PASS(kPlain, path, -1, int, removexattr, (const char* path, const char* name), (path, name))
int __real_fallocate64(int, int, off64_t, off64_t);
int __wrap_fallocate64(int descriptor, int mode, off64_t at, off64_t size) {
  if (Strikes(kNeedsRoom, descriptor)) return -1;
  errno = EOPNOTSUPP;
  return obliges ? __real_fallocate64(descriptor, mode, at, size) : -1;
}

int __real_inotify_init1(int);
int __wrap_inotify_init1(int flags) {
  return obliges ? __real_inotify_init1(flags) : -1;
}

PASS(kPlain, descriptor, -1, int, fcntl64, (int descriptor, int command, void* argument),
     (descriptor, command, argument))
PASS(kPlain, "", -1, ssize_t, getrandom, (void* bytes, size_t size, unsigned flags), (bytes, size, flags))
PASS(kPlain, path, nullptr, char*, realpath, (const char* path, char* real), (path, real))
PASS(kAllocates, "", nullptr, void*, malloc, (size_t size), (size))
PASS(kAllocates, "", nullptr, void*, realloc, (void* memory, size_t size), (memory, size))
PASS(kAllocates, "", ENOMEM, int, posix_memalign, (void** memory, size_t alignment, size_t size),
     (memory, alignment, size))
PASS(kAllocates, "", nullptr, void*, _ZN10commonbase10MemoryPool4takeEm, (void* pool, size_t size),
     (pool, size))
#undef PASS

void __wrap_free(void* memory) {
  LookAt(memory, malloc_usable_size(memory));
  __real_free(memory);
}

void __wrap__ZN10commonbase10MemoryPool4giveEPvm(void* pool, void* block, size_t size) {
  LookAt(block, size);
  __real__ZN10commonbase10MemoryPool4giveEPvm(pool, block, size);
}

}  // extern "C"

}  // namespace seam
