#include "cli/host.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <system_error>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace cli {

#if defined(_WIN32)
namespace {

HANDLE HandleOf(std::FILE* stream) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

// How the console was before: a mode for each screen that a stream goes to, and one code page.
struct {
  struct Screen {
    HANDLE handle = nullptr;
    DWORD mode = 0;
  } screens[2];
  int count = 0;
  UINT codePage = 0;
} found;

void RestoreConsole() {
  if (found.codePage != 0) SetConsoleOutputCP(found.codePage);
  while (found.count > 0) {
    const auto& screen = found.screens[--found.count];
    SetConsoleMode(screen.handle, screen.mode);
  }
}

BOOL WINAPI RestoreAndGo(DWORD) {
  RestoreConsole();
  return FALSE;  // the system then ends the program
}

// Lets the console read UTF-8 and obey escape codes, until the program ends in whichever way it can hear of.
void PrepareConsole() {
  for (std::FILE* stream : {stdout, stderr}) {
    const HANDLE handle = HandleOf(stream);
    DWORD mode = 0;
    if (!GetConsoleMode(handle, &mode)) continue;
    found.screens[found.count++] = {handle, mode};
    SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
  if (found.count == 0) return;
  found.codePage = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
  SetConsoleCtrlHandler(RestoreAndGo, TRUE);
  std::atexit(RestoreConsole);
}

}  // namespace
#endif

void PrepareStreams() {
#if defined(_WIN32)
  for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  // Without a buffer this run-time would write byte by byte, and a console shows no character by its bytes.
  for (std::FILE* stream : {stdout, stderr}) std::setvbuf(stream, nullptr, _IOFBF, 1 << 16);
  PrepareConsole();
#endif
}

bool IsTerminal(std::FILE* stream) {
#if defined(_WIN32)
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0;
#else
  return isatty(fileno(stream)) != 0;
#endif
}

bool ObeysEscapes(std::FILE* stream) {
  if (Environment("TERM") == "dumb") return false;
#if defined(_WIN32)
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) && (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
#else
  return IsTerminal(stream);
#endif
}

int TerminalWidth() {
#if defined(_WIN32)
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) {
    return info.srWindow.Right - info.srWindow.Left + 1;
  }
#else
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
#endif
  return 80;
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string SystemName() {
#if defined(_WIN32)
  const std::string name = "Windows";
#elif defined(__linux__)
  const std::string name = "Linux";
#else
  const std::string name = "POSIX";
#endif
  return name + (sizeof(void*) == 8 ? ", 64 bits" : ", 32 bits");
}

std::string UtcTime(int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
#if defined(_WIN32)
  if (gmtime_s(&parts, &time) != 0) return "unknown";
#else
  if (gmtime_r(&time, &parts) == nullptr) return "unknown";
#endif
  char text[32];
  return std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts) > 0 ? text : "unknown";
}

#if defined(_WIN32)
SystemCall::SystemCall() {
  SetLastError(0);
}

std::string SystemCall::reason() const {
  const DWORD code = GetLastError();
  return code == 0 ? "" : ": " + std::system_category().message(static_cast<int>(code));
}
#else
SystemCall::SystemCall() {
  errno = 0;
}

std::string SystemCall::reason() const {
  return errno == 0 ? "" : ": " + std::system_category().message(errno);
}
#endif

}  // namespace cli
