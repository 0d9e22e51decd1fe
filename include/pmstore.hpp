/**
 * @file pmstore.hpp
 * The library for C++17 and later: vaults that close themselves, transactions that end themselves, bytes and names
 * of the standard library's types, errors as exceptions or as codes.
 *
 * Functions that can fail come twice, as in the standard library's file system: one throws pmstore::Error,
 * the other, with a last argument of std::error_code, throws nothing. What the library promises is said in
 * pmstore.h and holds here.
 *
 * A vault acts on its own file only, whichever of them the library has as its current one. Vaults of one path share
 * the file, its changes and its transaction.
 */
#ifndef PMSTORE_HPP
#define PMSTORE_HPP

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "pmerror.hpp"
#include "pmsharing.hpp"
#include "pmstore.h"
#include "pmtext.hpp"

/** The C++ interface. */
namespace pmstore {

/** When a change is to reach the disk. */
enum class Sync : int32_t {
  kLater = 0, /**< with the next sync of the vault */
  kNow = 1    /**< before the call returns */
};

/** Whether somebody else may have a vault open when it is opened. */
enum class Use : int32_t {
  kShared = 0, /**< yes: the first to change it has it for himself, and what others change is refused */
  kAlone = 1   /**< no, not even this program: what isOpen() tells is refused */
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
  /** A copy of the bytes. */
  std::vector<std::byte> copy() const { return {begin(), end()}; }

 private:
  const std::byte* data_;
  size_t size_;
};

/** An item as a range gives it. */
struct Item {
  uint32_t id;                   /**< its ID */
  std::optional<ItemView> bytes; /**< nothing where the item is damaged, or has been removed meanwhile */
};

/** @cond */
namespace detail {

// An open file: what the Vaults of one path share.
struct File {
  DataBaseHandle* handle;
  std::filesystem::path path;
  unsigned users = 0;
  unsigned transactions = 0;  // begun, one inside the other

  // Makes the file the current one: a change that is always refused, but only once the file is current.
  void select() const noexcept { PmModifyItem(handle, 1, nullptr, -2, 0, 0); }
};

// Never destroyed: a vault may go after everything else.
inline std::map<DataBaseHandle*, std::shared_ptr<File>>& Files() {
  static auto& instance = *new std::map<DataBaseHandle*, std::shared_ptr<File>>;
  return instance;
}

inline void Set(std::error_code& error, int32_t result) noexcept {
  error = result != 0 ? make_error_code(static_cast<Errc>(result)) : std::error_code();
}

// Throws what the call reports.
template <typename Call>
void OrThrow(const char* what, std::shared_ptr<const File> file, Call call) {
  std::error_code error;
  call(error);
  if (error) throw Error(error, what, file != nullptr ? file->path : std::filesystem::path());
}

}  // namespace detail
/** @endcond */

class ItemRange;

/** An open vault. It is closed with the object, or by close(), which reports. */
class Vault {
 public:
  /** Opens a vault, making a missing one. */
  explicit Vault(const std::filesystem::path& path, Use use = Use::kShared) {
    std::error_code error;
    open(path, use, error);
    if (error) throw Error(error, "open", path);
  }

  /** No vault, until one is opened or moved in. */
  Vault() noexcept = default;

  /** The same without exceptions. A vault that was open before is closed, and stays open, in its transaction, when its
   * changes cannot be written. */
  void open(const std::filesystem::path& path, std::error_code& error) noexcept {
    open(path, Use::kShared, error);
  }
  /** @copydoc open(const std::filesystem::path&,std::error_code&) */
  void open(const std::filesystem::path& path, Use use, std::error_code& error) noexcept {
    error.clear();
    if (file_ != nullptr) {
      detail::Set(error, writeAll());
      if (error && file_->transactions > 0) PmStartTransaction();
      if (error) return;
      close(error);
    }
    if (use == Use::kAlone && isOpen(path)) {
      error = Errc::kInUse;
      return;
    }
    if (InitPmTotalDataController() != 1) {
      error = Errc::kNotLibrary;
      return;
    }
    if (!attach(path)) {
      ReleasePmTotalDataController();
      error = Errc::kNotOpened;
    }
  }

  ~Vault() {
    std::error_code ignored;
    close(ignored);
  }

