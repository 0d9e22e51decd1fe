/**
 * @file pmstore.h
 * The library's public header: databases and their items. The general-purpose pieces that the library is
 * built from, and exports as well, come with the headers included here.
 *
 * A database is one data file: items, which are byte strings, each under a 32-bit ID that carries a kind (any
 * 32-bit number of the caller's) and optionally a user-data string.
 *
 * ## Calling
 *
 * InitPmTotalDataController, then OpenDataBaseFile, then anything on the handle, CloseDataBaseFile, and at
 * the end ReleasePmTotalDataController. Everything runs to completion on the caller's thread. The state is
 * one for the whole process and has no lock: one call at a time.
 *
 * ## IDs
 *
 * An ID is pending from CreateNewItemID or RetainID until its first insert, which commits it; pending IDs
 * live in memory only and go with the close. Committed IDs are stored in the data file itself, as item 0,
 * which is why 0 is no ID of a caller's. Order of slots, in which IDs are enumerated: an ID takes the lowest
 * free slot when it is committed and keeps it; deleting frees the slot; a reopened database has its IDs in
 * the same order.
 *
 * ## Result codes
 *
 * Functions that return a code return 0 when done and else one of these. A function lists its own meanings.
 *
 * | code | meaning |
 * |-----:|---------|
 * |   -1 | unknown handle; no such item; no current file; an argument out of range; no memory |
 * |   -2 | the data file is not open, or it, its backup or its journal cannot be opened or created, or is another program's |
 * |   -3 | the ID is 0 (PmModifyItem), or the database is closed already (CloseDataBaseFile) |
 * |   -4 | a write failed, could not be made durable, or would grow the file beyond 2 GiB - 1024 bytes |
 * |   -5 | the ID is 0, or it is neither pending nor committed as the call needs it |
 *
 * A function tests its conditions in the order in which it lists them. What failed with -1, -3 or -5 has
 * changed no item, no ID and no file, unless the function says otherwise. What failed with -2 or -4 has changed
 * nothing in the file; what it says stays in memory is written by the next sync that succeeds.
 *
 * ## Memory
 *
 * Bytes and strings that a caller passes are copied before the call returns and never kept. Item bytes and
 * user-data strings that the library returns are lent: they belong to the library and are neither changed nor
 * released. Lent bytes are valid until that item is inserted, modified or deleted or its database is closed;
 * a lent string until its ID is deleted or its database is closed.
 *
 * ## The current file
 *
 * PmSyncDirtyData, PmStartTransaction, PmStopTransaction and PrintAllItemInfo take no handle: they act on the
 * current file. Opening or restoring a database that was not open makes its file current, and so do
 * InserItemToDataBase, DeleteItemFromDataBase, PmModifyItem and PmGetItemPtrByID, once their handle and ID
 * have passed. After a close, and after one of these has found its file not open, no file is current. Every
 * other call, and every refusal of a handle or an ID, leaves it as it was.
 *
 * ## When changes reach the disk
 *
 * Changes are made in memory; a sync writes those of one file, all of them as one change, and they are durable
 * when it returns 0. A sync runs when a pending ID is committed, when an item is deleted, in every call whose
 * `syncNow` is nonzero, in PmSyncDirtyData and PmStopTransaction, and at the close. While a transaction is open
 * on the file all of these, but PmStopTransaction, write nothing.
 *
 * The sync that saves the table of IDs, at the end of an insert or a delete, completes the change on disk and
 * does not report its failure; the change then stays in memory, for the next sync to write. PmSyncDirtyData
 * afterwards (and before a close, which does not report either) says whether everything is on disk.
 *
 * ## Crashes
 *
 * After a crash or a loss of power at any instant, OpenDataBaseFile gives the state of the last call that
 * reported success or of the one that was under way, the whole of it; nobody has to do anything for that. (A
 * change that was reported failed may have arrived all the same.)
 *
 * From the first change until the close two hidden files stand with the data file `name`. The journal,
 * `.name.pmj`, carries the recovery: a vault is its data file and, where there is one, its journal, and whoever
 * copies or moves a vault that is open, or that a crash has left, takes both. It stands beside the file itself
 * when the path is a symbolic link. The backup, `.name.bak` beside the path, is a copy of the data file, as it was
 * before the first change until that is done and as the last sync left it from then on. It is there for
 * PmRestoreBackupFile; no safety rests on it. A close removes both, unless a write has failed: then they stay, and
 * the next open recovers. Both have the access rights of the data file. On Windows a sync and a close wait a fifth of
 * a second at most for each file that another program holds.
 *
 * A journal that does not belong to the file beside it, because another has taken the file's place, is set
 * aside with its backup, as `.name.pmo` and `.name.bko` (numbered where these exist), and the file is opened as
 * it stands.
 *
 * ## Other programs
 *
 * Any number of programs may have a vault open as long as none changes it. The first change locks the data file
 * until the close, and so does an open that recovers. The first change fails with -2, and writes nothing, when
 * another program has the file locked, and when another has changed it since it was opened here; a later one, when
 * somebody has written into the file regardless of the lock (what comes through a mapping or is written by the
 * kernel for somebody may escape it in a long session). Close it then, and open it again. A child that a process
 * forks off must not use the vaults that were open. A close without a change, and an open of a locked file, write
 * nothing and touch no file beside it. Two spellings of one path in one process count as two programs. The lock
 * belongs to the open file (Linux: an open-file-description lock; Windows: LockFileEx) and goes with the process;
 * on a file system without locks nothing is detected.
 */
