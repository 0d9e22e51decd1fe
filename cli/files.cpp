#include "cli/files.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>

#include "cli/failure.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void FailIo(const char* doing, const fs::path& path) {
  const std::string why = errno == 0 ? "" : fmt::format(": {}", std::strerror(errno));
  throw Failure(ExitCode::kIoError, fmt::format("cannot {} {}{}", doing, path.u8string(), why));
}

}  // namespace

int64_t ModifiedTime(const fs::path& path) {
  std::error_code error;
  const fs::file_time_type time = fs::last_write_time(path, error);
  if (error) return 0;
  // The file clock's epoch is its own, whole seconds from the system's.
  using std::chrono::seconds;
  const auto apart = std::chrono::round<seconds>(std::chrono::system_clock::now().time_since_epoch() -
                                                 fs::file_time_type::clock::now().time_since_epoch());
  return (std::chrono::floor<seconds>(time.time_since_epoch()) + apart).count();
}

Bytes ReadWholeFile(const fs::path& path) {
  std::error_code error;
  if (!fs::exists(path, error) && !error)
    throw Failure(ExitCode::kMissing, fmt::format("there is no file {}", path.u8string()));
  errno = 0;
  std::ifstream in(path, std::ios::binary);
  if (!in) FailIo("open", path);
  Bytes bytes;
  if (const auto size = fs::file_size(path, error); !error) bytes.reserve(static_cast<size_t>(size));
  char buffer[65536];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0)
    bytes.insert(bytes.end(), buffer, buffer + in.gcount());
  if (in.bad()) FailIo("read", path);
  return bytes;
}

Bytes ReadStandardInput() {
  Bytes bytes;
  uint8_t buffer[65536];
  while (std::feof(stdin) == 0 && std::ferror(stdin) == 0) {
    const size_t count = std::fread(buffer, 1, sizeof buffer, stdin);
    bytes.insert(bytes.end(), buffer, buffer + count);
  }
  if (std::ferror(stdin) != 0) throw Failure(ExitCode::kIoError, "cannot read standard input");
  return bytes;
}

void WriteWholeFile(const fs::path& path, const Bytes& bytes, bool overwrite) {
  std::error_code error;
  const bool isNew = !fs::exists(fs::symlink_status(path, error));
  if (!overwrite && !isNew) {
    throw Failure(ExitCode::kRefused, fmt::format("{} exists already", path.u8string()),
                  "Name another file, or remove it first.");
  }
  errno = 0;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) FailIo("create", path);
  if (isNew) fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write, error);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.close();
  const bool canBeRead = fs::is_regular_file(path, error);
  if (out && (!canBeRead || ReadWholeFile(path) == bytes)) return;
  const int reason = errno;
  if (isNew) fs::remove(path, error);
  errno = reason;
  FailIo("write", path);
}

}  // namespace cli
