// What the machine itself needs for the bytes that a store handles: the limits that no store can pass.
#pragma once

#include <cstdint>
#include <string>

#include "bench/measure.h"
#include "bench/turns.h"

namespace bench {

// Over the file at `path`, which is in the cache: reading it into a buffer of 1 MiB that is in use already.
void MeasureReading(const std::string& path, const Report& report);

// Copying that file so to a new one, without a flush, in a turn of its own; then overwriting 1 KiB of the copy, `count`
// times, each with a flush; and a turn to remove it.
void MeasureChanges(const std::string& path, uint32_t count, const Report& report, const Turn& turn);

// Writes `bytes` to a new file, flushes it and reads it back; the seconds.
double PlainWriteFlushRead(const std::string& bytes);

}  // namespace bench
