#include "storage/framewriter.h"

#include <cstring>

namespace storage {

namespace {

void StoreHalves(uint8_t* unit, const HalfHashes& hashes) {
  StoreU64(unit, hashes.half[0]);
  StoreU64(unit + 8, hashes.half[1]);
}

// What does not fit into the buffer is written in pieces that begin and end where the file is aligned to their size:
// systems keep a file that was written so in larger pages.
constexpr size_t kPiece = size_t{64} << 10;

// One change is under way at a time, in the whole process. A piece is full before a unit finds no room.
constexpr size_t kBufferSize = kPiece + size_t{2} * (kBlockSize + kRecordHeadSize);
alignas(64) uint8_t buffer[kBufferSize];

}  // namespace

FrameWriter::FrameWriter(platform::File* file, uint64_t position, const FrameHead& head)
    : file_(file), position_(position) {
  EncodeFrameHead(head, buffer);
  used_ = kFrameHeadSize;
}

FrameWriter::~FrameWriter() {
  platform::Wipe(buffer, used_);
}

uint8_t* FrameWriter::add(RecordType type, uint32_t block) {
  const uint32_t unit = UnitSize(type);
  const bool follows = record_.count != 0 && record_.type == type && block == record_.first + record_.count;
  if (!follows || used_ + unit > kBufferSize) {
    closeRecord();
    if (used_ + kRecordHeadSize + unit > kBufferSize) flush();
    record_ = {type, block, 0};
    recordAt_ = used_;
    used_ += kRecordHeadSize;
  }
  ++record_.count;
  used_ += unit;
  return buffer + used_ - unit;
}

void FrameWriter::closeRecord() {
  if (record_.count != 0) EncodeRecordHead(record_, buffer + recordAt_);
  record_.count = 0;
}

void FrameWriter::flush() {
  const auto size = static_cast<size_t>(end() / kPiece * kPiece - position_);
  hash_ = HashBytes(hash_, buffer, size);
  write(size);
}

void FrameWriter::write(size_t size) {
  failed_ = failed_ || file_->writeAt(position_, buffer, size) != size;
  file_->startSync(position_, size);
  position_ += size;
  used_ -= size;
  std::memmove(buffer, buffer + size, used_);
  platform::Wipe(buffer + used_, size);
}

bool FrameWriter::finish() {
  uint8_t* hash = add(kCommitRecord, 0);
  closeRecord();
  StoreU64(hash, HashBytes(hash_, buffer, static_cast<size_t>(hash - buffer)));
  // The journal ends where its last frame's page does.
  const auto rest = static_cast<size_t>(NextPage(end()) - end());
  if (used_ + rest > kBufferSize) write(used_);
  std::memset(buffer + used_, 0, rest);
  used_ += rest;
  write(used_);
  return !failed_;
}

uint64_t AddFound(FrameWriter* frame, uint32_t block, const uint8_t* bytes) {
  const uint64_t part = BlockPart(block, bytes);
  uint8_t* unit = frame->add(kFoundRecord, block);
  StoreHalves(unit, HashHalves(bytes));
  StoreU64(unit + 16, part);
  return part;
}

void AddDirect(FrameWriter* frame, uint32_t block, const uint8_t* bytes) {
  StoreHalves(frame->add(kDirectRecord, block), HashHalves(bytes));
}

}  // namespace storage