#ifndef PMSTORE_H
#define PMSTORE_H

#include "avltree.h"
#include "dlist.h"
#include "file.h"
#include "nodepool.h"
#include "pmtypes.h"
#include "slist.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * An open database. Only the address is of use to a caller: it is the handle. Every function accepts exactly
 * the handles of databases that are open and refuses null and others; an address of a closed database may be
 * given out again for another.
 */
typedef struct DataBaseHandle DataBaseHandle;

/**
 * Brings the library up, or counts one more user of it. Touches no file.
 *
 * @return 1 when the library is up, to be matched by one ReleasePmTotalDataController; 0 when there is no
 * memory, and nothing has changed then.
 */
PM_EXPORT int32_t PM_CALL InitPmTotalDataController(void);

/**
 * Counts one user off; the last one closes every database still open, each as CloseDataBaseFile does and in
 * the order of opening, and takes the library down: every handle, lent byte and lent string is invalid, and
 * no file is current. Does nothing when the library is down.
 */
PM_EXPORT void PM_CALL ReleasePmTotalDataController(void);

/**
 * Opens a database, or counts one more user of an open one. A missing file is created, empty, readable and
 * writable by its owner alone (on Windows: with the rights that its folder gives). A present one is read through
 * once. It is written only when a crash left its journal: that is carried out first, and the file is locked then.
 * Where another program has it locked, or the journal cannot be carried out now (the disk is full), the journal is laid
 * over what is read: nothing is written, and until it is opened anew every change fails with -2.
 *
 * A database that was not open has its file current afterwards; another open of the same path changes nothing
 * but the count.
 *
 * @param path 1 to 255 characters, compared code unit by code unit with those of the open databases. On Windows
 * slashes count as backslashes, and a path that names a stream of a file, a file in a drive's own current folder, or
 * one with a full stop or a blank at its end is refused.
 * @return the handle, to be closed once for each open; null for a null path, before
 * InitPmTotalDataController, for a path that is too long, or whose file name is too long for the file system once
 * it is the backup's or the journal's (Linux: more than 250 bytes, Windows: more than 250 characters), when the file
 * cannot be created or opened for reading and writing, when it is no valid data file, when its table of IDs is damaged,
 * when what a crash left cannot be read, and when there is no memory. On failure nothing has changed, the current file
 * included; a file created by then stays, empty.
 */
PM_EXPORT DataBaseHandle* PM_CALL OpenDataBaseFile(const PmChar* path);

