/* Opens a vault as an application does, writes the library's diagnostic report beside it, and ends without
 * closing. */
#include <string.h>

#include "pmstore.h"

static void Widen(const char* text, PmChar* wide, size_t size) {
  for (size_t i = 0; i < size; ++i) wide[i] = i < strlen(text) ? (PmChar)text[i] : 0;
}

int main(int count, char** words) {
  PmChar vault[256];
  PmChar report[256];
  if (count != 3 || InitPmTotalDataController() != 1) return 2;
  Widen(words[1], vault, 256);
  Widen(words[2], report, 256);
  if (OpenDataBaseFile(vault) == NULL) return 1;
  PrintAllItemInfo(report);
  return 0;
}
