#include "storage/itemindex.h"

#include <algorithm>

namespace storage {

bool ItemIndex::sorted(commonbase::GrowArray<ItemInfo*>* items) const {
  if (!items->reserve(count())) return false;
  forEach([items](ItemInfo* item) {
    items->add(item);
    return true;
  });
  SortById(items->begin(), items->end());
  return true;
}

void SortById(ItemInfo** begin, ItemInfo** end) {
  std::sort(begin, end, [](const ItemInfo* a, const ItemInfo* b) { return a->id < b->id; });
}

}  // namespace storage
