// What the tool needs of the system beyond the C++ library: its arguments as UTF-8 and its terminal.
#pragma once

#include <cstdio>
#include <string>

namespace cli {

// Makes a standard stream carry bytes unchanged, and the terminal read them as UTF-8.
void PrepareStreams();

bool IsTerminal(std::FILE* stream);

// The columns of the terminal on standard output, 80 when there is none to ask.
int TerminalWidth();

// An environment variable, empty when it is not set.
std::string Environment(const char* name);

// Seconds since 1970 as local time, "2026-03-31 17:05:09".
std::string LocalTime(int64_t seconds);

}  // namespace cli
