// The seam between the library and the system. The linker sends the library's system calls and allocations
// here (--wrap), where they are counted and passed on; they can be made to fail, or to be recorded with what
// they change on the medium.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace seam {

enum class Fault {
  kNone,
  kError,        // any call: an input/output error
  kNoSpace,      // calls that need room on the medium
  kShortWrite,   // calls that write: half of the bytes, down to none
  kFailedFlush,  // fsync, fdatasync, close
  kLostWrite,  // calls that write: done, but never carried out; a later flush fails, once for each descriptor
  kStorm,      // any call now and then, one in `at` + 1: an error, or half of the bytes
  kNoMemory,   // allocations, and no call
};

// From now on, number `at` (from 0) of what the fault can strike fails, or all from that one on. The seed is that
// of a storm. With an ending, only calls on files whose names end so are struck.
void Arm(Fault fault, int at = 0, bool fromThenOn = false, uint32_t seed = 0, const std::string& ending = "");
void Disarm();
inline int struck = 0;                              // how often something failed since Arm
inline std::map<std::string, int> failedFlushes{};  // how often a flush of each file has failed
inline bool suspended = false;                      // nothing is struck or counted meanwhile
inline bool obliges = true;  // the system takes room for a file ahead, and tells who writes into one

// A call that changed the medium, or carried changes to it.
struct Change {
  enum Kind { kCreate, kWrite, kSetSize, kRename, kRemove, kSyncFile, kFailedSync, kSyncFolder } kind;
  int file = 0;                   // not the name: a number that goes with the file when it is renamed
  std::string name{}, newName{};  // without the folder
  uint64_t size = 0;              // kWrite, kSetSize: the file's size now
  uint64_t position = 0;          // kWrite: a multiple of kSector
  std::vector<uint8_t> bytes{};   // kWrite: the sectors that were touched, as they are now
  bool lost = false;              // kWrite: it will not be carried out
  bool isName() const { return kind == kCreate || kind == kRename || kind == kRemove; }
};
constexpr uint64_t kSector = 512;

// Records changes from now on, beginning with those that make what stands in the folder; null ends it.
void Record(std::vector<Change>* changes, const std::string& folder = "");

// A text to look for in every piece of memory that is given back, and how often it was there.
inline const char* watched = nullptr;
inline int foundInFreed = 0;

}  // namespace seam
