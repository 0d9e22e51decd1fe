// The platform layer on Linux.
#if !defined(_FILE_OFFSET_BITS)
#define _FILE_OFFSET_BITS 64
#endif

#include "platform/descriptor.h"
#include "platform/heap.h"
#include "platform/platform.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace platform {
namespace {

// The attribute in which SMB servers and Windows compatibility layers keep a file's DOS attributes: the
// number in hexadecimal text, without a terminator. 0x2 is the hidden attribute.
constexpr char kDosAttributes[] = "user.DOSATTRIB";
constexpr char kHidden[] = "0x2";

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kAccessRights = S_IRWXU | S_IRWXG | S_IRWXO;

// Calls a system function again as long as a signal interrupts it.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

constexpr size_t kLargePage = size_t{2} << 20;
constexpr uint64_t kWriteBackPiece = uint64_t{512} << 10;

// Lets the medium begin with what was written to the pieces of a file from number `first` to `end`. Nothing
// waits for it here, and only sync() tells whether it succeeded.
void StartWriteBack(int descriptor, uint64_t first, uint64_t end) {
  sync_file_range(descriptor, static_cast<off_t>(first * kWriteBackPiece),
                  static_cast<off_t>((end - first) * kWriteBackPiece), SYNC_FILE_RANGE_WRITE);
}

// A path as the system takes it. A null path, and one longer than the system takes any, become the empty
// path, which names nothing, so that whatever is tried with it fails.
class Utf8Path {
 public:
  explicit Utf8Path(const PmChar* path) {
    if (path == nullptr || !convert(path)) bytes_[0] = '\0';
  }

  const char* get() const { return bytes_; }

  // Turns the path into that of the folder that holds it. False for the empty path.
  bool toFolder() {
    if (bytes_[0] == '\0') return false;
    char* separator = strrchr(bytes_, '/');
    if (separator == nullptr) {
      bytes_[0] = '.';
      bytes_[1] = '\0';
    } else {
      separator[separator == bytes_ ? 1 : 0] = '\0';
    }
    return true;
  }

 private:
  // The most bytes that one character takes, and the terminator.
  static constexpr size_t kRoom = 4 + 1;

  bool convert(const PmChar* path) {
    size_t length = 0;
    for (const PmChar* unit = path; *unit != 0; ++unit) {
      if (length + kRoom > sizeof bytes_) return false;
      uint32_t character = *unit;
      if (character == '\\') character = '/';
      const bool pair = (character & 0xFC00) == 0xD800 && (unit[1] & 0xFC00) == 0xDC00;
      if (pair) character = 0x10000 + ((character & 0x3FF) << 10) + (*++unit & 0x3FFU);
      length = append(character, length);
    }
    bytes_[length] = '\0';
    return true;
  }

  size_t append(uint32_t character, size_t length) {
    if (character < 0x80) {
      bytes_[length++] = static_cast<char>(character);
      return length;
    }
    const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    const uint32_t mark = (0xFF00U >> (following + 1)) & 0xFF;
    bytes_[length++] = static_cast<char>(mark | character >> (6 * following));
    for (int i = following - 1; i >= 0; --i)
      bytes_[length++] = static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F));
    return length;
  }

  char bytes_[PATH_MAX - 1 + kRoom];
};

// Opens a regular file, or gives -1. Not blocking keeps a pipe from holding us up; only a regular file that
// somebody else holds a lease on answers that it would block, and that one is worth waiting for.
int OpenRegular(const char* path, int flags) {
  flags |= O_CLOEXEC | O_NOCTTY;
  int descriptor = Uninterrupted([&] { return ::open(path, flags | O_NONBLOCK); });
  if (descriptor < 0 && errno == EWOULDBLOCK) descriptor = Uninterrupted([&] { return ::open(path, flags); });
  descriptor = AboveStandardStreams(descriptor);
  if (descriptor < 0) return -1;

  struct stat status;
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) return descriptor;
  ::close(descriptor);
  return -1;
}

bool SetLock(int descriptor, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(kLockPosition);
  lock.l_len = 1;
  return Uninterrupted([&] { return fcntl(descriptor, F_OFD_SETLK, &lock); }) == 0;
}

FileStamp ToStamp(const struct stat& status) {
  FileStamp stamp;
  stamp.volume = status.st_dev;
  stamp.number = status.st_ino;
  stamp.size = static_cast<uint64_t>(status.st_size);
  stamp.time = static_cast<int64_t>(static_cast<uint64_t>(status.st_mtim.tv_sec) * 1000000000U +
                                    static_cast<uint64_t>(status.st_mtim.tv_nsec));
  return stamp;
}

