// The seam between the library and the system. The linker sends the platform layer's system calls here
// (--wrap), where they are counted and passed on; they can be made to fail, to end the process, or to be
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
};

// Arms the seam: call number `at` (from 0) among those that the fault can strike fails, or all from that one
// on.
void Arm(Fault fault, int at, bool fromThenOn);
void Disarm();
void Suspend(bool suspended);  // calls are neither struck nor counted meanwhile
bool Struck();                 // whether a call failed since Arm
int CallNum();                 // the calls since Arm, whatever they are

// A call that changed the medium, or carried changes to it.
struct Change {
  enum Kind { kCreate, kWrite, kSetSize, kRename, kRemove, kSyncFile, kFailedSync, kSyncFolder } kind;
  int file = 0;                // not the name: a number that goes with the file when it is renamed
  uint64_t position = 0;       // kWrite: a multiple of kSector
  std::vector<uint8_t> bytes;  // kWrite: the sectors that were touched, as they are now
  uint64_t size = 0;           // kWrite, kSetSize: the file's size now
  std::string name, newName;   // without the folder
};
constexpr uint64_t kSector = 512;

// Records changes into `changes` from now on; null ends it. The number of an existing file is that of its
// first change.
void Record(std::vector<Change>* changes);
int FileNumber(const std::string& path);

// The n-th allocation (from 0) fails, or none when negative; AllocationNum counts those since.
void FailAllocation(int at);
int AllocationNum();

// Looks for a text in every piece of memory that is given back; null ends it.
void WatchFreed(const char* text);
int FoundInFreed();

}  // namespace seam
