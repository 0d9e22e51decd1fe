// The diagnostic report on the current data file.
#pragma once

#include "platform/pmtypes.h"

namespace storage {

// Appends the report to the text file at `reportPath`, creating it. Nothing happens when no file is current,
// when the report cannot be opened or when there is no memory. Every readable item's bytes are in memory
// afterwards.
void PrintReport(const PmChar* reportPath);

}  // namespace storage
