// What a disk may hold when the power fails, worked out from the recorded changes.
//
// A change is pending until a barrier carries it to the medium: the sync of its file for sectors and sizes,
// the sync of the folder for names. At any moment any subset of the pending changes may have reached it, in
// any order; a name changes as a whole, a write sector by sector. After a failed sync, the system takes what
// it could not write for written: it stays pending whatever is synced later, until it is written anew.
#pragma once

#include <algorithm>
#include <map>

#include "tests/faults/seam.h"
#include "tests/support/vault.h"

namespace seam {

using Files = std::map<std::string, vault::Bytes>;  // by name

class Medium {
 public:
  void apply(const Change& change) {
    if (change.kind == Change::kWrite || change.kind == Change::kSetSize) {
      addSize(change);
      for (size_t i = 0; i < change.bytes.size(); i += kSector) {
        const auto from = change.bytes.begin() + static_cast<ptrdiff_t>(i);
        pending_.push_back(
            {{Change::kWrite, change.file, "", "", 0, change.position + i, {from, from + kSector}}});
      }
    } else if (change.kind == Change::kFailedSync) {
      for (Pending& p : pending_) p.lost |= p.file == change.file && !p.isName();
    } else if (change.kind == Change::kSyncFile) {
      settleFile(change.file);
    } else if (change.kind == Change::kSyncFolder) {
      settleIf([](const Pending& p) { return p.isName(); });
    } else {
      pending_.push_back({change});
    }
  }

  size_t pendingNum() const { return pending_.size(); }

  // The files when of the pending changes those happened that `happened` says.
  Files build(const std::vector<bool>& happened) const {
    State state = durable_;
    for (size_t i = 0; i < pending_.size(); ++i) {
      if (happened[i]) perform(pending_[i], &state);
    }
    Files files;
    for (const auto& [name, number] : state.names) {
      Content& content = state.files[number];
      content.bytes.resize(content.size);
      files[name] = content.bytes;
    }
    return files;
  }

 private:
  struct Pending : Change {
    bool lost = false;
  };
  struct Content {
    uint64_t size = 0;
    vault::Bytes bytes;  // sectors may lie behind the end, for a size that comes later
  };
  struct State {
    std::map<int, Content> files;
    std::map<std::string, int> names;
  };

  static void perform(const Change& change, State* state) {
    Content& content = state->files[change.file];
    if (change.kind == Change::kWrite) {
      content.bytes.resize(std::max(content.bytes.size(), change.position + kSector));
      std::copy(change.bytes.begin(), change.bytes.end(),
                content.bytes.begin() + static_cast<ptrdiff_t>(change.position));
    } else if (change.kind == Change::kSetSize) {
      content.size = change.size;
      content.bytes.resize(std::min(content.bytes.size(), change.size));
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

  // A write carries the size along, also where it was given up for written before.
  void addSize(const Change& change) {
    const bool lost = std::any_of(pending_.begin(), pending_.end(), [&](const Pending& p) {
      return p.lost && p.file == change.file && p.kind == Change::kSetSize;
    });
    if (sizes_[change.file] == change.size && !lost) return;
    sizes_[change.file] = change.size;
    pending_.push_back({{Change::kSetSize, change.file, "", "", change.size}});
  }

  // Carries a file's changes to the medium. With a sector or a size goes everything that was tried with it
  // before.
  void settleFile(int file) {
    std::vector<std::pair<Change::Kind, uint64_t>> carried;
    for (const Pending& p : pending_) {
      if (p.file == file && !p.lost && !p.isName()) carried.emplace_back(p.kind, p.position);
    }
    settleIf([&](const Pending& p) {
      const auto place = std::make_pair(p.kind, p.position);
      return p.file == file && std::find(carried.begin(), carried.end(), place) != carried.end();
    });
  }

  template <typename Is>
  void settleIf(Is is) {
    for (const Pending& p : pending_) {
      if (is(p)) perform(p, &durable_);
    }
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(), is), pending_.end());
  }

  State durable_;
  std::map<int, uint64_t> sizes_;  // as the running process sees them
  std::vector<Pending> pending_;
};

}  // namespace seam
