// What the fuzz targets and the bit-rot test do with hostile bytes. Each fails when an answer or a file is not the
// model's.
#pragma once

#include "tests/support/vault.h"

namespace drive {

using vault::Bytes;

// Opens a vault of these bytes: it opens or stays untouched; what opens takes changes, is closed and opened again.
void OpenAndUse(const Bytes& file);

// The same for a vault with an ID table of these bytes.
void UseTable(const Bytes& table);

// Restores a sound vault from a backup of these bytes: refused, with the vault untouched, or restored and
// opened.
void Restore(const Bytes& backup);

}  // namespace drive