/**
 * Counts one user of a database off; the last one closes it: all changes are written, free blocks are
 * squeezed out when the file holds items, backup and journal are removed, and the handle and everything lent
 * become invalid. No file is current then. Pending IDs are dropped. What fails while closing is not reported:
 * call PmSyncDirtyData before, to know that the changes are on disk. When a write fails, backup and journal stay,
 * and the next open gives the state of the last sync that succeeded.
 *
 * Stop an open transaction first. A close inside one drops its inserts and modifications, but not the
 * deletions: their bytes are gone although their IDs are still committed.
 *
 * @return
 * - 0: closed, or still open for other users (nothing is written, the current file is unchanged)
 * - -1: the handle is not one of an open database
 * - -3: it has been closed already by an earlier call that returned -2
 * - -2: the library holds no file for it, which no sequence of calls of this interface brings about; the
 * handle stays and counts no user, until the path is opened again; no file is current
 */
PM_EXPORT int32_t PM_CALL CloseDataBaseFile(DataBaseHandle* handle);

/**
 * Copies the backup of a database that is not open over its data file and opens the result, which becomes the
 * current file. Where a crash left a journal, the recovery that an open makes comes first, and brings the backup
 * up to date. The backup is looked through before it is copied, and is left in place. It counts as one open: a
 * following OpenDataBaseFile of the path gives the handle, which is then to be closed twice. For a database that is
 * open only the user is counted; nothing is restored.
 *
 * The data file need not exist. One that does keeps its owner and its access rights.
 *
 * @param path as for OpenDataBaseFile.
 * @return
 * - 0: restored and open, or open already
 * - -1: the path is null
 * - -2: before InitPmTotalDataController; the path is too long; there is no backup; it is no valid data file
 * or its table of IDs is damaged; another program has the data file locked; the backup cannot be copied over it;
 * the result cannot be opened; no memory. The backup stands in every case, the database is not open and the
 * current file is unchanged; the data file holds the state before or, when only opening the result failed, the
 * restored one.
 */
PM_EXPORT int32_t PM_CALL PmRestoreBackupFile(const PmChar* path);

/**
 * Draws a new random ID, which no open database holds, and makes it pending. Writes nothing. Draws from
 * `time` and `rand`, which the library never seeds.
 *
 * @param handle an open database.
 * @param kind any number.
 * @param userData a string for the ID, of at most 32,767,489 characters (UTF-16 units; with them its
 * record fills the largest table of IDs), or null for none.
 * @return the ID; 0, with nothing changed, for an unknown handle, when a committed ID of the database has the
 * same kind and an equal string (a pending one does not count), when the draw came out 0 (call again), for
 * too long a string, and when there is no memory.
 */
PM_EXPORT uint32_t PM_CALL CreateNewItemID(DataBaseHandle* handle, uint32_t kind, const PmChar* userData);

/**
 * Makes an ID of the caller's choice pending. Writes nothing. Neither other databases nor kinds and strings
 * already in use are looked at, and 0 is taken, though no insert will accept it.
 *
 * @param handle an open database.
 * @param id the ID.
 * @param kind any number.
 * @param userData as for CreateNewItemID.
 * @return 1; 0, with nothing changed, for an unknown handle, when the ID is pending or committed in this
 * database, for too long a string, and when there is no memory.
 */
PM_EXPORT int32_t PM_CALL RetainID(DataBaseHandle* handle, uint32_t id, uint32_t kind,
                                   const PmChar* userData);

/**
 * Looks a committed ID up by its kind and its user-data string, compared code unit by code unit.
 *
 * @param handle an open database.
 * @param kind the kind.
 * @param userData the string.
 * @return the ID, that of the lowest slot when several have both; 0 when there is none, for an unknown handle
 * and for a null string.
 */
PM_EXPORT uint32_t PM_CALL GetItemIDByUserdata(DataBaseHandle* handle, uint32_t kind, const PmChar* userData);

/**
 * An ID's user-data string, and whether the ID is still pending.
 *
 * @param handle an open database.
 * @param id the ID.
 * @param[out] pending set to 1 for a pending ID, else to 0; not written for an unknown handle. Not null.
 * @return the string, lent; null when the ID has none, when it is unknown, for an unknown handle and for a
 * null `pending`.
 */
PM_EXPORT const PmChar* PM_CALL GetItemAddons(DataBaseHandle* handle, uint32_t id, uint32_t* pending);

