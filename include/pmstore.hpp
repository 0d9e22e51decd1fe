/**
 * @file pmstore.hpp
 * The library for C++17: vaults that close themselves, transactions that end themselves, errors as exceptions
 * or as codes.
 *
 * Functions that can fail come twice, as in the standard library's file system: one throws pmstore::Error,
 * the other, with a last argument of std::error_code, throws nothing. What the library promises is said in
 * pmstore.h and holds here.
 */
#ifndef PMSTORE_HPP
#define PMSTORE_HPP

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "pmstore.h"

/** The C++ interface. */
namespace pmstore {

/** A string of the library: a path or a user-data string. Literals are written PM_TEXT("..."). */
using Text = std::basic_string<PmChar>;

/** Why a call failed. The values are those of pmstore.h, and those below -100 are of calls that return no
 * code. */
enum class Errc : int32_t {
  kRefused = -1,       /**< no such item, an argument out of range, or no memory */
  kCannotOpen = -2,    /**< the data file or its backup cannot be opened or created */
  kNullId = -3,        /**< the ID is 0 */
  kWriteFailed = -4,   /**< a write failed, or the file would grow too large */
  kUnknownId = -5,     /**< the ID is 0, or neither pending nor committed */
  kNotOpened = -101,   /**< the vault cannot be opened: no valid data file, damaged, or not to be written */
  kNotRestored = -102, /**< a backup was left by a crash and cannot be restored */
  kNotCreated = -103,  /**< no ID: the kind and user data are in use, or there is no memory */
  kNotLibrary = -104,  /**< the library could not be brought up */
  kNoVault = -105      /**< no vault is open */
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
        return "the data file or its backup cannot be opened";
      case Errc::kNullId:
        return "the ID is 0";
      case Errc::kWriteFailed:
        return "a write failed";
      case Errc::kUnknownId:
        return "the ID is unknown";
      case Errc::kNotOpened:
        return "the vault cannot be opened";
      case Errc::kNotRestored:
        return "the backup cannot be restored";
      case Errc::kNotCreated:
        return "no ID was made";
      case Errc::kNotLibrary:
        return "the library could not be brought up";
      case Errc::kNoVault:
        return "no vault is open";
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
  using std::system_error::system_error;
};

/** When a change is to reach the disk. */
enum class Sync : int32_t {
  kLater = 0, /**< with the next sync of the vault */
  kNow = 1    /**< before the call returns */
};

/** Bytes of an item, lent by the library: valid until the item is changed or removed or its vault is closed.
 */
class ItemView {
 public:
  /** A view of `size` bytes. */
  ItemView(const void* data, size_t size) noexcept
      : data_(static_cast<const std::byte*>(data)), size_(size) {}

  const std::byte* data() const noexcept { return data_; }        /**< the first byte */
  size_t size() const noexcept { return size_; }                  /**< the number of bytes */
  const std::byte* begin() const noexcept { return data_; }       /**< the first byte */
  const std::byte* end() const noexcept { return data_ + size_; } /**< behind the last byte */
  /** The bytes as text. */
  std::string_view text() const noexcept { return {reinterpret_cast<const char*>(data_), size_}; }

 private:
  const std::byte* data_;
  size_t size_;
};

/** An open vault. It is closed with the object, or by close(), which reports. Objects of one path share the
 * vault. */
class Vault {
 public:
  /** Opens a vault, making a missing one. A backup that a crash left beside it is restored first. */
  explicit Vault(const std::filesystem::path& path) {
    orThrow("open", [&](std::error_code& error) { open(path, error); });
  }

  /** No vault, until one is opened or moved in. */
  Vault() noexcept = default;

  /** The same without exceptions. A vault that was open before is closed, and stays open when its changes cannot
   * be written. */
  void open(const std::filesystem::path& path, std::error_code& error) noexcept {
    error.clear();
    if (handle_ != nullptr) sync(error);
    if (!error) close(error);
    if (error) return;
    Text name, backup;
    try {
      name = nameOf(path);
      backup = backupOf(name);
    } catch (const std::exception&) {  // no memory, or no text
    }
    if (backup.empty() || name.find(PmChar{0}) != Text::npos) {
      error = Errc::kNotOpened;
    } else if (InitPmTotalDataController() != 1) {
      error = Errc::kNotLibrary;
    } else {
      openOrRestore(name, FExists(backup.c_str()) == 0, error);
    }
  }

  ~Vault() {
    std::error_code ignored;
    close(ignored);
  }

