/*
 * A program of somebody else's, on a console: a session with a vault, then the tool (its path is the argument) on the
 * same vault. The console is to be afterwards as it was.
 */
#include <process.h>
#include <string.h>
#include <windows.h>

#include "pmstore.h"

static const wchar_t kVault[] = L"Тайна 🔑 é.vault";

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

static int RunSession(void) {
  if (InitPmTotalDataController() != 1) return 2;
  DataBaseHandle* vault = OpenDataBaseFile(kVault);
  const uint32_t made = CreateNewItemID(vault, 1, L"é");
  if (InserItemToDataBase(vault, made, "Hello", 5, 1) != 0 || CloseDataBaseFile(vault) != 0) return 3;
  vault = OpenDataBaseFile(kVault);
  uint32_t size = GetItemIDByUserdata(vault, 1, L"é");
  const char* bytes = PmGetItemPtrByID(vault, &size);
  if (bytes == NULL || size != 5 || memcmp(bytes, "Hello", 5) != 0 || CloseDataBaseFile(vault) != 0) return 4;
  ReleasePmTotalDataController();
  return 0;
}

int wmain(int count, wchar_t** words) {
  SetConsoleOutputCP(850);
  const State before = Look();
  if (count != 2 || before.out == 0 || before.outPage != 850) return 1; /* no console */
  const int result = RunSession();
  if (result != 0) return result;
  if (_wspawnl(_P_WAIT, words[1], L"pmstore", L"check", L"\"Тайна 🔑 é.vault\"", NULL) != 0) return 5;
  const State after = Look();
  return memcmp(&before, &after, sizeof before) == 0 ? 0 : 6;
}
