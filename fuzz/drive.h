// What the fuzz targets and the bit-rot test do with hostile bytes. Each aborts when an answer is wrong.
#pragma once

#include "tests/support/vault.h"

namespace drive {

using vault::Bytes;

// Opens a vault of these bytes: it opens or stays untouched; every item reads as the format says, and no
// other; it takes changes, and after a close it opens again with every sound item.
void OpenAndUse(const Bytes& file);

// The same for a vault with an ID table of these bytes.
void UseTable(const Bytes& table);

// Restores a sound vault from a backup of these bytes: refused, with the vault untouched, or restored and
// opened.
void Restore(const Bytes& backup);

}  // namespace drive
