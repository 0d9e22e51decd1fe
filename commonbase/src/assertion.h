// The report that the common base prints on standard output when a caller breaks a precondition.
#pragma once

#include <cstdint>

namespace commonbase {

// Prints "[ Assert Failed! source, function, line ] message" as a line of its own and flushes standard
// output. It only reports: what becomes of the call is up to the function that found the broken precondition.
void ReportAssertion(const char* source, const char* function, int32_t line, const char* message);

}  // namespace commonbase