  Vault(const Vault&) = delete;
  Vault& operator=(const Vault&) = delete;
  /** Takes a vault over. */
  Vault(Vault&& other) noexcept
      : handle_(std::exchange(other.handle_, nullptr)), restored_(std::exchange(other.restored_, false)) {}
  /** Closes this vault, as the destructor without a report, and takes another over. */
  Vault& operator=(Vault&& other) noexcept {
    Vault taken(std::move(other));
    std::swap(handle_, taken.handle_);
    std::swap(restored_, taken.restored_);
    return *this;
  }

  /** Writes all changes and closes. The vault is closed whatever the error. */
  void close(std::error_code& error) noexcept {
    error.clear();
    if (handle_ == nullptr) return;
    sync(error);
    CloseDataBaseFile(std::exchange(handle_, nullptr));
    ReleasePmTotalDataController();
    restored_ = false;
  }
  /** @copydoc close(std::error_code&) */
  void close() {
    orThrow("close", [&](std::error_code& error) { close(error); });
  }

  /** Whether a vault is open. */
  explicit operator bool() const noexcept { return handle_ != nullptr; }
  /** The handle, for the functions of pmstore.h; null when no vault is open. */
  DataBaseHandle* handle() const noexcept { return handle_; }
  /** Whether opening restored the vault from a backup. Of a vault that was open already it says nothing. */
  bool restored() const noexcept { return restored_; }

  /** Stores bytes under a new random ID with a kind and, when not null, a user-data string. 0 when nothing was
   * stored. An ID together with an error: the item is stored in memory, and waits there for the next sync. */
  uint32_t add(uint32_t kind, const PmChar* userData, std::string_view bytes,
               std::error_code& error) noexcept {
    const uint32_t id = CreateNewItemID(handle_, kind, userData);
    if (id == 0) {
      error = Errc::kNotCreated;
      return 0;
    }
    store(id, bytes, error);
    if (error) return 0;
    set(error, PmSyncDirtyData());
    return id;
  }
  /** The same, throwing; an item that waits in memory is found by find() and ids(). */
  uint32_t add(uint32_t kind, const PmChar* userData, std::string_view bytes) {
    uint32_t id = 0;
    orThrow("add", [&](std::error_code& error) { id = add(kind, userData, bytes, error); });
    return id;
  }

  /** Makes bytes the whole content of an item. */
  void put(uint32_t id, std::string_view bytes, Sync when, std::error_code& error) noexcept {
    store(id, bytes, error);
    if (!error && when == Sync::kNow) set(error, PmSyncDirtyData());
  }
  /** @copydoc put(uint32_t,std::string_view,Sync,std::error_code&) */
  void put(uint32_t id, std::string_view bytes, Sync when = Sync::kNow) {
    orThrow("put", [&](std::error_code& error) { put(id, bytes, when, error); });
  }

  /** Writes bytes into an item at an offset, lengthening it when they reach past its end. */
  void modify(uint32_t id, uint32_t offset, std::string_view bytes, Sync when,
              std::error_code& error) noexcept {
    const bool fits = bytes.size() <= UINT32_MAX && offset <= INT32_MAX;
    if (fits) get(id);  // an item grows only in memory
    set(error, fits ? PmModifyItem(handle_, id, bytes.data(), static_cast<int32_t>(offset),
                                   static_cast<uint32_t>(bytes.size()), static_cast<int32_t>(when))
                    : static_cast<int32_t>(Errc::kRefused));
  }
  /** @copydoc modify(uint32_t,uint32_t,std::string_view,Sync,std::error_code&) */
  void modify(uint32_t id, uint32_t offset, std::string_view bytes, Sync when = Sync::kNow) {
    orThrow("modify", [&](std::error_code& error) { modify(id, offset, bytes, when, error); });
  }

  /** Removes an item and its ID, and marks its blocks free on the disk. */
  void remove(uint32_t id, std::error_code& error) noexcept {
    set(error, DeleteItemFromDataBase(handle_, id, 1));
    if (!error) set(error, PmSyncDirtyData());
  }
  /** @copydoc remove(uint32_t,std::error_code&) */
  void remove(uint32_t id) {
    orThrow("remove", [&](std::error_code& error) { remove(id, error); });
  }

  /** An item's bytes; nothing when there is no such item or when it is damaged. */
  std::optional<ItemView> get(uint32_t id) const noexcept {
    uint32_t idThenSize = id;
    const void* bytes = PmGetItemPtrByID(handle_, &idThenSize);
    if (bytes == nullptr) return std::nullopt;
    return ItemView(bytes, idThenSize);
  }

