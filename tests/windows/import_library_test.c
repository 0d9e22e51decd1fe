/* The import library leads to every exported function, under its plain name. */
#include "component.h"

typedef void (*Function)(void);

int main(void) {
  static const Function functions[] = {
#define EXPORTED(name) (Function) name,
#include "exported.inc"
#undef EXPORTED
  };
  for (int i = 0; i < kExportNum; ++i) CHECK(functions[i] != NULL);
  CHECK(GetModuleHandleW(L"pmstore.dll") != NULL);
  CHECK(GetAvlNodeSize() == 16);
  return Failures();
}
