/**
 * @file pmtypes.h
 * The types that every public header shares: the fixed-width integers, the character of a path or a
 * user-data string, and the marks of an exported function.
 *
 * Strings at this boundary are zero-terminated UTF-16 and are compared code unit by code unit. One
 * PmChar is one UTF-16 code unit: wchar_t on Windows, char16_t everywhere else.
 *
 * Exported functions, and the functions that callers hand in, have the C calling convention (cdecl on 32-bit
 * Windows, whatever a compiler's default is); the exports' names are undecorated.
 * No exception ever leaves one.
 */
#ifndef PMTYPES_H
#define PMTYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
typedef wchar_t PmChar;
#define PM_TEXT(text) L##text
#define PM_EXPORT
#else
#if !defined(__cplusplus)
#include <uchar.h>
#endif
typedef char16_t PmChar; /**< one UTF-16 code unit */
#define PM_EXPORT __attribute__((visibility("default"))) /**< marks an exported function */
#if defined(__cplusplus) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L)
#define PM_TEXT(text) u##text /**< a string literal of PmChar: PM_TEXT("vault") */
#else
/* C99 has no such literals: an array that lasts to the end of the block, of ASCII characters only. */
#define PM_TEXT(text) PmWiden((PmChar[sizeof(text)]){0}, text)
static inline const PmChar* PmWiden(PmChar* wide, const char* text) {
  size_t i;
  for (i = 0; text[i] != 0; ++i) wide[i] = (PmChar)(unsigned char)text[i];
  return wide;
}
#endif
#endif

/** The calling convention of every function that crosses the boundary, in either direction. */
#if defined(_M_IX86) || (defined(_WIN32) && defined(__i386__))
#define PM_CALL __cdecl
#else
#define PM_CALL
#endif

#endif
