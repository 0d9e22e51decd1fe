// Everything the operating system does for us, on one interface.
//
// posix.cpp (with writewatch) and win32.cpp each implement the whole of it; no other file of the
// library includes a system header.
// Paths are zero-terminated PmChar strings. On POSIX a path becomes UTF-8 (an unpaired surrogate is encoded
// as its three bytes, so no two paths collide) and '\' separates folders as '/' does.
//
// Invariants:
//  1. A File reads and writes at explicit positions and buffers nothing: what writeAt accepted has left the
//     process.
//  2. sync() and the functions on names report a failure of the medium; nothing here retries one. Only a file
//     that another program holds is waited for, and not for long.
//  3. Nothing but AllocateLarge() takes memory (heap.h), except where the system does so itself.
#pragma once

#include <cstdint>
#include <cstdio>

#include "platform/pmtypes.h"
#if !defined(_WIN32)
#include "platform/writewatch.h"
#endif

namespace platform {

// Which file it is, and how long.
struct FileIdentity {
  uint64_t volume = 0;
  uint64_t number = 0;
  uint64_t size = 0;
  bool sameFile(const FileIdentity& other) const { return volume == other.volume && number == other.number; }
};

// What tells one state of a file from another: with the time when it was last written.
struct FileStamp : FileIdentity {
  int64_t time = 0;
  bool operator==(const FileStamp& other) const {
    return sameFile(other) && size == other.size && time == other.time;
  }
};

enum class Access { kRead, kReadWrite };

// The byte that File::lock() locks: far above every length that a file may have.
constexpr uint64_t kLockPosition = uint64_t{1} << 62;

// An open file; the destructor closes it.
class File {
 public:
  File() = default;
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Opens an existing regular file. False when it cannot be opened; a directory never can. Others may read
  // and write it meanwhile. Windows keeps names in place: a file that is open to writing nobody renames or
  // removes, the process itself included, until it is closed; one that is open to reading alone stands in
  // nobody's way.
  bool open(const PmChar* path, Access access);

  // Makes a new empty file for reading and writing, for its owner alone (on Windows with the rights that
  // its folder gives). False when an entry of that name exists or the file cannot be made.
  bool createNew(const PmChar* path);

  bool isOpen() const;

  // Reads up to `size` bytes at `position`; the number read, short at the end of the file or on an error.
  size_t readAt(uint64_t position, void* bytes, size_t size) const;

  // Writes `size` bytes at `position`; the number written, short on an error.
  size_t writeAt(uint64_t position, const void* bytes, size_t size);

  // Has the medium begin with bytes that were just written there and that a sync() will soon wait for, where the system
  // can: on a piece of the file as soon as the next bytes go to another one.
  void startSync(uint64_t position, uint64_t size);

  bool setSize(uint64_t size);

  // Takes room on the medium for `size` bytes from `position` on, the file's length staying as it is.
  // kUnknown where the system cannot promise that.
  enum class Room { kTaken, kNone, kUnknown };
  Room reserve(uint64_t position, uint64_t size);

  // Carries everything written so far to the medium.
  bool sync();

  // Locks the file for this open file, until it is closed or its process ends. False when another open file,
  // of this process or another one, holds the lock. On a file system without locks nobody ever does.
  bool lock();

  void unlock();

  // Gives this new file the access rights of `other`, where the system keeps them with a file: on POSIX owner, group
  // and mode, and without the group its rights neither; on Windows as a list of its own, which the folder's does not
  // change any more.
  bool copyAccessRights(const File& other);

  // False when the system does not answer.
  bool identify(FileIdentity* result) const;
  bool stamp(FileStamp* result) const;

  // Notes the state of the file, and tells whether it is in that state still: by its identity, its length and that
  // nobody has written into it since, as far as the system tells; else by its time. Systems that keep times apart which
  // somebody has asked for let the flushes of all files pay for it: from then on each carries a new time along.
  bool note(FileStamp* state);
  bool isAs(const FileStamp& state) const;

  // Closes; false when the system reports an error that it had kept back. Closing a closed file is true.
  bool close();

