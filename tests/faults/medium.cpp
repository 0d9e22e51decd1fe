#include "tests/faults/medium.h"

#include <algorithm>

namespace seam {

void Medium::place(const std::string& name, int number, const vault::Bytes& bytes) {
  Content& content = durable_.files[number];
  content.size = sizes_[number] = bytes.size();
  for (uint64_t at = 0; at < bytes.size(); at += kSector) {
    vault::Bytes& sector = content.sectors[at];
    sector.assign(bytes.begin() + static_cast<ptrdiff_t>(at),
                  bytes.begin() + static_cast<ptrdiff_t>(std::min<uint64_t>(at + kSector, bytes.size())));
    sector.resize(kSector);
  }
  durable_.names[name] = number;
}

void Medium::addSize(int file, uint64_t size) {
  // A write carries the size along, also where it was given up for written before.
  const bool lost = std::any_of(pending_.begin(), pending_.end(), [&](const Pending& p) {
    return p.lost && p.file == file && p.kind == Change::kSetSize;
  });
  if (sizes_[file] == size && !lost) return;
  sizes_[file] = size;
  pending_.push_back({Change::kSetSize, file, size, {}, "", ""});
}

void Medium::apply(const Change& change) {
  switch (change.kind) {
    case Change::kWrite:
      addSize(change.file, change.size);
      for (size_t i = 0; i < change.bytes.size(); i += kSector) {
        const auto from = change.bytes.begin() + static_cast<ptrdiff_t>(i);
        pending_.push_back(
            {Change::kWrite, change.file, change.position + i, {from, from + kSector}, "", ""});
      }
      break;
    case Change::kSetSize:
      addSize(change.file, change.size);
      break;
    case Change::kSyncFile:
      settle(change.file);
      break;
    case Change::kFailedSync:
      for (Pending& p : pending_)
        p.lost |= p.file == change.file && (p.kind == Change::kWrite || p.kind == Change::kSetSize);
      break;
    case Change::kSyncFolder:
      settleIf([](const Pending& p) { return p.kind != Change::kWrite && p.kind != Change::kSetSize; });
      break;
    default:
      pending_.push_back({change.kind, change.file, 0, {}, change.name, change.newName});
  }
}

// Carries a file's changes to the medium. With a sector or a size goes everything that was tried with it
// before.
void Medium::settle(int file) {
  std::vector<Pending> carried;
  for (const Pending& p : pending_) {
    if (p.file == file && !p.lost && (p.kind == Change::kWrite || p.kind == Change::kSetSize))
      carried.push_back(p);
  }
  settleIf([&](const Pending& p) {
    return p.file == file && std::any_of(carried.begin(), carried.end(), [&](const Pending& c) {
             return c.kind == p.kind && (c.kind == Change::kSetSize || c.at == p.at);
           });
  });
}

template <typename Is>
void Medium::settleIf(Is is) {
  for (const Pending& p : pending_) {
    if (is(p)) perform(p, &durable_);
  }
  pending_.erase(std::remove_if(pending_.begin(), pending_.end(), is), pending_.end());
}

void Medium::perform(const Pending& change, State* state) {
  const auto unname = [&](const std::string& name) {
    const auto found = state->names.find(name);
    if (found != state->names.end() && found->second == change.file) state->names.erase(found);
  };
  switch (change.kind) {
    case Change::kWrite:
      state->files[change.file].sectors[change.at] = change.sector;
      break;
    case Change::kSetSize: {
      Content& content = state->files[change.file];
      content.size = change.at;
      content.sectors.erase(content.sectors.lower_bound(change.at), content.sectors.end());
      break;
    }
    case Change::kRename:
      unname(change.name);
      state->names[change.newName] = change.file;
      break;
    case Change::kRemove:
      state->names.erase(change.name);
      break;
    default:
      state->names[change.name] = change.file;
  }
}

Files Medium::build(const std::vector<bool>& happened) const {
  State state = durable_;
  for (size_t i = 0; i < pending_.size(); ++i) {
    if (happened[i]) perform(pending_[i], &state);
  }
  Files files;
  for (const auto& [name, number] : state.names) {
    const Content& content = state.files[number];
    vault::Bytes& bytes = files[name];
    bytes.resize(content.size);
    for (const auto& [at, sector] : content.sectors) {
      if (at >= bytes.size()) break;
      std::copy_n(sector.begin(), std::min<uint64_t>(kSector, bytes.size() - at),
                  bytes.begin() + static_cast<ptrdiff_t>(at));
    }
  }
  return files;
}

}  // namespace seam
