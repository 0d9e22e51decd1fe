// What the machine itself needs for the bytes that a store handles: the limits that no store can pass.
#pragma once

#include <cstdint>
#include <string>

#include "bench/measure.h"

namespace bench {

// Over the file at `path`, which is in the cache: reading it into a buffer of 1 MiB that is in use already,
// copying it so to a new file without a flush, and overwriting 1 KiB with a flush.
void MeasureLimits(const std::string& path, const Report& report);

// Writes `bytes` to a new file, flushes it and reads it back; the seconds.
double PlainWriteFlushRead(const std::string& bytes);

}  // namespace bench
