/**
 * @file pmsharing.hpp
 * Whether somebody has a vault open.
 */
#ifndef PMSHARING_HPP
#define PMSHARING_HPP

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdlib.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>
#endif

namespace pmstore {

/** @cond */
namespace detail {

#if defined(_WIN32)
inline bool IsOpenNow(const std::filesystem::path& path) noexcept {
  constexpr unsigned long kSharingViolation = 32;
  int file = -1;
  if (_wsopen_s(&file, path.c_str(), _O_RDONLY | _O_BINARY, _SH_DENYRW, 0) != 0)
    return _doserrno == kSharingViolation;
  _close(file);
  return false;
}
#elif defined(F_SETLEASE)
inline bool IsOpenNow(const std::filesystem::path& path) noexcept {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return errno == EWOULDBLOCK;  // somebody has a lease of their own
  // A lease for writing is given only where nobody else has the file open. Who opens it now waits until it is given up,
  // and we are told, by a signal that is ignored unless the program says otherwise.
  const bool isOpen =
      fcntl(file, F_SETSIG, SIGURG) == 0 && fcntl(file, F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN;
  ::close(file);  // gives it up
  return isOpen;
}
#else
inline bool IsOpenNow(const std::filesystem::path&) noexcept {
  return false;
}
#endif

}  // namespace detail
/** @endcond */

/** Whether any program, this one included, has the file open. What cannot be found out counts as no: a file of another
 * user, a file system without leases. */
inline bool isOpen(const std::filesystem::path& path) noexcept {
  constexpr int kTries = 5;  // a scanner or an indexer has a file open for a moment only
  for (int i = 1; detail::IsOpenNow(path); ++i) {
    if (i == kTries) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
  }
  return false;
}

}  // namespace pmstore

#endif