 private:
#if defined(_WIN32)
  void* handle_ = nullptr;
#else
  int descriptor_ = -1;
  WriteWatch watch_;
  uint64_t writtenPiece_ = 0;
#endif
  bool locked_ = false;
};

// Whether an entry of that name (a file or a directory) exists; no when the system does not say.
bool Exists(const PmChar* path);

// Whether the system says that there is no entry of that name.
bool IsMissing(const PmChar* path);

// The size in bytes, 0 for a directory, kNoSize when no entry of that name exists.
constexpr int64_t kNoSize = -1;
int64_t SizeOf(const PmChar* path);

bool IdentityOf(const PmChar* path, FileIdentity* result);
bool StampOf(const PmChar* path, FileStamp* result);

// Whether a file was written so lately that the system may give another write the same time.
bool IsFresh(const FileStamp& stamp);

// Puts a path into the form in which it is kept and compared, a buffer of `room` characters: with this
// system's own separators. False when it does not fit, and on Windows for one that names no file of its own
// beside which another may stand: a stream of a file, a file in a drive's current folder ("c:name"), a name
// whose full stop or blank at the end the system would leave out.
bool ToOwnForm(const PmChar* path, PmChar* own, size_t room);

// Whether the file system takes a name: no when it is too long for it, or holds what no name may.
bool TakesName(const PmChar* path);

// The longest path that FollowLinks() gives, without its terminator.
constexpr size_t kMaxRealPath = 4095;

// Puts the path of the file itself into `real`, a buffer of kMaxRealPath + 1 characters: `path` as it is, but
// that of its target when it names a symbolic link, and on Windows with the file's own name for its short
// one. False when that leads nowhere.
bool FollowLinks(const PmChar* path, PmChar* real);

// Removes a caller's file, as the system does it.
bool Delete(const PmChar* path);

// Removes a file of our own, also one that was made read-only. True only when its name is free: Windows keeps
// the name of a removed file as long as another program has it open.
bool Remove(const PmChar* path);

// Gives a file another name in the same folder, replacing a file that has it. The names are durable after the
// next SyncFolder of either path.
bool Rename(const PmChar* from, const PmChar* to);

// Carries the names in the folder that holds `path` to the medium.
bool SyncFolder(const PmChar* path);

// Sets or clears the hidden attribute. Hiding succeeds and does nothing where a file system has none.
bool SetHidden(const PmChar* path, bool hidden);

// A standard stream on a wide path, or null; `mode` as for fopen, at most 4 characters of it.
std::FILE* OpenStream(const PmChar* path, const char* mode);

// Sets the length of the file at `path`, creating it when it is missing. False when the length could not be set; true
// also when the file cannot be opened at all.
bool SetLength(const PmChar* path, int32_t size);

// Puts the full path of the running program into a buffer of `size` characters; its length, or 0 on failure.
// A path that does not fit is cut to size - 1 characters, and the result is `size`.
int32_t ProgramPath(PmChar* buffer, int32_t size);

// The separator that ends a folder in this system's own paths.
PmChar FolderSeparator();

// Whether `c` ends the folder part of a path.
bool IsFolderSeparator(PmChar c);

// So many bytes in large pages a system has at hand. More of them have to be made, in a virtual machine by its host as
// well, and cost more than the small ones.
constexpr size_t kLargePagesAtHand = size_t{32} << 20;

// Memory that may be large, to be given back with Release() (heap.h); null when there is none. Where the system has
// large pages, it stands in them as far as they are at hand: most of what filling it for the first time costs is being
// given its pages one by one.
void* AllocateLarge(size_t size);

// Gives memory that is about to be filled its pages in one go, where the system does that.
void Populate(void* memory, size_t size);

// Fills memory with random bytes that nobody can foresee. False when the system has none to give.
bool Random(void* bytes, size_t size);

// Overwrites memory with zeros in a way the compiler does not remove.
void Wipe(void* bytes, size_t size);

#if defined(_WIN32)
// Asks the system not to call a library's entry point when threads come and go; `module` is the library's
// own.
void QuietThreadNotifications(void* module);

// A value for the stack protector that differs from process to process. Needs nothing that is not loaded yet.
uintptr_t StackGuard();

// Ends the process where it stands, as the system has it for a stack that was overrun.
[[noreturn]] void StopProcess();
#endif

}  // namespace platform
