/* A program without any run-time, as a compiler makes it that marks its objects safe for structured exceptions. */
#include "pmstore.h"

#if defined(__i386__)
__asm__(".globl \"@feat.00\"\n.set \"@feat.00\", 1");
#endif

int Start(void) {
  if (InitPmTotalDataController() != 1) return 2;
  DataBaseHandle* vault = OpenDataBaseFile(L"plain.vault");
  const int32_t result = InserItemToDataBase(vault, CreateNewItemID(vault, 1, 0), "Hello", 5, 1);
  CloseDataBaseFile(vault);
  ReleasePmTotalDataController();
  return result;
}
