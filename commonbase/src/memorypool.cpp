#include "commonbase/src/memorypool.h"

#include <algorithm>

#include "platform/compiler.h"
#include "platform/heap.h"
#include "platform/platform.h"

namespace commonbase {

namespace {

constexpr size_t kLargePiece = size_t{2} << 20;
constexpr size_t kMiddlePiece = size_t{256} << 10;
constexpr size_t kSmallPiece = size_t{32} << 10;
constexpr size_t kAlignment = alignof(std::max_align_t);
constexpr uint32_t kNone = UINT32_MAX;

// The bytes that a block takes.
constexpr size_t Rounded(size_t size) {
  return (std::max<size_t>(size, 1) + platform::kRedZone + kAlignment - 1) / kAlignment * kAlignment;
}

MemoryPool sharedMemory;

}  // namespace

void* MemoryPool::take(size_t size) {
  Room* room = size <= kLargePiece ? roomFor(Rounded(size)) : nullptr;
  if (room == nullptr) return platform::AllocateLarge(std::max<size_t>(size, 1));
  void* block = room->next;
  room->next += Rounded(size);
  room->piece->taken += Rounded(size);
  taken_ += Rounded(size);
  platform::Unpoison(block, size);
  return block;
}

void MemoryPool::give(void* block, size_t size) {
  const uint32_t number = numberOf(block);
  if (number == kNone) return platform::Release(block);
  Piece* piece = pieces_[number];
  platform::Poison(block, size);
  piece->taken -= Rounded(size);
  taken_ -= Rounded(size);
  if (piece->taken == 0) return dropPiece(number);
  Room* room = smallestRoom();
  auto* begin = static_cast<uint8_t*>(block);
  if (Rounded(size) > room->size()) *room = {begin, begin + Rounded(size), piece};
}

MemoryPool::Room* MemoryPool::roomFor(size_t size) {
  Room* best = nullptr;  // the smallest one, so that larger ones are left for larger blocks
  for (Room& room : rooms_) {
    if (room.size() >= size && (best == nullptr || room.size() < best->size())) best = &room;
  }
  if (best != nullptr || taken_ < total_ / 2) return best;
  return addPiece(size);
}

// Room for a block of that size in a new piece; null when it would fill most of one, or without memory.
MemoryPool::Room* MemoryPool::addPiece(size_t size) {
  const size_t large = total_ < platform::kLargePagesAtHand ? kLargePiece : kMiddlePiece;
  const size_t pieceSize = expected_ >= kLargePiece ? large : kSmallPiece;
  if (size > pieceSize / 2 || !pieces_.reserve(pieces_.size() + 1)) return nullptr;
  auto* piece = static_cast<Piece*>(platform::AllocateLarge(pieceSize));
  if (piece == nullptr) return nullptr;
  platform::Populate(piece, pieceSize);
  *piece = {pieceSize, 0};
  total_ += pieceSize;
  pieces_.add(piece);
  std::rotate(std::upper_bound(pieces_.begin(), pieces_.end() - 1, piece), pieces_.end() - 1, pieces_.end());
  Room* room = smallestRoom();
  auto* begin = reinterpret_cast<uint8_t*>(piece);
  *room = {begin + Rounded(sizeof *piece), begin + pieceSize, piece};
  platform::Poison(room->next, room->size());
  return room;
}

void MemoryPool::dropPiece(uint32_t number) {
  Piece* piece = pieces_[number];
  for (Room& room : rooms_) {
    if (room.piece == piece) room = {};
  }
  std::rotate(pieces_.begin() + number, pieces_.begin() + number + 1, pieces_.end());
  pieces_.removeLast();
  total_ -= piece->size;
  platform::Unpoison(piece, piece->size);
  platform::Release(piece);
}

// The piece that a block stands in, or kNone.
uint32_t MemoryPool::numberOf(const void* block) const {
  const auto address = reinterpret_cast<uintptr_t>(block);
  Piece* const* after = std::upper_bound(
      pieces_.begin(), pieces_.end(), address,
      [](uintptr_t place, const Piece* piece) { return place < reinterpret_cast<uintptr_t>(piece); });
  if (after == pieces_.begin()) return kNone;
  const Piece* piece = *(after - 1);
  if (address - reinterpret_cast<uintptr_t>(piece) >= piece->size) return kNone;
  return static_cast<uint32_t>(after - 1 - pieces_.begin());
}

MemoryPool::Room* MemoryPool::smallestRoom() {
  return std::min_element(rooms_, rooms_ + kRooms,
                          [](const Room& a, const Room& b) { return a.size() < b.size(); });
}

MemoryPool& SharedMemory() {
  return sharedMemory;
}

}  // namespace commonbase
