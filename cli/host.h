// What the tool needs of the system beyond the C++ library: its terminal, its clock and its reasons.
#pragma once

#include <cstdio>
#include <string>

namespace cli {

// Makes a standard stream carry bytes unchanged, and the terminal read them as UTF-8 and obey escape codes, where it
// can; at the end the terminal is as it was.
void PrepareStreams();

bool IsTerminal(std::FILE* stream);

// Whether a stream is a terminal on which escape codes colour and erase.
bool ObeysEscapes(std::FILE* stream);

// The columns of the terminal on standard output, 80 when there is none to ask.
int TerminalWidth();

// An environment variable, empty when it is not set.
std::string Environment(const char* name);

// The system that the tool was built for, "Linux, 64 bits".
std::string SystemName();

// Seconds since 1970 as "2026-03-31 17:05:09 UTC".
std::string UtcTime(int64_t seconds);

// Stands from before a call of the system, or of the library, until what it failed for has been said.
class SystemCall {
 public:
  SystemCall();
  std::string reason() const;  // ": No space left on device", or nothing when the system gave none
};

}  // namespace cli
