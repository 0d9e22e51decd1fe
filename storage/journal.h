// The journal of one open data file: where a change is, durably, before the data file changes.
//
//   journal there, durable -> frame appended, FLUSHED: it has happened -> carried out into the data file, not
//   flushed -> ... -> data file flushed -> the journal starts over, or goes
//
//   kNone --start()--> kOpen --a frame's write or flush fails--> kSpent --start()--> kOpen
//                        |                                          |
//                        |  a flush of the data file fails          |
//                        v                                          v
//                    kPoisoned --a frame's write or flush fails--> kDead
//
//   kNone      no journal stands; the data file is whole, and nothing of it has changed
//   kOpen      frames may be appended
//   kSpent     the last frame may be whole or not: nothing comes behind it, and the data file does not change
//              before a new journal stands
//   kPoisoned  what the data file holds may never arrive; the journal is never given up, it only grows
//   kDead      both, or no journal could be begun: no change can happen any more; the next open recovers
//   In each of them the journal is behind when frames have not been carried out (isBehind()): nothing but carrying
//   them out comes next.
//
// Invariants:
//  1. No byte of the data file within its length changes that is not in a durable frame.
//  2. The journal begins, and starts over, only behind a data file into which every frame was carried out and
//     which was flushed without an error. What bears its name is whole and durable.
//  3. A frame's number follows its predecessor's, and its salt is the journal's own: nothing that stood in the file
//     before can pass for it.
//  4. covered() are the blocks, below the length at which the journal began, whose content then is hashed in it.
#pragma once

#include <cstdint>

#include "commonbase/src/numberset.h"
#include "platform/platform.h"
#include "storage/journalformat.h"
#include "storage/journalreader.h"

namespace storage {

enum class JournalState { kNone, kOpen, kSpent, kPoisoned, kDead };

class FrameWriter;

class Journal {
 public:
  Journal() = default;
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Gives the journal its place, beside the data file of that path. False when there is no memory, or when the path
  // leads nowhere.
  bool setPath(const PmChar* path);
  const PmChar* path() const { return path_; }

  JournalState state() const { return state_; }
  bool isBehind() const { return carriedTo_ != end_; }
  // Whether the data file is known to hold durably what was flushed.
  bool isTrusted() const { return state_ == JournalState::kOpen; }

  // Makes a new journal in the place of the one that stands, if one does, with a salt of its own, for a data file of
  // that length and sum. Its first frame carries on which blocks are free in memory only, as the last durable frame
  // had it: the unmarked ones less the unlisted ones. Where the file is longer, since a change was tried that may
  // have happened or not, that frame also cuts it; the journal is behind then. 0, kCannotOpen or kWriteFailed; when
  // it fails the old one stands, and may be used if it could be before.
  int32_t start(const platform::File& data, uint32_t blockNum, uint64_t blockSum,
                const commonbase::NumberSet& unmarked, const commonbase::NumberSet& unlisted);

  // The journals that this record begins from now on are a restore's.
  void serveRestore() { servesRestore_ = true; }

  // Takes over a journal that stands, with all that it holds carried out: the next change starts it over.
  bool adopt();

  // Whether the next change has to start the journal over first; for a file of `blockNum` blocks.
  bool wantsStart(uint32_t blockNum) const;
  // Whether a frame may be appended.
  bool takesFrames() const {
    return (state_ == JournalState::kOpen || state_ == JournalState::kPoisoned) && !isBehind();
  }
  // Whether the journal's name still names it.
  bool isInPlace() const;

  // The length of the data file at which the journal began.
  uint32_t blockNum() const { return blockNum_; }
  commonbase::NumberSet& covered() { return covered_; }

  // Where and as what the next frame is written.
  platform::File* file() { return &file_; }
  uint64_t end() const { return end_; }
  FrameHead nextFrame(uint32_t blockNum, FrameKind kind) const { return {salt_, number_, blockNum, kind}; }

  // Writes zeros where the next frames come, now and then: a flush then carries no length and no place of blocks.
  void makeRoom(uint64_t size);

  // Finishes and flushes a frame: it has happened. kWriteFailed when it may have or not.
  int32_t append(FrameWriter* frame);

  // Hands out the records of the frames that were not carried out. False when they cannot be read or when the sink
  // ended it.
  bool replay(RecordSink* sink);
  void noteCarriedOut();

  // A frame was begun that will not be finished.
  void spend();

  // The data file could not be flushed.
  void poison();

  // Removes the journal, or empties it where it cannot be removed.
  void remove();

  // Leaves the file as it is, closed.
  void leave();

 private:
  // A journal that is being made.
  struct Fresh {
    platform::File file;
    JournalHeader header;     // of the whole file, also where the first frame cuts it
    uint64_t firstFrame = 0;  // its end; 0 when there is none
    uint32_t blockNum = 0;    // the file's length behind that frame
    uint64_t roomEnd = 0;     // zeros up to there: wanted, then written
  };
  static bool write(Fresh* fresh, const platform::File& data, const commonbase::NumberSet& unmarked,
                    const commonbase::NumberSet& unlisted);
  int32_t put(const Fresh& fresh, const PmChar* name);

  platform::File file_;
  PmChar* path_ = nullptr;
  JournalState state_ = JournalState::kNone;
  platform::FileIdentity identity_;
  uint64_t salt_ = 0;
  uint64_t number_ = 0;  // of the next frame
  uint64_t end_ = 0;     // where it goes
  uint64_t carriedTo_ = 0;
  uint64_t carriedNumber_ = 0;  // of the frame there
  uint64_t roomEnd_ = 0;        // zeros stand up to there
  uint32_t blockNum_ = 0;
  bool servesRestore_ = false;
  commonbase::NumberSet covered_;
};

}  // namespace storage