/**
 * Starts the enumeration of the committed IDs of a kind, in slot order. The database has one place in it,
 * which all its users share.
 *
 * @param handle an open database.
 * @param kind the kind; no kind matches all.
 * @return the first ID; 0 when there is none and for an unknown handle.
 */
PM_EXPORT uint32_t PM_CALL FirstGetItemID(DataBaseHandle* handle, uint32_t kind);

/**
 * The next committed ID of a kind behind the one that the enumeration gave last, or from the first slot when
 * none was begun. IDs may be committed and deleted in between: one deleted is passed over, one committed
 * comes up when it took a slot further on.
 *
 * @param handle an open database.
 * @param kind the kind, which may differ from one call to the next.
 * @return the ID; 0 at the end, where the place stays until FirstGetItemID, and for an unknown handle.
 */
PM_EXPORT uint32_t PM_CALL NextGetItemID(DataBaseHandle* handle, uint32_t kind);

/**
 * Counts the committed IDs of a kind.
 *
 * @param handle an open database.
 * @param kind the kind.
 * @return their number; 0 for an unknown handle.
 */
PM_EXPORT uint32_t PM_CALL GetItemCount(DataBaseHandle* handle, uint32_t kind);

/**
 * Makes bytes the whole content of an item. The first insert under a pending ID commits the ID: item and
 * table of IDs are written as one change before the call returns, whatever `syncNow` says, and a crash leaves
 * both or neither. An insert under a committed ID replaces the item's bytes, in memory unless `syncNow` asks
 * for the disk. Makes the file current.
 *
 * An item of 0 bytes takes no block: it is there until the database is closed, and only its ID is when it is
 * opened again. Give an item a byte to make it last.
 *
 * @param handle an open database.
 * @param id a pending or committed ID, not 0.
 * @param data the bytes; they may lie in the item's own lent bytes. Null only with a size of 0.
 * @param size 0 to 65,535,000.
 * @param syncNow nonzero: sync before returning, and report how that went (for a pending ID: how the writing
 * of the item went; PmSyncDirtyData says how that of the table did).
 * @return
 * - 0: stored
 * - -5: the ID is 0, or (tested last of these) neither pending nor committed
 * - -1: the handle is not one of an open database
 * - -2: the file of the handle is not open; no file is current then
 * - -1: the size is out of range, the bytes are null, the table of IDs would exceed 65,535,000 bytes (20 for
 * each ID, and its string with terminator), or there is no memory; nothing has changed
 * - -2, -4: from the sync that `syncNow` asked for, as for PmSyncDirtyData. The bytes are kept in memory for
 * the next sync, but a pending ID stays pending: insert again to commit it
 */
PM_EXPORT int32_t PM_CALL InserItemToDataBase(DataBaseHandle* handle, uint32_t id, const void* data,
                                              uint32_t size, int32_t syncNow);

/**
 * Deletes an item and its ID, and saves the table of IDs with a sync of the file: the ID is gone from the
 * disk at return, unless that sync failed, which this function does not report. Makes the file current.
 *
 * What remains: the item's blocks are free at once in memory, but in the file they keep their bytes, and look like
 * the item's, until they are marked as free (`syncNow`, the end of a transaction), taken by other items, or
 * squeezed out by the close. After a crash the recovery marks the blocks of every deletion that a sync has made
 * durable, so that none comes back. Marking leaves the bytes; nothing wipes the medium.
 *
 * @param handle an open database.
 * @param id a committed ID, not 0.
 * @param syncNow nonzero: also mark the free blocks of the file as free on disk, all or nothing with the
 * rest.
 * @return
 * - 0: deleted
 * - -5: the ID is 0, or (tested last of these) not committed
 * - -1: the handle is not one of an open database
 * - -2: the file of the handle is not open; no file is current then
 * - -1: the file has no item of this ID (one of 0 bytes is not in it after a reopening), or there is no memory;
 * nothing has changed, the ID stays committed
 * - -2, -4: with `syncNow`, as for PmSyncDirtyData; nothing has changed, in memory neither
 */
PM_EXPORT int32_t PM_CALL DeleteItemFromDataBase(DataBaseHandle* handle, uint32_t id, int32_t syncNow);