  /** The stored ID of a kind and a user-data string. */
  std::optional<uint32_t> find(uint32_t kind, const PmChar* userData) const noexcept {
    const uint32_t id = GetItemIDByUserdata(handle_, kind, userData);
    if (id == 0) return std::nullopt;
    return id;
  }

  /** An ID's user-data string, lent; null when it has none or is unknown. */
  const PmChar* userData(uint32_t id) const noexcept {
    uint32_t pending;
    return GetItemAddons(handle_, id, &pending);
  }

  /** The number of stored items of a kind. */
  uint32_t count(uint32_t kind) const noexcept { return GetItemCount(handle_, kind); }

  /** The stored IDs of a kind, in their order. */
  std::vector<uint32_t> ids(uint32_t kind) const {
    std::vector<uint32_t> result;
    for (uint32_t id = FirstGetItemID(handle_, kind); id != 0; id = NextGetItemID(handle_, kind))
      result.push_back(id);
    return result;
  }

  /** Writes all changes. Inside a transaction it writes nothing. */
  void sync(std::error_code& error) noexcept {
    set(error, select() ? PmSyncDirtyData() : static_cast<int32_t>(Errc::kNoVault));
  }
  /** @copydoc sync(std::error_code&) */
  void sync() {
    orThrow("sync", [&](std::error_code& error) { sync(error); });
  }

 private:
  friend class Transaction;

  // Throws what the call reports.
  template <typename Call>
  static void orThrow(const char* what, Call call) {
    std::error_code error;
    call(error);
    if (error) throw Error(error, what);
  }

  static void set(std::error_code& error, int32_t result) noexcept {
    error = result != 0 ? make_error_code(static_cast<Errc>(result)) : std::error_code();
  }

  // Opens a vault, restored first when a crash left a backup. Counts the library's user off when that fails.
  void openOrRestore(const Text& name, bool left, std::error_code& error) noexcept {
    if (left && PmRestoreBackupFile(name.c_str()) != 0) {
      error = Errc::kNotRestored;
    } else if ((handle_ = OpenDataBaseFile(name.c_str())) == nullptr) {
      error = Errc::kNotOpened;
    }
    if (error) return ReleasePmTotalDataController();
    if (left) CloseDataBaseFile(handle_);  // the restore counted as an open of its own
    restored_ = left;
  }

  // Stores in memory, the bytes and the ID or neither: what the disk refuses then waits for the next sync.
  void store(uint32_t id, std::string_view bytes, std::error_code& error) noexcept {
    const bool fits = bytes.size() <= UINT32_MAX;
    set(error, fits ? InserItemToDataBase(handle_, id, bytes.data(), static_cast<uint32_t>(bytes.size()), 0)
                    : static_cast<int32_t>(Errc::kRefused));
  }

  // Makes the vault's file the current one: a change that is always refused, but only once the file is
  // current. False when no vault is open.
  bool select() const noexcept {
    if (handle_ == nullptr) return false;
    PmModifyItem(handle_, 1, nullptr, -2, 0, 0);
    return true;
  }

  static Text nameOf(const std::filesystem::path& path) {
#if defined(_WIN32)
    return std::filesystem::path(path).make_preferred().native();
#else
    return path.u16string();
#endif
  }

  static Text backupOf(const Text& name) {
    const size_t file = name.find_last_of(PM_TEXT("/\\")) + 1;  // 0 when there is no folder
    return name.substr(0, file) + PM_TEXT(".") + name.substr(file) + PM_TEXT(".bak");
  }

  DataBaseHandle* handle_ = nullptr;
  bool restored_ = false;
};

/**
 * A transaction on a vault: nothing is written until commit(), which writes all of it, or none for whoever
 * recovers from a crash. It cannot be undone: an object that goes without commit() writes as well, and
 * reports nothing.
 */
class Transaction {
 public:
  /** Starts one. The vault stays open, and in its place, as long as the transaction; where none is open, commit()
   * says so. */
  explicit Transaction(const Vault& vault) noexcept : vault_(&vault) {
    if (vault_->select()) PmStartTransaction();
  }

  ~Transaction() {
    std::error_code ignored;
    commit(ignored);
  }

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /** Ends the transaction and writes; does nothing the second time. */
  void commit(std::error_code& error) noexcept {
    error.clear();
    if (vault_ == nullptr) return;
    const bool open = std::exchange(vault_, nullptr)->select();
    Vault::set(error, open ? PmStopTransaction() : static_cast<int32_t>(Errc::kNoVault));
  }
  /** @copydoc commit(std::error_code&) */
  void commit() {
    Vault::orThrow("commit", [&](std::error_code& error) { commit(error); });
  }

 private:
  const Vault* vault_;
};

}  // namespace pmstore

#endif
