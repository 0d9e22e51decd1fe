// The platform on Windows. The only file of the library that includes <windows.h>.
//
// Names go to the system as they are, save that one that has grown past the classic limit of 260 characters
// takes the extended form, so that the longest path the library accepts has its backup too.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <ntsecapi.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "platform/compiler.h"
#include "platform/heap.h"
#include "platform/platform.h"

namespace platform {

namespace {

// A path in the form in which the system takes it at its length. A null path becomes the empty one, which
// names nothing, so that whatever is tried with it fails.
class SystemPath {
 public:
  explicit SystemPath(const PmChar* path) : name_(path == nullptr ? L"" : path) {
    constexpr PmChar kPrefix[] = L"\\\\?\\";
    constexpr PmChar kSharePrefix[] = L"\\\\?\\UNC";
    constexpr size_t kRoom = 8;  // for the longer prefix, of which a share's path overlaps one character

    DWORD length = GetFullPathNameW(name_, static_cast<DWORD>(kCapacity - kRoom), buffer_ + kRoom, nullptr);
    if (length < MAX_PATH || length >= kCapacity - kRoom) return;
    PmChar* full = buffer_ + kRoom;
    bool rooted = full[0] == L'\\' && full[1] == L'\\';
    if (rooted && (full[2] == L'?' || full[2] == L'.')) return;
    const PmChar* prefix = rooted ? kSharePrefix : kPrefix;
    PmChar* start = (rooted ? full + 1 : full) - std::wcslen(prefix);
    std::wmemcpy(start, prefix, std::wcslen(prefix));
    name_ = start;
  }
  SystemPath(const SystemPath&) = delete;
  SystemPath& operator=(const SystemPath&) = delete;

  operator const PmChar*() const { return name_; }

