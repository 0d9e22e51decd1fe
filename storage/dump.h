// The diagnostic report on the current data file.
#pragma once

#include <cstdint>
#include <cstdio>

#include "storage/controller.h"

namespace storage {

// Appends the report to the text file at `reportPath`, creating it. Nothing happens when no file is current,
// when the report cannot be opened or when there is no memory. Every readable item's bytes are in memory
// afterwards.
void PrintReport(const PmChar* reportPath);

void PrintItemInfo(const ItemInfo* item, std::FILE* report);

// Sixteen bytes a line, each line led by the position of its first byte.
void PrintHexData(std::FILE* report, const uint8_t* bytes, int32_t count);

}  // namespace storage
