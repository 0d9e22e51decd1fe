// Saving: the passes that write a data file.
//
//          BeginPass: the backup is made,    marks, packets, moves      EndPass: file durable,
//          whole and durable                 in any number              backup brought up to date
//   WHOLE ----------------------------> TORN -------------------> TORN ------------------------> WHOLE
//     |                                                           |
//     | the backup fails: nothing written, still WHOLE            | anything fails: stays TORN
//
//   WHOLE  the data file is a state of its own. Beside it stands no backup, or one that equals it; after the
//          process died here, either is right. When the backup could be neither brought up to date nor
//          deleted (backupBehind), an older one may stand there and win: the pass has failed, and the next
//          sync goes on.
//   TORN   the data file is no state at all; the backup is the state before the pass, and it wins. A later
//          sync goes on from here without making the backup again; closing leaves the backup standing.
//
// Invariants:
//  1. No byte of a data file is overwritten but in state TORN, which is only entered behind a durable backup.
//  2. An item is clean only when its bytes are durable. When the pass was completed, a recovery finds them;
//     when another item failed it, the recovery is the state before, until a later sync completes the pass.
//  3. When the backup cannot be brought up to date at the end, it is deleted: an older backup beside a newer,
//     whole file would win over it. If even that fails, the pass has failed.
#pragma once

#include <cstdint>

#include "storage/controller.h"
#include "storage/storage.h"

namespace storage {

// Makes the backup and enters TORN; only the checks when the file is torn already. kWriteFailed when the dirty
// items do not fit into a data file or into memory, kCannotOpen when the path names another file by now, the
// backup's code when it could not be made; nothing is written then.
int32_t BeginPass(FileInfo* file);

// Ends a pass whose writing gave `result` and was made durable when `onDisk`, making the first `savedNum`
// dirty items clean when a recovery would find them: 0 and WHOLE; or the first failure and TORN.
int32_t EndPass(FileInfo* file, bool onDisk, int32_t result, uint32_t savedNum);

// SyncDirtyData for a given file.
int32_t SyncFile(FileInfo* file, PassEnd end = PassEnd::kNow);

}  // namespace storage