  Vault(const Vault&) = delete;
  Vault& operator=(const Vault&) = delete;
  /** Takes a vault over. */
  Vault(Vault&& other) noexcept : file_(std::move(other.file_)) {}
  /** Closes this vault, as the destructor without a report, and takes another over. */
  Vault& operator=(Vault&& other) noexcept {
    Vault taken(std::move(other));
    std::swap(file_, taken.file_);
    return *this;
  }

  /** Writes all changes, those of a transaction that is open too, and closes. The vault is closed whatever the
   * error. */
  void close(std::error_code& error) noexcept {
    error.clear();
    if (file_ == nullptr) return;
    detail::Set(error, writeAll());
    if (--file_->users == 0) detail::Files().erase(file_->handle);
    CloseDataBaseFile(file_->handle);
    ReleasePmTotalDataController();
    file_.reset();
  }
  /** @copydoc close(std::error_code&) */
  void close() {
    detail::OrThrow("close", file_, [&](std::error_code& error) { close(error); });
  }

  /** Whether a vault is open. */
  explicit operator bool() const noexcept { return file_ != nullptr; }
  /** The handle, for the functions of pmstore.h; null when no vault is open. */
  DataBaseHandle* handle() const noexcept { return file_ != nullptr ? file_->handle : nullptr; }

  /** Stores bytes under a new random ID with a kind and a name, or null for none. 0 when nothing was stored. An ID
   * together with an error: the item is stored in memory, and waits there for the next sync. */
  uint32_t add(uint32_t kind, const Name& name, Bytes bytes, std::error_code& error) noexcept {
    if (!takes(name, error)) return 0;
    const uint32_t id = CreateNewItemID(handle(), kind, name.get());
    if (id == 0) {
      error = Errc::kNotCreated;
      return 0;
    }
    store(id, bytes, error);
    if (error) return 0;
    detail::Set(error, PmSyncDirtyData());
    return id;
  }
  /** The same, throwing; an item that waits in memory is found by find() and ids(). */
  uint32_t add(uint32_t kind, const Name& name, Bytes bytes) {
    uint32_t id = 0;
    detail::OrThrow("add", file_, [&](std::error_code& error) { id = add(kind, name, bytes, error); });
    return id;
  }

  /** Makes an ID of one's own choice ready for its first put(). */
  void retain(uint32_t id, uint32_t kind, const Name& name, std::error_code& error) noexcept {
    if (takes(name, error) && RetainID(handle(), id, kind, name.get()) != 1) error = Errc::kNotCreated;
  }
  /** @copydoc retain(uint32_t,uint32_t,const Name&,std::error_code&) */
  void retain(uint32_t id, uint32_t kind, const Name& name = nullptr) {
    detail::OrThrow("retain", file_, [&](std::error_code& error) { retain(id, kind, name, error); });
  }

  /** Makes bytes the whole content of an item. */
  void put(uint32_t id, Bytes bytes, Sync when, std::error_code& error) noexcept {
    if (!takes(nullptr, error)) return;
    store(id, bytes, error);
    if (!error && when == Sync::kNow) detail::Set(error, PmSyncDirtyData());
  }
  /** @copydoc put(uint32_t,Bytes,Sync,std::error_code&) */
  void put(uint32_t id, Bytes bytes, Sync when = Sync::kNow) {
    detail::OrThrow("put", file_, [&](std::error_code& error) { put(id, bytes, when, error); });
  }

  /** Writes bytes into an item at an offset, lengthening it when they reach past its end. */
  void modify(uint32_t id, uint32_t offset, Bytes bytes, Sync when, std::error_code& error) noexcept {
    if (!takes(nullptr, error)) return;
    const bool fits = bytes.size() <= UINT32_MAX && offset <= INT32_MAX;
    if (fits) (void)get(id);  // an item grows only in memory
    detail::Set(error, fits ? PmModifyItem(handle(), id, bytes.data(), static_cast<int32_t>(offset),
                                           static_cast<uint32_t>(bytes.size()), static_cast<int32_t>(when))
                            : static_cast<int32_t>(Errc::kRefused));
  }
  /** @copydoc modify(uint32_t,uint32_t,Bytes,Sync,std::error_code&) */
  void modify(uint32_t id, uint32_t offset, Bytes bytes, Sync when = Sync::kNow) {
    detail::OrThrow("modify", file_, [&](std::error_code& error) { modify(id, offset, bytes, when, error); });
  }