// By its path, or by a descriptor and an empty path.
bool Identify(int folder, const char* path, FileIdentity* result) {
  struct statx status;
  if (statx(folder, path, *path == 0 ? AT_EMPTY_PATH : 0, STATX_INO | STATX_SIZE, &status) != 0) return false;
  result->volume = makedev(status.stx_dev_major, status.stx_dev_minor);
  result->number = status.stx_ino;
  result->size = status.stx_size;
  return true;
}

// The next character of UTF-8 text; a byte that starts none is replaced. The surrogates that Utf8Path writes
// come back as they were.
uint32_t NextCharacter(const unsigned char*& text) {
  constexpr uint32_t kReplacement = 0xFFFD;
  const uint32_t first = *text++;
  if (first < 0x80) return first;
  const int following = first >= 0xF0 && first < 0xF8 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
  if (following == 0 || first >= 0xF8) return kReplacement;

  uint32_t character = first & (0x3FU >> following);
  for (int i = 0; i < following; ++i) {
    if ((text[i] & 0xC0) != 0x80) return kReplacement;
    character = character << 6 | (text[i] & 0x3FU);
  }
  text += following;
  return character <= 0x10FFFF ? character : kReplacement;
}

// UTF-8 text as UTF-16 in a buffer of `size` characters, without a terminator; the number of characters,
// `size` when it was cut.
int32_t ToUtf16(const char* bytes, PmChar* buffer, int32_t size) {
  int32_t length = 0;
  const auto append = [&](uint32_t unit) {
    if (length < size) buffer[length++] = static_cast<PmChar>(unit);
  };
  for (auto text = reinterpret_cast<const unsigned char*>(bytes); *text != 0;) {
    const uint32_t character = NextCharacter(text);
    if (character < 0x10000) {
      append(character);
    } else {
      append(0xD800 + ((character - 0x10000) >> 10));
      append(0xDC00 + (character & 0x3FF));
    }
  }
  return length;
}

}  // namespace

int AboveStandardStreams(int descriptor) {
  constexpr int kFirst = 3;
  if (descriptor < 0 || descriptor >= kFirst) return descriptor;
  const int above = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirst);
  ::close(descriptor);
  return above;
}

File::~File() {
  close();
}

bool File::open(const PmChar* path, Access access) {
  close();
  descriptor_ = OpenRegular(Utf8Path(path).get(), access == Access::kRead ? O_RDONLY : O_RDWR);
  return isOpen();
}

bool File::createNew(const PmChar* path) {
  close();
  const Utf8Path name(path);
  descriptor_ = AboveStandardStreams(
      Uninterrupted([&] { return ::open(name.get(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly); }));
  return isOpen();
}

bool File::isOpen() const {
  return descriptor_ >= 0;
}

size_t File::readAt(uint64_t position, void* bytes, size_t size) const {
  size_t done = 0;
  while (done < size) {
    const ssize_t read = Uninterrupted([&] {
      return pread(descriptor_, static_cast<char*>(bytes) + done, size - done,
                   static_cast<off_t>(position + done));
    });
    if (read <= 0) break;
    done += static_cast<size_t>(read);
  }
  return done;
}

size_t File::writeAt(uint64_t position, const void* bytes, size_t size) {
  size_t done = 0;
  while (done < size) {
    const ssize_t written = Uninterrupted([&] {
      return pwrite(descriptor_, static_cast<const char*>(bytes) + done, size - done,
                    static_cast<off_t>(position + done));
    });
    if (written <= 0) break;
    done += static_cast<size_t>(written);
  }
  return done;
}

void File::startSync(uint64_t position, uint64_t size) {
  if (size == 0) return;
  const uint64_t first = position / kWriteBackPiece;
  const uint64_t last = (position + size - 1) / kWriteBackPiece;
  if (first != writtenPiece_) StartWriteBack(descriptor_, writtenPiece_, writtenPiece_ + 1);
  if (first != last) StartWriteBack(descriptor_, first, last);
  writtenPiece_ = last;
}

bool File::setSize(uint64_t size) {
  return Uninterrupted([&] { return ftruncate(descriptor_, static_cast<off_t>(size)); }) == 0;
}

File::Room File::reserve(uint64_t position, uint64_t size) {
  const auto take = [&] {
    return fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(position),
                     static_cast<off_t>(size));
  };
  // What this process may not write it must not have room for, though the system gives it.
  struct rlimit limit;
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && position + size > limit.rlim_cur) return Room::kNone;
  if (Uninterrupted(take) == 0) return Room::kTaken;
  return errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL ? Room::kUnknown : Room::kNone;
}

