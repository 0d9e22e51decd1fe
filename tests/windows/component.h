/*
 * What the tests of the DLL share: pmstore.dll loaded at run time, as a component of the manager loads it,
 * with every exported function resolved by its name and typed by its public declaration.
 */
#ifndef COMPONENT_H
#define COMPONENT_H

#include <stdio.h>
#include <windows.h>

#include "pmstore.h"

typedef struct Pmstore {
  HMODULE module;
#define EXPORTED(name) __typeof__(name)* name;
#include "exported.inc"
#undef EXPORTED
} Pmstore;

/* Ends the program when the DLL or one of its functions is not to be had. */
Pmstore LoadPmstore(void);

/* The names of exports.txt. */
extern const char* const kExports[];
extern const int kExportNum;

/* Notes a failure and goes on; a program of tests returns the number of failures. */
#define CHECK(condition) Check((condition) != 0, #condition, __FILE__, __LINE__)
int Check(int holds, const char* condition, const char* file, int line);
int Failures(void);

/* A new empty folder, as a path of its own that ends in a backslash; RemoveFolder deletes it with its files.
 */
void MakeFolder(wchar_t* path);
void RemoveFolder(const wchar_t* path);

/* The file's bytes in memory of malloc; null when it cannot be read. */
unsigned char* ReadAll(const wchar_t* path, DWORD* size);

#endif
