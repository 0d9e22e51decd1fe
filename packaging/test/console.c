/*
 * A program of somebody else's, on a console: it makes a vault, and then the tool (its path is the argument) looks at
 * it. The console is to be afterwards as it was.
 */
#include <process.h>
#include <string.h>
#include <windows.h>

#include "pmstore.h"

typedef struct {
  DWORD in, out, error;
  UINT inPage, outPage;
} State;

static State Look(void) {
  State state = {0};
  GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &state.in);
  GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &state.out);
  GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &state.error);
  state.inPage = GetConsoleCP();
  state.outPage = GetConsoleOutputCP();
  return state;
}

int wmain(int count, wchar_t** words) {
  SetConsoleOutputCP(850);
  const State before = Look();
  if (InitPmTotalDataController() != 1 || count != 2 || before.out == 0 || before.outPage != 850)
    return 1; /* no console */
  DataBaseHandle* handle = OpenDataBaseFile(L"Тайна 🔑 é.vault");
  if (RetainID(handle, 1, 1, L"имя") != 1 || InserItemToDataBase(handle, 1, "secret", 6, 1) != 0) return 4;
  if (CloseDataBaseFile(handle) != 0) return 5;
  if (_wspawnl(_P_WAIT, words[1], L"pmstore", L"check", L"\"Тайна 🔑 é.vault\"", NULL) != 0) return 2;
  const State after = Look();
  return memcmp(&before, &after, sizeof before) == 0 ? 0 : 3;
}