bool File::lock() {
  locked_ = SetLock(descriptor_, F_WRLCK);
  return locked_ || (errno != EAGAIN && errno != EACCES);
}

void File::unlock() {
  if (locked_) SetLock(descriptor_, F_UNLCK);
  locked_ = false;
}

bool File::sync() {
  return Uninterrupted([&] { return fdatasync(descriptor_); }) == 0;
}

bool File::copyAccessRights(const File& other) {
  struct stat wanted, present;
  if (fstat(other.descriptor_, &wanted) != 0 || fstat(descriptor_, &present) != 0) return false;
  // Who may not give the group gives it no rights: another one is not to read what the vault keeps from it.
  const bool sameOwner =
      present.st_uid == wanted.st_uid || fchown(descriptor_, wanted.st_uid, wanted.st_gid) == 0;
  const bool sameGroup = (sameOwner && present.st_uid != wanted.st_uid) || present.st_gid == wanted.st_gid ||
                         fchown(descriptor_, static_cast<uid_t>(-1), wanted.st_gid) == 0;
  const mode_t rights = wanted.st_mode & (sameGroup ? kAccessRights : S_IRWXU | S_IRWXO);
  // Some file systems have one mode for all files and refuse to be asked.
  return (present.st_mode & kAccessRights) == rights || fchmod(descriptor_, rights) == 0;
}

bool File::identify(FileIdentity* result) const {
  return Identify(descriptor_, "", result);
}

bool File::stamp(FileStamp* result) const {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) return false;
  *result = ToStamp(status);
  return true;
}

bool File::note(FileStamp* state) {
  if (!watch_.begin(descriptor_)) return stamp(state);
  state->time = 0;
  return identify(state);
}

bool File::isAs(const FileStamp& state) const {
  FileStamp now;
  if (!watch_.isQuiet()) return stamp(&now) && now == state;
  return identify(&now) && now.sameFile(state) && now.size == state.size;
}

bool File::close() {
  if (!isOpen()) return true;
  watch_.stop();
  unlock();  // a child of this process may have the file open still
  // The descriptor is gone even when a signal interrupted its closing.
  const bool closed = ::close(descriptor_) == 0 || errno == EINTR;
  descriptor_ = -1;
  return closed;
}

bool Exists(const PmChar* path) {
  struct stat status;
  return lstat(Utf8Path(path).get(), &status) == 0;
}

bool IsMissing(const PmChar* path) {
  struct stat status;
  return lstat(Utf8Path(path).get(), &status) != 0 && errno == ENOENT;
}

int64_t SizeOf(const PmChar* path) {
  struct stat status;
  if (stat(Utf8Path(path).get(), &status) != 0) return Exists(path) ? 0 : kNoSize;
  return S_ISREG(status.st_mode) ? status.st_size : 0;
}

bool IdentityOf(const PmChar* path, FileIdentity* result) {
  const Utf8Path name(path);
  return *name.get() != 0 && Identify(AT_FDCWD, name.get(), result);
}

bool StampOf(const PmChar* path, FileStamp* result) {
  struct stat status;
  if (stat(Utf8Path(path).get(), &status) != 0) return false;
  *result = ToStamp(status);
  return true;
}

bool IsFresh(const FileStamp& stamp) {
  // Files get their times from a clock that steps a hundred times a second, or faster; some file systems round them to
  // one second or two.
  constexpr int64_t kSecond = 1000000000;
  const int64_t steps = stamp.time % kSecond == 0 ? 2 * kSecond + kSecond / 10 : kSecond * 3 / 100;
  struct timespec now;
  if (clock_gettime(CLOCK_REALTIME, &now) != 0) return true;
  return int64_t{now.tv_sec} * kSecond + now.tv_nsec - stamp.time < steps;
}

bool ToOwnForm(const PmChar* path, PmChar* own, size_t room) {
  const PmChar* end = path;
  while (*end != 0) ++end;
  if (static_cast<size_t>(end - path) >= room) return false;
  std::copy(path, end + 1, own);
  return true;
}

bool TakesName(const PmChar* path) {
  struct stat status;
  return lstat(Utf8Path(path).get(), &status) == 0 || (errno != ENAMETOOLONG && errno != EINVAL);
}

