#include "storage/itemindex.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "storage/controller.h"

namespace storage {

namespace {

uint64_t Scramble(uint64_t x) {
  x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9U;
  x = (x ^ x >> 27) * 0x94D049BB133111EBU;
  return x ^ x >> 31;
}

}  // namespace

ItemIndex::ItemIndex()
    : multiplier_(Scramble(reinterpret_cast<uintptr_t>(this) ^ static_cast<uint64_t>(std::time(nullptr)) << 20) |
                  1) {}

ItemIndex::~ItemIndex() {
  if (buckets_ != &first_) std::free(buckets_);
}

uint32_t ItemIndex::bucketOf(uint32_t id) const {
  return bits_ == 0 ? 0 : static_cast<uint32_t>((id + uint64_t{1}) * multiplier_ >> (64 - bits_));
}

ItemInfo* ItemIndex::find(uint32_t id) const {
  ItemInfo* item = buckets_[bucketOf(id)];
  while (item != nullptr && item->id != id) item = item->nextInBucket;
  return item;
}

void ItemIndex::insert(ItemInfo* item) {
  if (count_ >> bits_ != 0) grow();
  ItemInfo*& bucket = buckets_[bucketOf(item->id)];
  item->nextInBucket = bucket;
  bucket = item;
  ++count_;
}

void ItemIndex::remove(ItemInfo* item) {
  ItemInfo** link = &buckets_[bucketOf(item->id)];
  while (*link != item) link = &(*link)->nextInBucket;
  *link = item->nextInBucket;
  --count_;
}

bool ItemIndex::forEach(bool (*visit)(void* context, ItemInfo* item), void* context) const {
  for (uint32_t i = 0; i >> bits_ == 0; ++i) {
    for (ItemInfo* item = buckets_[i]; item != nullptr; item = item->nextInBucket) {
      if (!visit(context, item)) return false;
    }
  }
  return true;
}

void ItemIndex::clear(void (*release)(ItemInfo* item)) {
  for (uint32_t i = 0; i >> bits_ == 0; ++i) {
    while (ItemInfo* item = buckets_[i]) {
      buckets_[i] = item->nextInBucket;
      release(item);
    }
  }
  count_ = 0;
}

bool ItemIndex::sorted(commonbase::GrowArray<ItemInfo*>* items) const {
  if (!items->reserve(count_)) return false;
  for (uint32_t i = 0; i >> bits_ == 0; ++i) {
    for (ItemInfo* item = buckets_[i]; item != nullptr; item = item->nextInBucket) items->add(item);
  }
  SortById(items->begin(), items->end());
  return true;
}

void ItemIndex::grow() {
  constexpr uint32_t kMaxBits = 26;
  const uint32_t bits = bits_ + 2;
  if (bits > kMaxBits) return;
  auto** buckets = static_cast<ItemInfo**>(std::calloc(size_t{1} << bits, sizeof(ItemInfo*)));
  if (buckets == nullptr) return;
  ItemInfo** const old = buckets_;
  const uint32_t oldNum = uint32_t{1} << bits_;
  buckets_ = buckets;
  bits_ = bits;
  for (uint32_t i = 0; i < oldNum; ++i) {
    for (ItemInfo *item = old[i], *next; item != nullptr; item = next) {
      next = item->nextInBucket;
      ItemInfo*& bucket = buckets_[bucketOf(item->id)];
      item->nextInBucket = bucket;
      bucket = item;
    }
  }
  if (old != &first_) std::free(old);
}

void SortById(ItemInfo** begin, ItemInfo** end) {
  std::sort(begin, end, [](const ItemInfo* a, const ItemInfo* b) { return a->id < b->id; });
}

}  // namespace storage
