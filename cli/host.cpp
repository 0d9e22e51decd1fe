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

void PrepareStreams() {
#if defined(_WIN32)
  for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  std::setvbuf(stderr, nullptr, _IONBF, 0);  // as the C standard has it, but not every run-time
  SetConsoleOutputCP(CP_UTF8);
#endif
}

bool IsTerminal(std::FILE* stream) {
#if defined(_WIN32)
  return _isatty(_fileno(stream)) != 0;
#else
  return isatty(fileno(stream)) != 0;
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
