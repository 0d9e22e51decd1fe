// A run of calls on vaults, with what may be found on the medium at each moment if the process or the power
// ended there.
#pragma once

#include <stdlib.h>

#include <tuple>

#include "tests/faults/seam.h"
#include "tests/support/fixture.h"

// A folder in memory where the system has that: many thousands of small files come and go.
struct FastFolder {
  std::string name = std::filesystem::exists("/dev/shm") ? "/dev/shm/pmstore-XXXXXX" : "/tmp/pmstore-XXXXXX";
  const std::filesystem::path path = mkdtemp(name.data());
  ~FastFolder() { std::filesystem::remove_all(path); }
  void clear() const {
    for (const auto& entry : std::filesystem::directory_iterator(path)) remove_all(entry.path());
  }
};

struct Item {
  uint32_t kind = 0;
  std::optional<PmString> userData;
  Bytes bytes;  // none also for an item that is listed but not there
  bool operator==(const Item& other) const {
    return std::tie(kind, userData, bytes) == std::tie(other.kind, other.userData, other.bytes);
  }
};

// A vault's items, and the unlisted IDs whose packets may lie in it.
struct World {
  std::map<uint32_t, Item> items;
  std::set<uint32_t> strays;
};
using Worlds = std::vector<World>;
std::string Describe(const Worlds& worlds);

// What an open database, the current one, lists and holds.
World WorldOf(DataBaseHandle* handle);

// Opens a closed vault by the recovery rule (a backup wins) and closes it again. An empty text when it is one
// of `worlds`, else what is wrong.
std::string Recover(const std::filesystem::path& path, const Worlds& worlds);

class Session {
 public:
  static constexpr int kVaults = 2;
  static std::filesystem::path pathIn(const std::filesystem::path& folder, int v) {
    return folder / (v == 0 ? "a.db" : "b.db");
  }

  // One call: which system calls and changes it made, and what may stand on the medium while it runs and
  // after.
  struct Call {
    int endCall;
    size_t firstChange, endChange;
    Worlds during[kVaults], after[kVaults];
  };

  explicit Session(const std::filesystem::path& folder) : folder_(folder) {}

  // The calls; each does nothing when the vault is not open. `v` is the vault's number.
  void open(int v);  // by the recovery rule
  void close(int v);
  void insert(int v, uint32_t id, size_t size, int32_t syncNow = 0, size_t userDataLength = 0);
  void modify(int v, uint32_t id, int32_t offset, size_t size, int32_t syncNow = 0);
  void remove(int v, uint32_t id, int32_t syncNow = 0);
  void read(int v, uint32_t id) const;
  void start(int v);
  void stop(int v);
  void sync(int v);
  void takeDown();  // the library, with the vaults that are open; and brings it up again

  // The first item that the engine holds for clean and that does not stand in the data file so; else an empty
  // text.
  std::string checkClean(int v) const;
  bool isOpen(int v) const { return vaults_[v].handle != nullptr; }
  int32_t lastResult() const { return lastResult_; }
  std::filesystem::path path(int v) const { return pathIn(folder_, v); }
  const Worlds& onMedium(int v) const { return vaults_[v].durable; }
  // For a session that starts on files that stand already.
  void assume(int v, const Worlds& worlds) { vaults_[v].durable = worlds; }

  // Notes the calls from now on, with how many changes there were.
  void record(const std::vector<seam::Change>* changes);
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
  static Outcome closed(Vault* vault);
  static void dropTransaction(Vault* vault);
  static Outcome synced(const Vault& vault, int32_t result);
  int32_t noted(int32_t result);
  Bytes newBytes(size_t size) { return Pattern(size, ++seed_); }

  std::filesystem::path folder_;
  Vault vaults_[kVaults];
  std::vector<Call> calls_;
  const std::vector<seam::Change>* changes_ = nullptr;
  uint32_t seed_ = 0;
  int32_t lastResult_ = 0;
};

// What is run while things fail: fixed scenarios, one a kind of write.
struct Scenario {
  const char* name;
  void (*prepare)(Session& s);  // before anything fails
  void (*run)(Session& s);
  bool recovers = true;  // the vault opens by the recovery rule at every moment
};
extern const std::vector<Scenario> kScenarios;

// A run of calls drawn by the seed; begins and ends with any vault open or closed.
void RunDrawn(Session& s, uint32_t seed, int length);