 private:
  static constexpr size_t kCapacity = 1024;
  PmChar buffer_[kCapacity];
  const PmChar* name_;
};

// Who only looks stands in nobody's way; a file that we write to nobody else removes or renames meanwhile.
constexpr DWORD kShareContent = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr DWORD kShareAll = kShareContent | FILE_SHARE_DELETE;

// The handle of a file on a disk, or null: names of devices and pipes open too, and are closed again here.
HANDLE OpenDiskFile(const PmChar* path, DWORD access, DWORD disposition) {
  const DWORD share = (access & GENERIC_WRITE) != 0 ? kShareContent : kShareAll;
  HANDLE handle =
      CreateFileW(SystemPath(path), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return nullptr;
  if (GetFileType(handle) == FILE_TYPE_DISK) return handle;
  CloseHandle(handle);
  return nullptr;
}

OVERLAPPED At(uint64_t position) {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(position);
  place.OffsetHigh = static_cast<DWORD>(position >> 32);
  return place;
}

uint64_t Join(DWORD high, DWORD low) {
  return static_cast<uint64_t>(high) << 32 | low;
}

bool StampOfHandle(HANDLE handle, FileStamp* result) {
  BY_HANDLE_FILE_INFORMATION info;
  if (!GetFileInformationByHandle(handle, &info)) return false;
  result->volume = info.dwVolumeSerialNumber;
  result->number = Join(info.nFileIndexHigh, info.nFileIndexLow);
  result->size = Join(info.nFileSizeHigh, info.nFileSizeLow);
  result->time =
      static_cast<int64_t>(Join(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime));
  return true;
}

// Who may do what with a file.
struct AccessRights {
  alignas(SECURITY_DESCRIPTOR) char descriptor[8192];
  DWORD length = 0;

  // Reads them as the file's own: none as one that it has from its folder.
  bool read(HANDLE file) {
    BOOL present = FALSE;
    BOOL byDefault = FALSE;
    ACL* list = nullptr;
    if (!GetKernelObjectSecurity(file, DACL_SECURITY_INFORMATION, descriptor, sizeof descriptor, &length) ||
        !GetSecurityDescriptorDacl(descriptor, &present, &list, &byDefault)) {
      return false;
    }
    SetSecurityDescriptorControl(descriptor, kInheritance, SE_DACL_PROTECTED);
    void* entry = nullptr;
    for (DWORD i = 0; list != nullptr && GetAce(list, i, &entry); ++i) {
      static_cast<ACE_HEADER*>(entry)->AceFlags &= static_cast<BYTE>(~INHERITED_ACE);
    }
    return true;
  }
  bool operator==(const AccessRights& other) const {
    return length == other.length && std::memcmp(descriptor, other.descriptor, length) == 0;
  }

 private:
  static constexpr SECURITY_DESCRIPTOR_CONTROL kInheritance =
      SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED | SE_DACL_AUTO_INHERIT_REQ;
};

// Calls what fails with a sharing violation while another program holds the file. Virus scanners and indexers
// do so for some milliseconds with every file that is new or renamed, so it is tried again for a fifth of a
// second.
template <typename Call>
bool Patiently(Call call) {
  constexpr int kRetries = 10;
  for (int retry = 0; !call(); ++retry) {
    if (retry == kRetries || GetLastError() != ERROR_SHARING_VIOLATION) return false;
    Sleep(20);
  }
  return true;
}

// The last part of a path.
const PmChar* NameOf(const PmChar* path) {
  const PmChar* name = path;
  for (const PmChar* c = path; *c != 0; ++c)
    if (IsFolderSeparator(*c)) name = c + 1;
  return name;
}

// Looks a name up as a directory search, so that the wildcards of a search count as such.
bool Look(const PmChar* path, WIN32_FIND_DATAW* entry) {
  HANDLE search = FindFirstFileW(SystemPath(path), entry);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return true;
}

// Whether a name is free. One that another program still has open is so only when that lets go; until then it
// is held.
bool IsGone(const PmChar* path) {
  WIN32_FIND_DATAW entry;
  if (!Look(path, &entry)) return GetLastError() == ERROR_FILE_NOT_FOUND;
  SetLastError(ERROR_SHARING_VIOLATION);
  return false;
}

// Whether somebody has a file open.
bool IsHeld(const PmChar* path) {
  HANDLE handle = CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_SHARING_VIOLATION;
  CloseHandle(handle);
  return false;
}

// Takes the read-only attribute, which keeps a file from being removed or replaced, off a file of ours. False
// when it has none; the last error stays what it was.
bool ClearReadOnly(const PmChar* path) {
  const DWORD error = GetLastError();
  const DWORD attributes = GetFileAttributesW(path);
  const bool cleared = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0 &&
                       (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
                       SetFileAttributesW(path, attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
  SetLastError(error);
  return cleared;
}

bool IsFull(DWORD error) {
  return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL || error == ERROR_FILE_TOO_LARGE;
}

}  // namespace

File::~File() {
  close();
}

bool File::open(const PmChar* path, Access access) {
  close();
  DWORD rights = access == Access::kRead ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
  handle_ = OpenDiskFile(path, rights, OPEN_EXISTING);
  return handle_ != nullptr;
}

// A new file takes its access rights from its folder, as users expect on this system. The right to change
// them is asked for on behalf of copyAccessRights; shared folders may not grant it, and seldom need to.
bool File::createNew(const PmChar* path) {
  close();
  constexpr DWORD kRights = GENERIC_READ | GENERIC_WRITE;
  handle_ = OpenDiskFile(path, kRights | WRITE_DAC, CREATE_NEW);
  if (handle_ == nullptr && GetLastError() == ERROR_ACCESS_DENIED) {
    handle_ = OpenDiskFile(path, kRights, CREATE_NEW);
  }
  return handle_ != nullptr;
}

bool File::isOpen() const {
  return handle_ != nullptr;
}

size_t File::readAt(uint64_t position, void* bytes, size_t size) const {
  size_t done = 0;
  while (done < size) {
    OVERLAPPED place = At(position + done);
    DWORD count = 0;
    DWORD wanted = static_cast<DWORD>(size - done);
    if (!ReadFile(handle_, static_cast<char*>(bytes) + done, wanted, &count, &place) || count == 0) break;
    done += count;
  }
  return done;
}

size_t File::writeAt(uint64_t position, const void* bytes, size_t size) {
  size_t done = 0;
  while (done < size) {
    OVERLAPPED place = At(position + done);
    DWORD count = 0;
    DWORD wanted = static_cast<DWORD>(size - done);
    if (!WriteFile(handle_, static_cast<const char*>(bytes) + done, wanted, &count, &place) || count == 0)
      break;
    done += count;
  }
  return done;
}

void File::startSync(uint64_t, uint64_t) {}

bool File::setSize(uint64_t size) {
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  return SetFilePointerEx(handle_, end, nullptr, FILE_BEGIN) && SetEndOfFile(handle_);
}

File::Room File::reserve(uint64_t position, uint64_t size) {
  // A file that the system stores packed or with holes has room for its bytes when they are written only.
  constexpr DWORD kElsewhere = FILE_ATTRIBUTE_COMPRESSED | FILE_ATTRIBUTE_SPARSE_FILE;
  BY_HANDLE_FILE_INFORMATION info;
  if (!GetFileInformationByHandle(handle_, &info) || (info.dwFileAttributes & kElsewhere) != 0) {
    return Room::kUnknown;
  }
  // Room that is set below the file's length would cut the file.
  const uint64_t end = std::max(position + size, Join(info.nFileSizeHigh, info.nFileSizeLow));
  const auto isTaken = [&] {
    FILE_STANDARD_INFO standard;
    return GetFileInformationByHandleEx(handle_, FileStandardInfo, &standard, sizeof standard) &&
           static_cast<uint64_t>(standard.AllocationSize.QuadPart) >= end;
  };
  if (isTaken()) return Room::kTaken;
  FILE_ALLOCATION_INFO room = {};
  room.AllocationSize.QuadPart = static_cast<LONGLONG>(end);
  if (!SetFileInformationByHandle(handle_, FileAllocationInfo, &room, sizeof room)) {
    return IsFull(GetLastError()) ? Room::kNone : Room::kUnknown;
  }
  return isTaken() ? Room::kTaken : Room::kUnknown;  // a network's server may only say that it did it
}

bool File::lock() {
  if (locked_) return true;  // this system refuses a second lock to the file that has the first
  OVERLAPPED place = At(kLockPosition);
  constexpr DWORD kFlags = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
  locked_ = LockFileEx(handle_, kFlags, 0, 1, 0, &place) != 0;
  return locked_ || (GetLastError() != ERROR_LOCK_VIOLATION && GetLastError() != ERROR_IO_PENDING);
}

void File::unlock() {
  OVERLAPPED place = At(kLockPosition);
  if (locked_) UnlockFileEx(handle_, 0, 1, 0, &place);
  locked_ = false;
}

bool File::sync() {
  return FlushFileBuffers(handle_) != 0;
}

bool File::copyAccessRights(const File& other) {
  DWORD flags = 0;
  const bool answers =
      GetVolumeInformationByHandleW(handle_, nullptr, 0, nullptr, nullptr, &flags, nullptr, 0);
  if (answers && (flags & FILE_PERSISTENT_ACLS) == 0) return true;

  // What changes later in the folder's rights is not to reach one of the two files alone, so that the list is
  // protected from it. Without the right to set it, one that says the same will do.
  constexpr DWORD kProtected = DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;
  AccessRights wanted, present;
  if (!wanted.read(other.handle_)) return false;
  return SetKernelObjectSecurity(handle_, kProtected, wanted.descriptor) ||
         (present.read(handle_) && wanted == present);
}

bool File::identify(FileIdentity* result) const {
  FileStamp stamp;
  if (!StampOfHandle(handle_, &stamp)) return false;
  *result = stamp;
  return true;
}

bool File::stamp(FileStamp* result) const {
  return StampOfHandle(handle_, result);
}

bool File::note(FileStamp* state) {
  return stamp(state);
}

bool File::isAs(const FileStamp& state) const {
  FileStamp now;
  return stamp(&now) && now == state;
}

bool File::close() {
  if (handle_ == nullptr) return true;
  bool closed = CloseHandle(handle_) != 0;
  handle_ = nullptr;
  locked_ = false;
  return closed;
}

bool Exists(const PmChar* path) {
  WIN32_FIND_DATAW entry;
  return Look(path, &entry);
}

bool IsMissing(const PmChar* path) {
  WIN32_FIND_DATAW entry;
  return !Look(path, &entry) && GetLastError() == ERROR_FILE_NOT_FOUND;
}

int64_t SizeOf(const PmChar* path) {
  WIN32_FIND_DATAW entry;
  if (!Look(path, &entry)) return kNoSize;
  return static_cast<int64_t>(Join(entry.nFileSizeHigh, entry.nFileSizeLow));
}

bool IdentityOf(const PmChar* path, FileIdentity* result) {
  FileStamp stamp;
  if (!StampOf(path, &stamp)) return false;
  *result = stamp;
  return true;
}

bool StampOf(const PmChar* path, FileStamp* result) {
  HANDLE handle = OpenDiskFile(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING);
  if (handle == nullptr) return false;
  bool known = StampOfHandle(handle, result);
  CloseHandle(handle);
  return known;
}

bool IsFresh(const FileStamp& stamp) {
  // A time is that of a clock which steps each 16 ms, rounded to 10 ms by some file systems and to 2 s by the
  // oldest, whose times are whole multiples of it.
  constexpr int64_t kSecond = 10000000;
  const int64_t steps = stamp.time % (2 * kSecond) == 0 ? 2 * kSecond + kSecond / 10 : kSecond * 3 / 100;
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return static_cast<int64_t>(Join(now.dwHighDateTime, now.dwLowDateTime)) - stamp.time < steps;
}

bool ToOwnForm(const PmChar* path, PmChar* own, size_t room) {
  constexpr PmChar kExtended[] = L"\\\\?\\";
  const bool isExtended = std::wcsncmp(path, kExtended, std::wcslen(kExtended)) == 0;
  const size_t length = std::wcslen(path);
  if (length >= room) return false;
  std::copy(path, path + length + 1, own);
  if (!isExtended) std::replace(own, own + length, PmChar{L'/'}, PmChar{L'\\'});

  const PmChar* rest = own + (isExtended ? std::wcslen(kExtended) : 0);
  const bool hasDrive =
      (rest[0] | 0x20) >= L'a' && (rest[0] | 0x20) <= L'z' && rest[1] == L':' && rest[2] == L'\\';
  if (std::wcschr(hasDrive ? rest + 2 : rest, L':') != nullptr) return false;
  return isExtended || length == 0 || (own[length - 1] != L'.' && own[length - 1] != L' ');
}

bool TakesName(const PmChar* path) {
  constexpr size_t kLongestName = 255;  // on every file system of this system
  if (std::wcslen(NameOf(path)) > kLongestName) return false;
  if (GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES) return true;
  const DWORD error = GetLastError();
  return error != ERROR_INVALID_NAME && error != ERROR_BAD_PATHNAME && error != ERROR_FILENAME_EXCED_RANGE &&
         error != ERROR_BUFFER_OVERFLOW;
}

bool FollowLinks(const PmChar* path, PmChar* real) {
  WIN32_FIND_DATAW entry;
  const bool found = Look(path, &entry);
  if (found && (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
      entry.dwReserved0 == IO_REPARSE_TAG_SYMLINK) {
    HANDLE handle = OpenDiskFile(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING);
    if (handle == nullptr) return false;
    const DWORD length = GetFinalPathNameByHandleW(handle, real, kMaxRealPath + 1, FILE_NAME_NORMALIZED);
    CloseHandle(handle);
    return length != 0 && length <= kMaxRealPath;
  }
  // The entry has the file's own name, in its own letters' case.
  const PmChar* name = NameOf(path);
  const bool isOther = found && CompareStringOrdinal(name, -1, entry.cFileName, -1, TRUE) != CSTR_EQUAL;
  const PmChar* own = isOther ? entry.cFileName : name;
  const auto folder = static_cast<size_t>(name - path);
  if (folder + std::wcslen(own) > kMaxRealPath) return false;
  std::wmemcpy(real, path, folder);
  std::wcscpy(real + folder, own);
  return true;
}

bool Delete(const PmChar* path) {
  const SystemPath name(path);
  return Patiently([&] { return DeleteFileW(name); });
}

bool Remove(const PmChar* path) {
  const SystemPath name(path);
  const auto remove = [&] { return DeleteFileW(name) || (ClearReadOnly(name) && DeleteFileW(name)); };
  return Patiently(remove) && Patiently([&] { return IsGone(name); });
}

bool Rename(const PmChar* from, const PmChar* to) {
  constexpr DWORD kFlags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  const SystemPath source(from), target(to);
  return Patiently([&] {
    if (MoveFileExW(source, target, kFlags) ||
        (ClearReadOnly(target) && MoveFileExW(source, target, kFlags))) {
      return true;
    }
    // A target that somebody holds is refused like one without the right to it.
    if (GetLastError() == ERROR_ACCESS_DENIED) {
      SetLastError(IsHeld(target) ? ERROR_SHARING_VIOLATION : ERROR_ACCESS_DENIED);
    }
    return false;
  });
}

// Nothing is left to do: a rename is written through, and the file system logs changes of names in their
// order.
bool SyncFolder(const PmChar*) {
  return true;
}

bool SetHidden(const PmChar* path, bool hidden) {
  DWORD attributes = hidden ? FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_NORMAL;
  return SetFileAttributesW(SystemPath(path), attributes) != 0;
}

std::FILE* OpenStream(const PmChar* path, const char* mode) {
  if (mode == nullptr) return nullptr;
  wchar_t wide[5] = {};
  for (size_t i = 0; i < 4 && mode[i] != '\0'; ++i) wide[i] = static_cast<unsigned char>(mode[i]);
  return _wfopen(SystemPath(path), wide);
}

bool SetLength(const PmChar* path, int32_t size) {
  // Binary: in text mode the run-time cuts a Ctrl-Z off the end of a file that it opens for reading and
  // writing.
  int descriptor = _wopen(SystemPath(path), _O_RDWR | _O_CREAT | _O_BINARY, _S_IREAD | _S_IWRITE);
  if (descriptor < 0) return true;
  const bool isSet = _chsize(descriptor, size) == 0;
  _close(descriptor);
  return isSet;
}

int32_t ProgramPath(PmChar* buffer, int32_t size) {
  if (buffer == nullptr || size <= 0) return 0;
  const DWORD length = GetModuleFileNameW(nullptr, buffer, static_cast<DWORD>(size));
  buffer[size - 1] = 0;  // not every system ends a path that it cuts
  return static_cast<int32_t>(length);
}

PmChar FolderSeparator() {
  return L'\\';
}

bool IsFolderSeparator(PmChar c) {
  return c == L'\\';
}

void* AllocateLarge(size_t size) {
  return Allocate(size);  // pages are all of one size
}

void Populate(void*, size_t) {}

bool Random(void* bytes, size_t size) {
  return RtlGenRandom(bytes, static_cast<ULONG>(size)) != 0;
}

void Wipe(void* bytes, size_t size) {
  SecureZeroMemory(bytes, size);
}

void QuietThreadNotifications(void* module) {
  DisableThreadLibraryCalls(static_cast<HMODULE>(module));
}

uintptr_t StackGuard() {
  LARGE_INTEGER ticks;
  FILETIME time;
  QueryPerformanceCounter(&ticks);
  GetSystemTimeAsFileTime(&time);
  uint64_t mixed = static_cast<uint64_t>(ticks.QuadPart) ^ Join(time.dwLowDateTime, time.dwHighDateTime) ^
                   Join(GetCurrentProcessId(), GetCurrentThreadId()) ^ reinterpret_cast<uintptr_t>(&ticks);
  mixed *= 0x9E3779B97F4A7C15;
  // A string that runs over ends at the guard's zero byte.
  return static_cast<uintptr_t>(mixed ^ mixed >> 32) & ~uintptr_t{0xFF};
}

void StopProcess() {
  FailFast(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE);
}

}  // namespace platform
