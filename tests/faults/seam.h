// The seam between the library and the system. The linker sends the library's system calls and allocations
// here (--wrap), where they are counted and passed on; they can be made to fail, to end the process, or to be
// recorded with what they change on the medium.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace seam {

enum class Fault {
  kNone,
  kError,        // any call: an input/output error
  kNoSpace,      // calls that need room on the medium
  kShortWrite,   // calls that write: half of the bytes, down to none
  kFailedFlush,  // fsync, fdatasync, close
  kDeath,        // any call: the process ends before it
  kStorm,        // any call now and then, one in `at`: an error, or half of the bytes
  kNoMemory,     // allocations, and no call
};

// From now on, number `at` (from 0) of what the fault can strike fails, or all from that one on. The seed is that
// of a storm.
void Arm(Fault fault, int at = 0, bool fromThenOn = false, uint32_t seed = 0);
void Disarm();
void Suspend(bool suspended);  // nothing is struck or counted meanwhile
bool Struck();                 // whether anything failed since Arm
int CallNum();                 // the calls since Arm, allocations left out

// A call that changed the medium, or carried changes to it.
struct Change {
  enum Kind { kCreate, kWrite, kSetSize, kRename, kRemove, kSyncFile, kFailedSync, kSyncFolder } kind;
  int file = 0;                   // not the name: a number that goes with the file when it is renamed
  std::string name{}, newName{};  // without the folder
  uint64_t size = 0;              // kWrite, kSetSize: the file's size now
  uint64_t position = 0;          // kWrite: a multiple of kSector
  std::vector<uint8_t> bytes{};   // kWrite: the sectors that were touched, as they are now
  bool isName() const { return kind == kCreate || kind == kRename || kind == kRemove; }
};
constexpr uint64_t kSector = 512;

// Records changes from now on, beginning with those that make what stands in the folder; null ends it.
void Record(std::vector<Change>* changes, const std::string& folder = "");

// Looks for a text in every piece of memory that is given back; null ends it. FoundInFreed: how often since.
void WatchFreed(const char* text);
int FoundInFreed();

}  // namespace seam