/**
 * Writes bytes into an item, or replaces its content. The table of IDs is neither consulted nor changed. The
 * change is on disk at return when `syncNow` asks for it. Makes the file current.
 *
 * Bytes that reach past the item's end lengthen it to exactly offset + size; that needs the item's bytes to
 * be in memory, as they are after PmGetItemPtrByID or after any change since the database was opened.
 *
 * @param handle an open database.
 * @param id an item of the file, not 0.
 * @param data the bytes; they may lie in the item's own lent bytes. Null only with a size of 0.
 * @param offset 0 to the item's size: where the bytes go; or -1: they become the whole content.
 * @param size 0 to 65,535,000, and offset + size no more.
 * @param syncNow nonzero: sync before returning, and report how that went.
 * @return
 * - 0: changed
 * - -1: the handle is not one of an open database
 * - -3: the ID is 0
 * - -2: the file of the handle is not open; no file is current then
 * - -1: the file has no item of this ID; offset or size are out of range; the bytes are null; the item would
 * grow and is not in memory; it is damaged and cannot be read; there is no memory. Nothing has changed
 * - -2, -4: from the sync that `syncNow` asked for, as for PmSyncDirtyData. The change is kept in memory for
 * the next sync
 */
PM_EXPORT int32_t PM_CALL PmModifyItem(DataBaseHandle* handle, uint32_t id, const void* data, int32_t offset,
                                       uint32_t size, int32_t syncNow);

/**
 * An item's bytes. The first call reads them from the file and verifies every packet; they stay in memory
 * until the database is closed. The table of IDs is not consulted. Makes the file current.
 *
 * @param handle an open database.
 * @param[in,out] idThenSize holds the ID, not 0, on entry, and the item's size in bytes after a success;
 * unchanged otherwise. Not null.
 * @return the bytes, lent (not null for an item of 0 bytes either, while there is one); null for an unknown
 * handle, an ID of 0, when the file of the handle is not open (no file is current then), when it has no item of
 * this ID, when the item is damaged, and when there is no memory.
 */
PM_EXPORT const void* PM_CALL PmGetItemPtrByID(DataBaseHandle* handle, uint32_t* idThenSize);

/**
 * Writes all changes of the current file. At return with 0 they are durable, and what was written equals its
 * backup. Writes nothing and returns 0 when there is nothing to write, and always inside a transaction.
 *
 * @return
 * - 0: done
 * - -1: no file is current; or there was no memory for the table of IDs: nothing was written
 * - -2: the data file cannot be read for the backup, backup or journal cannot be created, the path names another
 * file by now, or another program has locked the file or changed it since it was opened
 * - -4: writing failed, or the file would grow beyond 2 GiB - 1024 bytes
 *
 * With -2 and -4 nothing has changed in the file. After a failure every change that is not on disk stays in
 * memory, and the next sync tries again.
 */
PM_EXPORT int32_t PM_CALL PmSyncDirtyData(void);

/**
 * Opens a transaction on the current file: from here on no sync of that file writes anything, until
 * PmStopTransaction. Transactions do not nest: a second start changes nothing, and one stop ends it. They are
 * not for undoing: changes take effect in memory at once.
 *
 * @return 0; -1 when no file is current.
 */
PM_EXPORT int32_t PM_CALL PmStartTransaction(void);

/**
 * Ends the transaction of the current file, whatever the result, and writes all that was held back: first the
 * marks of the blocks that are free, then the changes, all or nothing for whoever recovers from a crash. Make
 * the right file current before, when there are several. Without a transaction it writes all the same.
 *
 * @return as PmSyncDirtyData.
 */
PM_EXPORT int32_t PM_CALL PmStopTransaction(void);

/**
 * Appends a readable report on the current file to a text file, which is created when it is missing: size and
 * counters, then by ascending ID every item with its size and its blocks, and whether it is damaged; with the
 * environment variable `DB_DETAIL_HEX` set to "Y" also its bytes. Reads and verifies the whole data file;
 * every readable item is in memory afterwards. Does nothing when no file is current, when the report cannot
 * be opened and when there is no memory.
 *
 * @param reportPath the text file.
 */
PM_EXPORT void PM_CALL PrintAllItemInfo(const PmChar* reportPath);

#ifdef __cplusplus
}
#endif

#endif
