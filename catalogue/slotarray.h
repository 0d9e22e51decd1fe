// A growable array of pointers whose entries keep their places: a freed slot is used again before a new one.
//
// Slot order is the order of everything that lists entries.
//
// Invariants:
//  1. An entry goes into the lowest free slot; slots at or behind usedEnd() are all free.
//  2. usedEnd() moves one slot on with every entry until it reaches the capacity, so the used range may end
//     in free slots; then only with an entry that finds no free slot, which raises the capacity by 10.
//  3. Only reserve() allocates; add() needs room that it made. Nothing shrinks.
#pragma once

#include <cstdint>

#include "commonbase/src/growarray.h"
#include "commonbase/src/numberset.h"

namespace catalogue {

template <typename T>
class SlotArray {
 public:
  // Makes room for `more` further entries. False when there is no memory.
  bool reserve(uint32_t more) {
    return slots_.reserve(slots_.size() + more) && freeSlots_.reserve(slots_.size() + more);
  }

  // The capacity that an empty array starts from.
  void setCapacity(uint32_t capacity) { capacity_ = capacity; }

  // The lowest free slot: where the next entry goes.
  uint32_t nextSlot() const { return freeSlots_.empty() ? slots_.size() : freeSlots_.lowest(); }

  // Puts an entry into the lowest free slot; the slot's number.
  uint32_t add(T* entry) {
    const uint32_t slot = take(entry);
    if (usedEnd_ < capacity_) {
      ++usedEnd_;
    } else if (slot == usedEnd_) {
      ++usedEnd_;
      capacity_ += 10;
    }
    return slot;
  }

  void remove(uint32_t slot) {
    slots_[slot] = nullptr;
    freeSlots_.insert(slot);
  }

  uint32_t usedEnd() const { return usedEnd_; }
  // The slots from here on were never used.
  uint32_t size() const { return slots_.size(); }
  uint32_t count() const { return slots_.size() - freeSlots_.count(); }

  // The entry in a slot below usedEnd(), null when it is free.
  T* operator[](uint32_t slot) const { return slot < slots_.size() ? slots_[slot] : nullptr; }

  // Visits the entries in slot order.
  template <typename Visit>
  void forEach(Visit visit) const {
    for (T* entry : slots_) {
      if (entry != nullptr) visit(entry);
    }
  }

 private:
  uint32_t take(T* entry) {
    const uint32_t slot = nextSlot();
    if (slot == slots_.size()) {
      slots_.add(entry);
    } else {
      freeSlots_.erase(slot);
      slots_[slot] = entry;
    }
    return slot;
  }

  commonbase::GrowArray<T*> slots_;
  commonbase::NumberSet freeSlots_;  // below slots_.size(); the slots from there on are free as well
  uint32_t usedEnd_ = 0;
  uint32_t capacity_ = 100;
};

}  // namespace catalogue
