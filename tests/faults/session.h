// A run of calls on vaults, with what may be found on the medium at each moment if the process or the power
// ended there.
#pragma once

#include <filesystem>

#include "tests/faults/seam.h"
#include "tests/support/fixture.h"

constexpr uint32_t kMaxId = 9;  // sessions use the IDs up to here
constexpr uint32_t kKinds = 2;

// A folder of its own, in memory where the system has that: many thousands of small files come and go.
class FastFolder {
 public:
  FastFolder();
  ~FastFolder() { std::filesystem::remove_all(path_); }
  FastFolder(const FastFolder&) = delete;
  FastFolder& operator=(const FastFolder&) = delete;
  const std::filesystem::path& path() const { return path_; }
  void clear() const;

 private:
  std::filesystem::path path_;
};

struct Item {
  uint32_t id = 0;
  std::optional<PmString> userData;
  Bytes bytes;  // none also for an item that is listed but not there
  uint32_t kind() const { return id % kKinds; }
  bool operator==(const Item& other) const {
    return id == other.id && userData == other.userData && bytes == other.bytes;
  }
};

// A vault's items in the order of their slots, and the unlisted IDs whose packets may lie in it.
struct World {
  std::vector<std::optional<Item>> slots;
  std::set<uint32_t> strays;

  Item* find(uint32_t id);
  void add(const Item& item);
  std::vector<Item> listing() const;  // as a caller enumerates them: kind by kind
};

// What an open database lists.
std::vector<Item> ListingOf(DataBaseHandle* handle);

// Opens a closed vault by the recovery rule (a backup wins) and closes it again. An empty text when it is one
// of `worlds`, else what is wrong.
std::string Recover(const std::filesystem::path& path, const std::vector<World>& worlds);

class Session {
 public:
  static constexpr int kVaults = 2;
  using Worlds = std::vector<World>;

  // One call: which system calls and changes it made, and what may stand on the medium while it runs and
  // after.
  struct Call {
    int firstCall, endCall;
    size_t firstChange, endChange;
    Worlds during[kVaults], after[kVaults];
  };

  explicit Session(const std::filesystem::path& folder);

  // The calls; each does nothing when the vault is not open. `v` is the vault's number.
  void open(int v);  // by the recovery rule
  void close(int v);
  void insert(int v, uint32_t id, size_t size, int32_t syncNow = 0, size_t userDataLength = 0);
  void modify(int v, uint32_t id, int32_t offset, size_t size, int32_t syncNow = 0);
  void remove(int v, uint32_t id, int32_t syncNow = 0);
  void read(int v, uint32_t id);
  void start(int v);
  void stop(int v);
  void sync(int v);

  // The first item that the engine holds for clean and that does not stand in the data file so; else an empty
  // text.
  std::string checkClean(int v);
  bool isOpen(int v) const { return vaults_[v].handle != nullptr; }
  int32_t lastResult() const { return lastResult_; }
  std::filesystem::path path(int v) const { return folder_ / (v == 0 ? "a.db" : "b.db"); }
  const Worlds& onMedium(int v) const { return vaults_[v].durable; }
  // For a session that starts on files that stand already.
  void assume(int v, const Worlds& worlds) { vaults_[v].durable = worlds; }

  // Notes the changes and the calls from now on.
  void record(std::vector<seam::Change>* changes);
  const std::vector<Call>& calls() const { return calls_; }

 private:
  enum Outcome { kNothingWritten, kPerhapsWritten, kWritten };
  struct Vault {
    DataBaseHandle* handle = nullptr;
    World memory;
    Worlds durable{World()};
    bool inTransaction = false;
    std::set<uint32_t> removedInTransaction;
  };

  template <typename Body>
  void call(int v, Body body);
  static void dropTransaction(Vault* vault);
  Outcome synced(const Vault& vault, int32_t result) const;
  int32_t noted(int32_t result);
  void select(int v);
  Bytes newBytes(size_t size) { return Pattern(size, ++seed_); }

  std::filesystem::path folder_;
  Vault vaults_[kVaults];
  std::vector<Call> calls_;
  std::vector<seam::Change>* changes_ = nullptr;
  uint32_t seed_ = 0;
  int32_t lastResult_ = 0;
};