  /** Removes an item and its ID, and marks its blocks free on the disk. */
  void remove(uint32_t id, std::error_code& error) noexcept {
    if (!takes(nullptr, error)) return;
    detail::Set(error, DeleteItemFromDataBase(handle(), id, 1));
    if (!error) detail::Set(error, PmSyncDirtyData());
  }
  /** @copydoc remove(uint32_t,std::error_code&) */
  void remove(uint32_t id) {
    detail::OrThrow("remove", file_, [&](std::error_code& error) { remove(id, error); });
  }

  /** An item's bytes; nothing when there is no such item or when it is damaged. */
  [[nodiscard]] std::optional<ItemView> get(uint32_t id) const& noexcept {
    uint32_t idThenSize = id;
    const void* bytes = PmGetItemPtrByID(handle(), &idThenSize);
    if (bytes == nullptr) return std::nullopt;
    return ItemView(bytes, idThenSize);
  }
  std::optional<ItemView> get(uint32_t id) const&& = delete;  // would outlive the vault

  /** The stored ID of a kind and a name. */
  [[nodiscard]] std::optional<uint32_t> find(uint32_t kind, const Name& name) const noexcept {
    const uint32_t id = name.valid() ? GetItemIDByUserdata(handle(), kind, name.get()) : 0;
    if (id == 0) return std::nullopt;
    return id;
  }

  /** An ID's user-data string, lent; null when it has none or is unknown. */
  const PmChar* userData(uint32_t id) const& noexcept {
    uint32_t pending;
    return GetItemAddons(handle(), id, &pending);
  }
  const PmChar* userData(uint32_t id) const&& = delete;  // would outlive the vault

  /** An ID's name in UTF-8, as toUtf8() gives it; nothing when it has none or is unknown. */
  std::optional<std::string> nameOf(uint32_t id) const {
    const PmChar* text = userData(id);
    if (text == nullptr) return std::nullopt;
    return toUtf8(text);
  }

  /** The number of stored items of a kind. */
  uint32_t count(uint32_t kind) const noexcept { return GetItemCount(handle(), kind); }

  /** The stored IDs of a kind, in their order. */
  std::vector<uint32_t> ids(uint32_t kind) const {
    std::vector<uint32_t> result;
    for (uint32_t id = FirstGetItemID(handle(), kind); id != 0; id = NextGetItemID(handle(), kind))
      result.push_back(id);
    return result;
  }

  /** The stored items of a kind, for a range-for: `for (const auto& [id, bytes] : vault.items(kind))`. Each is read
   * when its turn comes. */
  ItemRange items(uint32_t kind) const&;
  ItemRange items(uint32_t kind) const&& = delete;  // would outlive the vault

  /** Writes all changes. Inside a transaction it writes nothing. */
  void sync(std::error_code& error) noexcept {
    if (!takes(nullptr, error)) return;
    file_->select();
    detail::Set(error, PmSyncDirtyData());
  }
  /** @copydoc sync(std::error_code&) */
  void sync() {
    detail::OrThrow("sync", file_, [&](std::error_code& error) { sync(error); });
  }

 private:
  friend class Transaction;

  bool attach(const std::filesystem::path& path) noexcept {
    DataBaseHandle* handle = nullptr;
    try {
      const Text name = textOf(path);
      if (name.find(PmChar{0}) != name.npos) return false;
      auto file = std::make_shared<detail::File>(detail::File{nullptr, path});
      handle = OpenDataBaseFile(name.c_str());
      if (handle == nullptr) return false;
      file->handle = handle;
      file_ = detail::Files().try_emplace(handle, std::move(file)).first->second;
      ++file_->users;
      return true;
    } catch (const std::exception&) {  // no memory, or no text
      if (handle != nullptr) CloseDataBaseFile(handle);
      return false;
    }
  }

  // Writes what the last user of a file must not leave, and else what can be written.
  int32_t writeAll() noexcept {
    file_->select();
    return file_->users == 1 && file_->transactions > 0 ? PmStopTransaction() : PmSyncDirtyData();
  }

