// What can be got out of a damaged vault, item by item: what "pmstore salvage" saves.
//
// The files to draw from are the vault, its journal where that cannot be laid over it, and its backup (OpenForRescue).
// Each is read as it stands, with its damaged blocks mended where that is proven, and with guesses. The records come
// from the files' ID tables, the backup's for what the vault's has lost.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/mendedblocks.h"
#include "cli/neighbours.h"

namespace cli {

enum class FateKind {
  kSaved,     // intact in a file
  kMended,    // some of its packets are mended, all of them proven
  kDoubtful,  // what there is, but it may be other or less than was stored
  kPartial,   // some of its packets, where that was asked for
  kLost,
};

struct RescueSource;

struct Fate {
  Record record;
  bool hasRecord = false;
  FateKind kind = FateKind::kLost;
  const Image* image = nullptr;         // where its bytes are read; null for a lost item
  const RescueSource* other = nullptr;  // the file that they come from, when it is not the vault's first
  std::string why;                      // of anything but an item saved from the vault; may be empty
  std::vector<uint32_t> mended;         // its blocks that were mended
};

// One file in all its readings.
struct RescueSource {
  // A file at rest holds no packets of older versions.
  RescueSource(Image image, bool mend, bool isAtRest);

  Image plain;  // as it stands
  MendedBlocks mended;
  Image proven;   // with the blocks mended that are proven
  Image freed;    // with the packets that items lack and free blocks held
  Image guessed;  // with the guesses, too

  // Blocks that cannot be mended, by the item that they most likely belong to.
  std::map<uint32_t, uint32_t> lostBlocks;

  // Nobody knows whose one of those blocks is, and packets of older versions may stand in for it.
  bool mayMix = false;

  // Whether the item is whole in a reading and nothing hints that it was longer, or other.
  bool isCertain(const Image& reading, uint32_t id) const;

  // Whether one of the blocks that `guessed` makes the item of is no more than a guess.
  bool restsOnGuess(uint32_t id) const;

  bool isJournal() const { return plain.file().isJournal(); }
};

class Rescue {
 public:
  struct Policy {
    bool mend = true;
    bool partial = false;     // take also what is left of items that are not whole, and guesses
    uint32_t kindOfLost = 0;  // of items without a record
  };

  // The first file is the vault.
  Rescue(std::vector<std::unique_ptr<Image>> files, const Policy& policy);

  // The bytes of an item that is not lost.
  static Bytes bytesOf(const Fate& fate);

  const std::vector<Fate>& fates() const { return fates_; }
  const RescueSource& first() const { return *sources_[0]; }
  const RescueSource& sourceOf(const Fate& fate) const {
    return fate.other != nullptr ? *fate.other : first();
  }

  // Items that the ID table does not name and that were left out: they were deleted.
  size_t leftOut() const { return leftOut_; }
  // Items that only the backup holds, since they were deleted from the vault. (A journal is later than that.)
  const std::vector<Record>& onlyInBackup() const { return onlyInBackup_; }
  // Blocks that nobody can tell the item of, where the ID table does not say which items there were.
  size_t unknownBlocks() const;

  // Lost items of which a packet is left.
  size_t partsLeft() const;

  size_t count(FateKind kind) const;

 private:
  void listItems(uint32_t kindOfLost);
  void decide(Fate& fate, bool partial) const;
  bool takeWhole(Fate& fate) const;
  bool takeDoubtful(Fate& fate, bool withGuesses) const;
  bool takeLongest(Fate& fate) const;
  bool takePart(Fate& fate) const;
  std::string lossOf(uint32_t id) const;

  // Null for the first of the sources.
  const RescueSource* otherOf(const RescueSource& source) const {
    return &source == &first() ? nullptr : &source;
  }

  std::vector<std::unique_ptr<RescueSource>> sources_;
  std::vector<Fate> fates_;
  std::vector<Record> onlyInBackup_;
  size_t leftOut_ = 0;
};

// The vault, then what else stands beside it and is of the same vault, read for a rescue: its journal, where that
// cannot be laid over it, and its backup. What is left aside is warned of.
std::vector<std::unique_ptr<Image>> OpenForRescue(const VaultPath& path, Source source,
                                                  std::vector<Warning>& warnings);

}  // namespace cli
