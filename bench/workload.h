// The steps that every store goes through, and what is measured in each.
//
// A phase is one process: it opens the store, does its work and closes it. The clock runs where the step's
// name says:
//
//   phase      step                          what the clock covers
//   Load       load                          open a new store, every item in one transaction, close
//   ReadOne    open and read one             open, one item
//   ReadAll    open and read all             open, every item by its ID in shuffled order, verified
//   LookUp     look up all                   the ID of every item by kind and user data, after an open
//              enumerate one kind            the IDs of kind 1
//   Change     single insert                 the median of 50, each durable; the stores take turns
//              worst of 50 single inserts    mostly the first after the open
//              50 single inserts             all of them
//              ... replacement(s)            the same for 50 replacements of an item's bytes
//   ChangeMany 1,000 single replacements     all of them; and how far their 99th percentile is from their median
//   Delete     delete 30% and close          3 of 10 items in one transaction, close
//
// A store that loses an item, gives it back wrong, keeps a deleted one or enumerates another number fails the
// run.
#pragma once

#include "bench/measure.h"
#include "bench/store.h"
#include "bench/turns.h"
#include "bench/vault.h"

namespace bench {

constexpr uint32_t kSingleChanges = 50;
constexpr uint32_t kManyChanges = 1000;

using Phase = void (*)(Store* store, Vault* vault, const Report& report);

void Load(Store* store, Vault* vault, const Report& report);
void ReadOne(Store* store, Vault* vault, const Report& report);
void ReadAll(Store* store, Vault* vault, const Report& report);
void LookUp(Store* store, Vault* vault, const Report& report);
void Change(Store* store, Vault* vault, const Report& report, const Turn& turn);
void ChangeMany(Store* store, Vault* vault, const Report& report);
void Delete(Store* store, Vault* vault, const Report& report);

// Not measured: that what Delete left is what the vault should hold. Reports the size of the fewest blocks for it.
void Verify(Store* store, Vault* vault, const Report& report);

// One item of `size` bytes: insert, durable; close, reopen, read. Steps "item of ... bytes".
void LargeItem(Store* store, const std::string& bytes, const Report& report);

}  // namespace bench
