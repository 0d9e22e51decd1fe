// Calls on vaults, each made on the library and on the model. While calls of the system fail, what a call may have
// come to is kept as several models, until a call that goes well tells them apart; and with each call stands what
// the medium may give at each moment if the process or the power ended there.
#pragma once

#include <functional>

#include "tests/faults/seam.h"
#include "tests/support/fixture.h"
#include "tests/support/model.h"

// Data files, with nothing but the mark in their free blocks.
using States = std::set<Bytes>;
Bytes Blank(Bytes file);
std::string Describe(const States& states);

// Opens or restores a closed vault and closes it again. An empty text when it was in one of the states, else what
// is wrong.
enum class Opening { kPlain, kRestore };
std::string Judge(const std::filesystem::path& path, Opening opening, const States& states);

// Copies a vault with what stands beside it to another folder.
void CopyVault(const std::filesystem::path& from, const std::filesystem::path& to);

class Session {
 public:
  static constexpr int kVaults = 2;

  struct Call {
    size_t firstChange, endChange;
    States during[kVaults], after[kVaults];
  };

  explicit Session(const std::filesystem::path& folder) : folder_(folder) {}

  // The calls; each does nothing when the vault is not open. `v` is the vault's number.
  void open(int v, Opening opening = Opening::kPlain);
  void close(int v);
  void insert(int v, uint32_t id, size_t size, bool syncNow = false, size_t userDataLength = 0);
  void modify(int v, uint32_t id, int32_t offset, size_t size, bool syncNow = false);
  void remove(int v, uint32_t id, bool syncNow = false);
  void read(int v, uint32_t id);
  void start(int v) { call(v, PmStartTransaction, &Model::start); }
  void stop(int v);
  void sync(int v) { call(v, PmSyncDirtyData, &Model::sync); }
  void takeDown();  // the library, with the vaults that are open; and brings it up again

  // Calls drawn by the seed; begins and ends with any vault open or closed.
  void draw(uint32_t seed, int calls);

  bool isOpen(int v) const { return vaults_[v].handle != nullptr; }
  std::filesystem::path path(int v) const { return pathIn(folder_, v); }
  static std::filesystem::path pathIn(const std::filesystem::path& folder, int v) {
    return folder / (v == 0 ? "a.db" : "b.db");
  }

  // What the medium may give now. For a session that starts on files that stand already, it is to be set.
  const States& states(int v) const { return vaults_[v].states; }
  void assume(int v, const States& states) { vaults_[v].states = states; }

  // Notes the calls from now on, with how many changes there were.
  void record(const std::vector<seam::Change>* changes) { changes_ = changes, calls_.clear(); }
  const std::vector<Call>& calls() const { return calls_; }

 private:
  struct Vault {
    DataBaseHandle* handle = nullptr;
    std::vector<Model> models{Model()};
    States states{Bytes()};
    bool doubtful = false;  // something failed, and no call has told since that all is written
    int failedFlushes = 0;  // of the data file, when it was opened
  };

  Call begin() const;
  void end(Call call);
  void call(int v, const std::function<int32_t()>& library, const std::function<int32_t(Model&)>& model);
  static void dropDoubles(std::vector<Model>* models);
  static States closing(const Vault& vault, bool canFail);
  void closed(int v, bool struck, Call* call);
  void openedToRead(int v, Call call);
  void tellApart(int v);
  Bytes newBytes(size_t size) { return Pattern(size, ++seed_); }

  std::filesystem::path folder_;
  Vault vaults_[kVaults];
  std::vector<Call> calls_;
  const std::vector<seam::Change>* changes_ = nullptr;
  uint32_t seed_ = 0;
};
