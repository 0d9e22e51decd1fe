/**
 * @file pmerror.hpp
 * Why calls of the C++ interface fail: error codes and the exception that carries one.
 */
#ifndef PMERROR_HPP
#define PMERROR_HPP

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <type_traits>

namespace pmstore {

/** Why a call failed. The values are those of pmstore.h; those below -100 are of calls that return no code. */
enum class Errc : int32_t {
  kRefused = -1, /**< no such item, an argument out of range, or no memory */
  /** The data file or its backup cannot be opened, or another program has changed or locked it. */
  kCannotOpen = -2,
  kNullId = -3,       /**< the ID is 0 */
  kWriteFailed = -4,  /**< a write failed, or the file would grow too large */
  kUnknownId = -5,    /**< the ID is 0, or neither pending nor committed */
  kNotOpened = -101,  /**< the vault cannot be opened: no valid data file, damaged, or not to be written */
  kNotCreated = -103, /**< no ID: the kind and name are in use, the ID is, or there is no memory */
  kNotLibrary = -104, /**< the library could not be brought up */
  kNoVault = -105,    /**< no vault is open */
  kBadName = -106,    /**< a name that is not UTF-8, holds a zero character or found no memory */
  kInUse = -107       /**< the vault was to be opened alone, and somebody has it open */
};

}  // namespace pmstore

/** @cond */
template <>
struct std::is_error_code_enum<pmstore::Errc> : std::true_type {};
/** @endcond */

namespace pmstore {

/** The texts of Errc. */
class Category : public std::error_category {
 public:
  /** "pmstore". */
  const char* name() const noexcept override { return "pmstore"; }
  /** The text of a code. */
  std::string message(int code) const override {
    switch (static_cast<Errc>(code)) {
      case Errc::kRefused:
        return "no such item, an argument out of range, or no memory";
      case Errc::kCannotOpen:
        return "the data file or its backup cannot be opened, or another program has changed or locked it";
      case Errc::kNullId:
        return "the ID is 0";
      case Errc::kWriteFailed:
        return "a write failed";
      case Errc::kUnknownId:
        return "the ID is unknown";
      case Errc::kNotOpened:
        return "the vault cannot be opened";
      case Errc::kNotCreated:
        return "no ID was made";
      case Errc::kNotLibrary:
        return "the library could not be brought up";
      case Errc::kNoVault:
        return "no vault is open";
      case Errc::kBadName:
        return "the name is not UTF-8, holds a zero character or found no memory";
      case Errc::kInUse:
        return "a program has the vault open";
    }
    return "unknown error";
  }
};

/** The category of all error codes here. */
inline const std::error_category& category() noexcept {
  static const Category instance;
  return instance;
}

/** The error code of a result. */
inline std::error_code make_error_code(Errc code) noexcept {
  return {static_cast<int>(code), category()};
}

/** What the throwing functions throw; code() is an Errc. */
class Error : public std::system_error {
 public:
  /** Of a call on a vault. */
  Error(std::error_code code, const char* call, const std::filesystem::path& path)
      : std::system_error(code, path.empty() ? call : utf8(path) + ": " + call),
        call_(call),
        path_(std::make_shared<std::filesystem::path>(path)) {}

  /** The function of the interface that failed: "put". */
  const char* call() const noexcept { return call_; }
  /** The vault's path; empty where no vault was open. */
  const std::filesystem::path& path() const noexcept { return *path_; }

 private:
  static std::string utf8(const std::filesystem::path& path) {
    const auto text = path.u8string();
    return std::string(text.begin(), text.end());
  }

  const char* call_;
  std::shared_ptr<const std::filesystem::path> path_;  // shared: copying an exception must not fail
};

}  // namespace pmstore

#endif
