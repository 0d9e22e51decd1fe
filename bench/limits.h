// What the machine itself needs for the bytes that a store handles: the limits that no store can pass.
#pragma once

#include <cstdint>
#include <string>

#include "bench/measure.h"

namespace bench {

// Over the file at `path`, which is in the cache: reading it in pieces of 1 MiB, walking it mapped, copying
// it inside the kernel with a flush, and writing 1 KiB with a flush.
void MeasureLimits(const std::string& path, const Report& report);

// Writes `bytes` to a new file, flushes it and reads it back; the seconds.
double PlainWriteFlushRead(const std::string& bytes);

}  // namespace bench
