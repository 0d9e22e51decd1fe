/**
 * @file file.h
 * A small vocabulary for files: by path (existence, size, deletion, length, copy, hidden attribute) and by
 * standard I/O stream.
 *
 * Paths are zero-terminated UTF-16 strings; nothing keeps or copies one. On systems without wide paths they
 * become UTF-8, and a backslash separates folders as a slash does. A null path names nothing. Streams belong
 * to whoever opened them, and are released with FClose only. Functions that take a stream pass it straight to
 * the standard library, so it must be an open one. Nothing here prints, keeps a state or takes a lock.
 */
#ifndef PM_FILE_H
#define PM_FILE_H

#include <stdio.h>

#include "pmtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** 0 when an entry of that name exists (a file, a folder, a link that leads nowhere), -1 when not, or when the
 * system does not tell: for want of the right to look into a folder on the way, and for a path that is too
 * long. */
PM_EXPORT int32_t PM_CALL FExists(const PmChar* path);

/** Opens a stream; `mode` as for fopen, of which the first 4 characters count. Null when it cannot be opened;
 * a folder never can. A file that it creates gets the rights that the standard library gives: everybody's
 * but for the process's umask (Windows: the folder's), not its owner's alone as a data file's. Programs that
 * this one starts do not inherit the stream. The caller closes it with FClose. */
PM_EXPORT FILE* PM_CALL FOpen(const PmChar* path, const char* mode);

/** fclose: 0 on success, else EOF: bytes written before may be lost. The stream is released either way. */
PM_EXPORT int32_t PM_CALL FClose(FILE* stream);

/** fread: reads up to `elementCount` elements of `elementSize` bytes; the number of whole elements read,
 * short at the end of the file or on an error. Of 2,147,483,648 or more elements the number read comes out
 * negative: take it for an unsigned one. */
PM_EXPORT int32_t PM_CALL FRead(void* buffer, uint32_t elementSize, uint32_t elementCount, FILE* stream);

/** Reads one line into a buffer of `size` bytes, which is cleared first: at most size - 1 characters, the
 * line break included when the line fits; the rest of a longer line comes with the next call. The length of
 * the text (up to its first zero byte: 0 for a line that begins with one, and for a size of 1, which has room
 * for none), or -3 when nothing is left: at the end of the file, on an error, and for a null buffer or a size
 * below 1. */
PM_EXPORT int32_t PM_CALL FReadLine(char* buffer, int32_t size, FILE* stream);

/** fwrite: writes `elementCount` elements of `elementSize` bytes; the number of whole elements taken, short
 * on an error, and as with FRead negative from 2,147,483,648 on. The stream may keep them back until FFlush
 * or FClose. */
PM_EXPORT int32_t PM_CALL FWrite(const void* buffer, uint32_t elementSize, uint32_t elementCount,
                                 FILE* stream);

/** fseek: moves to `offset` bytes from `origin` (0 the start, 1 the current position, 2 the end). 0 on
 * success, nonzero on failure. */
PM_EXPORT int32_t PM_CALL FSeek(FILE* stream, int32_t offset, int32_t origin);

/** Nonzero when a read has tried to go beyond the end of the file since the last FSeek, else 0. */
PM_EXPORT int32_t PM_CALL FEof(FILE* stream);

/** The size of the file in bytes, 0 for what is no file (a folder, a device, a link that leads nowhere), -1
 * when FExists gives -1. Of a size of 2 GiB or more these are the low 32 bits, taken as a signed number: it
 * may be negative, -1 included. */
PM_EXPORT int32_t PM_CALL FSize(const PmChar* path);

/** Puts the folder of the running program, with its final separator, into a buffer of `size` characters. The
 * result is the length of the program's full path (not of the folder), or 0 on failure. A path that does not
 * fit is cut to size - 1 characters before its folder is taken, and the result is `size`. */
PM_EXPORT int32_t PM_CALL GetCurDir(int32_t size, PmChar* buffer);

/** Deletes a file: 0 when it was deleted, -1 when not. On Windows a file that another program holds is waited
 * for, a fifth of a second at most; a read-only one is not deleted. */
PM_EXPORT int32_t PM_CALL FDelete(const PmChar* path);

/** Cuts a file to `size` bytes, or extends it with zero bytes; a missing file is made, for its owner alone
 * (on Windows: with the rights that its folder gives). 0 on success and also when the file cannot be opened at
 * all, -1 when the length could not be changed. */
PM_EXPORT int32_t PM_CALL FTruncate(const PmChar* path, int32_t size);

/** fflush: hands what the stream keeps back to the system. 0 on success, nonzero on failure. */
PM_EXPORT int32_t PM_CALL FFlush(FILE* stream);

/** Copies a file, replacing the content of the destination, which is cut first: the two paths must not name
 * the same file. 0 on success, -2 when either file cannot be opened, -4 when a write failed (the whole source
 * is tried all the same, and the partial destination stays). An error while reading the source ends the copy
 * as the end of the source does, with the same result. */
PM_EXPORT int32_t PM_CALL FCopyToFile(const PmChar* source, const PmChar* destination);

/** Hides a file (`hide` nonzero) or shows it (0). Nonzero on success; 0, with nothing changed, when there is
 * no such file, when the caller may not change it, and where there is no room left for the attribute. On
 * Windows every other attribute is cleared. Elsewhere the attribute is the one that SMB servers and Windows
 * compatibility layers keep with a file (user.DOSATTRIB); on a file system without such attributes the call
 * succeeds and does nothing. */
PM_EXPORT int32_t PM_CALL FSetHideAttribute(const PmChar* path, int32_t hide);

#ifdef __cplusplus
}
#endif

#endif
