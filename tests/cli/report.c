/* Opens a vault as an application does, stores TEXT in an item of that name when there is one, writes the library's
 * diagnostic report to a file, waits for its input to end, and ends without closing.  report VAULT REPORT [TEXT] */
#include <stdio.h>
#include <string.h>

#include "pmstore.h"

static void Widen(const char* text, PmChar* wide, size_t size) {
  for (size_t i = 0; i < size; ++i) wide[i] = i < strlen(text) ? (PmChar)text[i] : 0;
}

int main(int count, char** words) {
  PmChar wide[3][256];
  if (count < 3 || InitPmTotalDataController() != 1) return 2;
  for (int i = 1; i < count; ++i) Widen(words[i], wide[i - 1], 256);
  DataBaseHandle* vault = OpenDataBaseFile(wide[0]);
  if (vault == NULL) return 1;
  uint32_t id = count > 3 ? CreateNewItemID(vault, 1, wide[2]) : 0;
  if (id != 0 && InserItemToDataBase(vault, id, words[3], (uint32_t)strlen(words[3]), 1) != 0) return 1;
  PrintAllItemInfo(wide[1]);
  getchar(); /* whoever holds the other end decides when */
  return 0;
}
