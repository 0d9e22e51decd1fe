#include "nodepool.h"

#include "commonbase/src/assertion.h"
#include "commonbase/src/freechain.h"
#include "platform/heap.h"

namespace commonbase {
namespace {

static_assert(sizeof(void*) != 4 ||
                  (sizeof(CommonPool) == 36 && offsetof(CommonPool, freeList) == 4 &&
                   offsetof(CommonPool, nodeNum) == 8 && offsetof(CommonPool, nodeSize) == 12 &&
                   offsetof(CommonPool, freeNum) == 16 && offsetof(CommonPool, InitCommonPool) == 20 &&
                   offsetof(CommonPool, GetCommonNode) == 24 && offsetof(CommonPool, FreeCommonNode) == 28 &&
                   offsetof(CommonPool, FreeCommonPool) == 32),
              "callers on 32-bit systems rely on this layout");

BlockArea AreaOf(const CommonPool* pool) {
  return {pool->nodeArea, static_cast<size_t>(pool->nodeNum), static_cast<size_t>(pool->nodeSize)};
}

void InitCommonPool(CommonPool* pool) {
  AreaOf(pool).chainAll();
  pool->freeList = pool->nodeArea;
  pool->freeNum = pool->nodeNum;
}

void* GetCommonNode(CommonPool* pool) {
  const auto size = static_cast<uint32_t>(pool->nodeSize);
  if (pool->freeNum <= 0) return Malloc(size);
  void* node = pool->freeList;
  pool->freeList = AreaOf(pool).next(node);
  --pool->freeNum;
  return std::memset(node, 0, size);
}

void FreeCommonNode(void* node, CommonPool* pool) {
  const BlockArea area = AreaOf(pool);
  if (!area.holds(node)) {
    Free(node);
    return;
  }
  std::memset(node, 0, area.size);
  area.setNext(node, pool->freeList);
  pool->freeList = node;
  ++pool->freeNum;
}

void FreeCommonPool(CommonPool* pool) {
  Free(pool);
}

// The bytes of record and area, or 0 when a pool cannot be that large or that small.
uint32_t BlockSize(int32_t nodeNum, int32_t nodeSize) {
  if (nodeNum < 1 || nodeSize < kSmallestLink) return 0;
  const uint64_t size = sizeof(CommonPool) + static_cast<uint64_t>(nodeNum) * static_cast<uint64_t>(nodeSize);
  return size <= UINT32_MAX ? static_cast<uint32_t>(size) : 0;
}

}  // namespace
}  // namespace commonbase

void* Malloc(uint32_t size) {
  return platform::Allocate(size);
}

void Free(void* block) {
  platform::Release(block);
}

CommonPool* CreateCommonPool(int32_t nodeNum, int32_t nodeSize) {
  if (nodeSize < commonbase::kSmallestLink)
    commonbase::ReportAssertion("commonbase/src/nodepool", "CreateCommonPool", __LINE__,
                                "Node Size too small!");
  const uint32_t size = commonbase::BlockSize(nodeNum, nodeSize);
  if (size == 0) return nullptr;
  auto pool = static_cast<CommonPool*>(Malloc(size));
  if (pool == nullptr) return nullptr;

  *pool = {reinterpret_cast<unsigned char*>(pool + 1),
           nullptr,
           nodeNum,
           nodeSize,
           0,
           commonbase::InitCommonPool,
           commonbase::GetCommonNode,
           commonbase::FreeCommonNode,
           commonbase::FreeCommonPool};
  commonbase::InitCommonPool(pool);
  return pool;
}

void ReleaseCommonPool(CommonPool* pool) {
  commonbase::FreeCommonPool(pool);
}
