// What a disk may hold when the power fails, worked out from the recorded changes.
//
// A change is pending until a barrier carries it to the medium: the sync of its file for sectors and sizes,
// the sync of the folder for names. At any moment any subset of the pending changes may have reached it, in
// any order; a name changes as a whole, a write sector by sector. After a failed sync, the system takes what
// it could not write for written: it stays pending whatever is synced later, until it is written anew.
#pragma once

#include <map>

#include "tests/faults/seam.h"
#include "tests/support/vault.h"

namespace seam {

using Files = std::map<std::string, vault::Bytes>;  // by name

class Medium {
 public:
  // Takes a file that stands on the medium already; `number` as seam::FileNumber gives it.
  void place(const std::string& name, int number, const vault::Bytes& bytes);
  void apply(const Change& change);

  size_t pendingNum() const { return pending_.size(); }

  // The files when of the pending changes those happened that `happened` says.
  Files build(const std::vector<bool>& happened) const;

 private:
  struct Pending {
    Change::Kind kind;
    int file;
    uint64_t at;  // the sector's position, or the size
    vault::Bytes sector;
    std::string name, newName;
    bool lost = false;
  };
  struct Content {
    uint64_t size = 0;
    std::map<uint64_t, vault::Bytes> sectors;
  };
  struct State {
    std::map<int, Content> files;
    std::map<std::string, int> names;
  };

  static void perform(const Pending& change, State* state);
  void addSize(int file, uint64_t size);
  void settle(int file);
  template <typename Is>
  void settleIf(Is is);

  State durable_;
  std::map<int, uint64_t> sizes_;  // as the running process sees them
  std::vector<Pending> pending_;
};

}  // namespace seam
