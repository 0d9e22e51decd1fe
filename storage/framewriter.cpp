#include "storage/framewriter.h"

#include <cstring>

namespace storage {

namespace {

void StoreHalves(uint8_t* unit, const HalfHashes& hashes) {
  StoreU64(unit, hashes.half[0]);
  StoreU64(unit + 8, hashes.half[1]);
}

// One change is under way at a time, in the whole process.
constexpr size_t kBufferSize = size_t{64} * (kBlockSize + kRecordHeadSize);
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
  hash_ = HashBytes(hash_, buffer, used_);
  write();
}

void FrameWriter::write() {
  failed_ = failed_ || file_->writeAt(position_, buffer, used_) != used_;
  file_->startSync(position_, used_);
  position_ += used_;
  platform::Wipe(buffer, used_);
  used_ = 0;
}

bool FrameWriter::finish() {
  uint8_t* hash = add(kCommitRecord, 0);
  closeRecord();
  StoreU64(hash, HashBytes(hash_, buffer, static_cast<size_t>(hash - buffer)));
  // The journal ends where its last frame's page does.
  const auto rest = static_cast<size_t>(NextPage(end()) - end());
  if (used_ + rest > kBufferSize) write();
  std::memset(buffer + used_, 0, rest);
  used_ += rest;
  write();
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