bool FollowLinks(const PmChar* path, PmChar* real) {
  struct stat status;
  const Utf8Path name(path);
  if (lstat(name.get(), &status) != 0 || !S_ISLNK(status.st_mode)) {
    return ToOwnForm(path, real, kMaxRealPath + 1);
  }
  char target[PATH_MAX];
  if (realpath(name.get(), target) == nullptr) return false;
  int32_t length = ToUtf16(target, real, kMaxRealPath);
  real[length] = 0;
  // A name that is no text would come back as another one.
  return strcmp(Utf8Path(real).get(), target) == 0;
}

bool Delete(const PmChar* path) {
  return unlink(Utf8Path(path).get()) == 0;
}

bool Remove(const PmChar* path) {
  return Delete(path);
}

bool Rename(const PmChar* from, const PmChar* to) {
  return rename(Utf8Path(from).get(), Utf8Path(to).get()) == 0;
}

bool SyncFolder(const PmChar* path) {
  Utf8Path folder(path);
  if (!folder.toFolder()) return false;
  const int descriptor =
      Uninterrupted([&] { return ::open(folder.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) {
    // A folder may be open to writing and closed to reading; then nothing less than everything can be synced.
    if (errno != EACCES) return false;
    ::sync();
    return true;
  }
  // A file system that answers EINVAL has no names to sync on their own.
  const bool synced = Uninterrupted([&] { return fsync(descriptor); }) == 0 || errno == EINVAL;
  ::close(descriptor);
  return synced;
}

bool SetHidden(const PmChar* path, bool hidden) {
  const Utf8Path name(path);
  const int result = hidden ? setxattr(name.get(), kDosAttributes, kHidden, strlen(kHidden), 0)
                            : removexattr(name.get(), kDosAttributes);
  return result == 0 || errno == ENOTSUP || (!hidden && errno == ENODATA);
}

std::FILE* OpenStream(const PmChar* path, const char* mode) {
  if (mode == nullptr) return nullptr;
  char ownMode[4 + 2] = {};
  const size_t length = strnlen(mode, 4);
  memcpy(ownMode, mode, length);
  ownMode[length] = 'e';  // close on exec

  std::FILE* stream = std::fopen(Utf8Path(path).get(), ownMode);
  if (stream == nullptr) return nullptr;
  // A folder opens for reading here, only to fail at the first read; elsewhere it never opens.
  struct stat status;
  if (fstat(fileno(stream), &status) == 0 && !S_ISDIR(status.st_mode)) return stream;
  std::fclose(stream);
  return nullptr;
}

bool SetLength(const PmChar* path, int32_t size) {
  const Utf8Path name(path);
  const int descriptor = Uninterrupted(
      [&] { return ::open(name.get(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kOwnerOnly); });
  if (descriptor < 0) return true;
  const bool isSet = Uninterrupted([&] { return ftruncate(descriptor, size); }) == 0;
  ::close(descriptor);
  return isSet;
}

int32_t ProgramPath(PmChar* buffer, int32_t size) {
  if (buffer == nullptr || size <= 0) return 0;
  char bytes[PATH_MAX + 1];
  const ssize_t read = readlink("/proc/self/exe", bytes, PATH_MAX);
  if (read <= 0) return 0;
  bytes[read] = '\0';

  const int32_t length = ToUtf16(bytes, buffer, size);
  buffer[std::min(length, size - 1)] = 0;
  return length;
}

PmChar FolderSeparator() {
  return '/';
}

bool IsFolderSeparator(PmChar c) {
  return c == '/' || c == '\\';
}

void* AllocateLarge(size_t size) {
  if (size < kLargePage) return Allocate(size);
  // The rest of a page is worth a large one when it is most of it.
  size = std::max(size, (size + kLargePage / 2) / kLargePage * kLargePage);
  void* memory = nullptr;
  if (posix_memalign(&memory, kLargePage, size) != 0) return nullptr;
  madvise(memory, std::min(size, kLargePagesAtHand), MADV_HUGEPAGE);  // only a wish
  return memory;
}

void Populate(void* memory, size_t size) {
  const auto pageSize = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t before = reinterpret_cast<uintptr_t>(memory) % pageSize;
  madvise(static_cast<uint8_t*>(memory) - before, before + size, MADV_POPULATE_WRITE);  // only a wish
}

bool Random(void* bytes, size_t size) {
  auto* to = static_cast<char*>(bytes);
  while (size != 0) {
    const ssize_t got = Uninterrupted([&] { return getrandom(to, size, 0); });
    if (got <= 0) return false;
    to += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

void Wipe(void* bytes, size_t size) {
  if (size != 0) explicit_bzero(bytes, size);
}

}  // namespace platform
