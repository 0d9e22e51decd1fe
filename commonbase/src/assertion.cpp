#include "commonbase/src/assertion.h"

#include <cinttypes>
#include <cstdio>

namespace commonbase {

void ReportAssertion(const char* source, const char* function, int32_t line, const char* message) {
  std::printf("[ Assert Failed! %s, %s, %" PRId32 " ] %s\n", source, function, line, message);
  std::fflush(stdout);
}

}  // namespace commonbase
