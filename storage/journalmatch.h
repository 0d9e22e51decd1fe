// Whether a journal is that of the data file beside it.
//
// Either may have been copied, replaced or restored from elsewhere. A journal is the file's own when everything that
// it covers is explained: each half of a block holds what the journal found there or what a frame put there, or the
// block is torn, no packet as a save makes it; and when the sum over all other blocks is the one that it notes, or
// some covered block has been changed as a frame says already.
//
//   covered blocks                            sum of the others
//   all explained                             right    ours
//   all explained, some as a frame puts them  wrong    ours, with damage elsewhere
//   all explained, none of them changed       wrong    not ours: an older copy
//   some not explained, or the length         any      not ours: a fork, another vault
//
// What cannot be told apart is a copy that holds exactly what the file held once while the journal stood.
#pragma once

#include "platform/platform.h"
#include "storage/journalreader.h"

namespace storage {

enum class JournalMatch { kOurs, kForeign, kUnreadable };

JournalMatch MatchJournal(const JournalContents& journal, const platform::File& data);

}  // namespace storage