  // Whether a vault is open and the name is one.
  bool takes(const Name& name, std::error_code& error) const noexcept {
    error.clear();
    if (file_ == nullptr) {
      error = Errc::kNoVault;
    } else if (!name.valid()) {
      error = Errc::kBadName;
    }
    return !error;
  }

  // Stores in memory, the bytes and the ID or neither: what the disk refuses then waits for the next sync.
  void store(uint32_t id, Bytes bytes, std::error_code& error) noexcept {
    const bool fits = bytes.size() <= UINT32_MAX;
    detail::Set(error,
                fits ? InserItemToDataBase(handle(), id, bytes.data(), static_cast<uint32_t>(bytes.size()), 0)
                     : static_cast<int32_t>(Errc::kRefused));
  }

  static Text textOf(const std::filesystem::path& path) {
#if defined(_WIN32)
    return std::filesystem::path(path).make_preferred().native();
#else
    return path.u16string();
#endif
  }

  std::shared_ptr<detail::File> file_;
};

/** The items of a kind, as they were when the range was made. The vault stays open, and in its place, as long as the
 * range. */
class ItemRange {
 public:
  /** Goes over the range. */
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag; /**< it gives values */
    using value_type = Item;                           /**< what it gives */
    using difference_type = std::ptrdiff_t;            /**< as every iterator */
    using pointer = const Item*;                       /**< as every iterator */
    using reference = Item;                            /**< what it gives */

    /** At one of the IDs. */
    Iterator(const Vault* vault, const uint32_t* id) noexcept : vault_(vault), id_(id) {}
    /** The item, read now. */
    Item operator*() const noexcept { return {*id_, vault_->get(*id_)}; }
    /** To the next item. */
    Iterator& operator++() noexcept {
      ++id_;
      return *this;
    }
    /** To the next item. */
    Iterator operator++(int) noexcept { return {vault_, id_++}; }
    /** Whether both are at the same item. */
    bool operator==(const Iterator& other) const noexcept { return id_ == other.id_; }
    /** Whether they are at different items. */
    bool operator!=(const Iterator& other) const noexcept { return id_ != other.id_; }

   private:
    const Vault* vault_;
    const uint32_t* id_;
  };

  /** The items of these IDs. */
  ItemRange(const Vault& vault, std::vector<uint32_t> ids) noexcept : vault_(&vault), ids_(std::move(ids)) {}

  Iterator begin() const noexcept { return {vault_, ids_.data()}; }             /**< the first item */
  Iterator end() const noexcept { return {vault_, ids_.data() + ids_.size()}; } /**< behind the last item */
  size_t size() const noexcept { return ids_.size(); }                          /**< the number of items */
  bool empty() const noexcept { return ids_.empty(); }                          /**< whether there is none */

 private:
  const Vault* vault_;
  std::vector<uint32_t> ids_;
};

inline ItemRange Vault::items(uint32_t kind) const& {
  return {*this, ids(kind)};
}

/**
 * A transaction on a vault: nothing is written until commit(), which writes all of it, or none for whoever
 * recovers from a crash. It cannot be undone: an object that goes without commit() writes as well, and
 * reports nothing. One that begins inside another on the same file is part of it: what is done is written at the
 * outer end. The close of the file's last vault ends it.
 */
class Transaction {
 public:
  /** Starts one; where no vault is open, commit() says so. */
  explicit Transaction(const Vault& vault) noexcept : file_(vault.file_) {
    if (file_ == nullptr) return;
    file_->select();
    if (file_->transactions++ == 0) PmStartTransaction();
  }
  explicit Transaction(const Vault&&) = delete;

  ~Transaction() {
    std::error_code ignored;
    commit(ignored);
  }

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /** Ends the transaction and writes; does nothing the second time. */
  void commit(std::error_code& error) noexcept {
    error.clear();
    if (std::exchange(ended_, true)) return;
    if (file_ == nullptr) {
      error = Errc::kNoVault;
    } else if (file_->users > 0 && --file_->transactions == 0) {
      file_->select();
      detail::Set(error, PmStopTransaction());
    }
  }
  /** @copydoc commit(std::error_code&) */
  void commit() {
    detail::OrThrow("commit", file_, [&](std::error_code& error) { commit(error); });
  }

 private:
  std::shared_ptr<detail::File> file_;
  bool ended_ = false;
};

}  // namespace pmstore

#endif
