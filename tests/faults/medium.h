// What a disk may hold when the power fails, worked out from the recorded changes.
//
// A change is pending until a barrier carries it to the medium: the sync of its file for sectors and sizes,
// the sync of the folder for names. At any moment any subset of the pending changes may have reached it, in
// any order; a name changes as a whole, a write sector by sector, and the 4 KiB around a sector that was being
// written may hold anything. After a failed sync, the system takes what it could not write for written: it
// stays pending whatever is synced later, until it is written anew.
#pragma once

#include <algorithm>
#include <map>
#include <random>

#include "tests/faults/seam.h"
#include "tests/support/vault.h"

namespace seam {

struct Content {
  uint64_t size = 0;
  std::map<uint64_t, vault::Bytes> sectors{};  // by position, without those that are zeros
  bool operator==(const Content& other) const { return size == other.size && sectors == other.sectors; }
};
using Files = std::map<std::string, Content>;  // by name

enum class Fate : uint8_t { kMissed, kHappened, kDestroyed };

class Medium {
 public:
  void apply(const Change& change) {
    if (change.kind == Change::kWrite || change.kind == Change::kSetSize) {
      addSize(change);
      for (size_t i = 0; i < change.bytes.size(); i += kSector) addSector(change, i);
    } else if (change.kind == Change::kFailedSync) {
      for (Change& p : pending_) p.lost |= p.file == change.file && !p.isName();
    } else if (change.kind == Change::kSyncFile) {
      settleFile(change.file);
    } else if (change.kind == Change::kSyncFolder) {
      settleIf([](const Change& p) { return p.isName(); });
    } else {
      add(change);
    }
  }

  size_t pendingNum() const { return pending_.size(); }

  // The files when the pending changes met these fates.
  Files build(const std::vector<Fate>& fates, std::mt19937& random) const {
    State state = durable_;
    for (size_t i = 0; i < pending_.size(); ++i) {
      if (fates[i] == Fate::kHappened) perform(pending_[i], &state);
      if (fates[i] == Fate::kDestroyed) destroy(pending_[i], &state, random);
    }
    return filesOf(std::move(state));
  }

  // The files as the running process sees them.
  Files now() const { return filesOf(now_); }

 private:
  struct State {
    std::map<int, Content> files;
    std::map<std::string, int> names;
  };

  // A size that was cut short of written sectors may come later: they count only below it.
  static Files filesOf(State state) {
    Files files;
    for (const auto& [name, number] : state.names) {
      Content& content = state.files[number];
      content.sectors.erase(content.sectors.lower_bound(content.size), content.sectors.end());
      files[name] = content;
    }
    return files;
  }

  static void put(Content* content, uint64_t position, const vault::Bytes& bytes) {
    if (std::count(bytes.begin(), bytes.end(), 0) == static_cast<ptrdiff_t>(bytes.size())) {
      content->sectors.erase(position);
    } else {
      content->sectors[position] = bytes;
    }
  }

  static void perform(const Change& change, State* state) {
    Content& content = state->files[change.file];
    if (change.kind == Change::kWrite) {
      put(&content, change.position, change.bytes);
    } else if (change.kind == Change::kSetSize) {
      if (change.size < content.size)
        content.sectors.erase(content.sectors.lower_bound(change.size), content.sectors.end());
      content.size = change.size;
    } else if (change.kind == Change::kRemove) {
      state->names.erase(change.name);
    } else if (change.kind == Change::kCreate) {
      state->names[change.name] = change.file;
    } else {
      const auto old = state->names.find(change.name);
      if (old != state->names.end() && old->second == change.file) state->names.erase(old);
      state->names[change.newName] = change.file;
    }
  }

  static void destroy(const Change& change, State* state, std::mt19937& random) {
    if (change.kind != Change::kWrite) return;
    constexpr uint64_t kPage = 4096;
    const uint64_t from = change.position / kPage * kPage;
    const bool toZeros = random() % 2 == 0;
    for (uint64_t at = from; at < from + kPage; at += kSector) {
      vault::Bytes& bytes = state->files[change.file].sectors[at];
      bytes.resize(kSector);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(toZeros ? 0 : random());
    }
  }

  void add(const Change& change) {
    pending_.push_back(change);
    perform(change, &now_);
  }

  // Writing what is there already changes nothing, unless that is not sure to be there.
  void addSector(const Change& write, size_t at) {
    const auto from = write.bytes.begin() + static_cast<ptrdiff_t>(at);
    const Change change{Change::kWrite,         write.file, "", "", 0, write.position + at,
                        {from, from + kSector}, write.lost};
    const auto& sectors = now_.files[change.file].sectors;
    const auto old = sectors.find(change.position);
    const bool same = change.bytes == (old != sectors.end() ? old->second : vault::Bytes(kSector));
    if (!same || isPending(change)) add(change);
  }

  bool isPending(const Change& change) const {
    return std::any_of(pending_.begin(), pending_.end(), [&](const Change& p) {
      return p.kind == change.kind && p.file == change.file && p.position == change.position;
    });
  }

  // A write carries the size along, also where it was given up for written before.
  void addSize(const Change& change) {
    const bool lost = std::any_of(pending_.begin(), pending_.end(), [&](const Change& p) {
      return p.lost && p.file == change.file && p.kind == Change::kSetSize;
    });
    if (now_.files[change.file].size != change.size || lost)
      add({Change::kSetSize, change.file, "", "", change.size});
  }

  // Carries a file's changes to the medium. With a sector or a size goes everything that was tried with it
  // before.
  void settleFile(int file) {
    std::set<std::pair<Change::Kind, uint64_t>> carried;
    for (const Change& p : pending_) {
      if (p.file == file && !p.lost && !p.isName()) carried.emplace(p.kind, p.position);
    }
    settleIf([&](const Change& p) { return p.file == file && carried.count({p.kind, p.position}) != 0; });
    // What was lost behind an end that is durable will never be written any more.
    const uint64_t size = durable_.files[file].size;
    const auto isGone = [&](const Change& p) {
      return p.file == file && p.kind == Change::kWrite && p.position >= size &&
             now_.files[file].size <= size;
    };
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(), isGone), pending_.end());
  }

  template <typename Is>
  void settleIf(Is is) {
    for (const Change& p : pending_) {
      if (is(p)) perform(p, &durable_);
    }
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(), is), pending_.end());
  }

  State durable_, now_;
  std::vector<Change> pending_;
};

}  // namespace seam
