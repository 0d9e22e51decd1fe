// Files and their names, for tests of every kind.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "tests/support/vault.h"

using vault::Bytes;
using vault::PmString;

// A folder that goes with the object; in memory where the system has that, for thousands of small files.
class TempFolder {
 public:
  TempFolder() { std::filesystem::create_directory(path_); }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  static std::filesystem::path home() {
#if !defined(_WIN32)
    if (std::filesystem::exists("/dev/shm")) return "/dev/shm";
#endif
    return std::filesystem::temp_directory_path();
  }
  const std::filesystem::path path_ = home() / ("pmstore-test-" + std::to_string(std::random_device()()));
};

inline PmString Pm(const std::filesystem::path& path) {
  return path.string<PmChar>();
}

inline PmString Text(const std::string& ascii) {
  return PmString(ascii.begin(), ascii.end());
}

// Nothing when there is no such file.
inline std::optional<Bytes> ReadBytes(const std::filesystem::path& path) {
  if (!std::filesystem::is_regular_file(path)) return std::nullopt;
  Bytes bytes(static_cast<size_t>(std::filesystem::file_size(path)));
  const auto size = static_cast<std::streamsize>(bytes.size());
  std::ifstream stream(path, std::ios::binary);
  stream.read(reinterpret_cast<char*>(bytes.data()), size);
  return stream.gcount() == size ? std::optional<Bytes>(bytes) : std::nullopt;
}

inline void WriteBytes(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!stream.flush()) throw std::runtime_error("cannot write " + path.string());
}

// The same bytes for the same arguments, different ones otherwise.
inline Bytes Pattern(size_t size, uint32_t seed = 1) {
  Bytes bytes(size);
  for (uint8_t& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  return bytes;
}

inline std::filesystem::path BackupOf(const std::filesystem::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".bak");
}

inline std::filesystem::path JournalOf(const std::filesystem::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".pmj");
}
