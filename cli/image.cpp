#include "cli/image.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/failure.h"
#include "cli/mending.h"
#include "cli/text.h"
#include "storage/pack.h"
#include "storage/packetchoice.h"
#include "storage/result.h"

namespace cli {

namespace {

using storage::kBlockSize;
using storage::PacketHeader;

constexpr uint32_t kScanBlocks = 1024;  // blocks read at once

// The vault's file is gone, and something stands beside where it was.
[[noreturn]] void FailForLostFile(const VaultPath& path) {
  throw Failure(
      ExitCode::kMissing, fmt::format("there is no file {}", path.shown),
      path.hasBackup()
          ? fmt::format("Its backup {} stands: \"pmstore restore {}\" makes the file anew.", path.backupShown,
                        ForShell(path.shown))
          : fmt::format("Its journal {} stands: \"pmstore salvage {} NEW-VAULT\" saves what that holds.",
                        path.journalShown, ForShell(path.shown)));
}

}  // namespace

Image::Image(const VaultPath& path, Source source, Reading reading) : isBackup_(source == Source::kBackup) {
  const bool isGone = source == Source::kAuto && platform::IsMissing(path.file.c_str());
  const bool isLeft = isGone && (path.hasBackup() || path.hasJournal());
  if (isLeft && reading == Reading::kAsPrograms) FailForLostFile(path);
  isBackup_ = isBackup_ || (isLeft && path.hasBackup());
  const PmString journal = source == Source::kAuto ? path.journal : PmString();
  file_ = isBackup_ ? std::make_shared<const BlockFile>(path.backup, path.backupShown, journal, reading)
          : isLeft  ? std::make_shared<const BlockFile>(path.journal, path.journalShown, PmString(), reading)
                    : std::make_shared<const BlockFile>(path.file, path.shown, journal, reading);
  build();
  if (reading == Reading::kForRescue) putInStep();
  if (looksLikeVault_ || file_->inStep() == nullptr) return;
  looksLikeVault_ = true;
  fileProblems_.insert(fileProblems_.begin(),
                       {0, "it is out of step with all behind it, since bytes are missing or were inserted",
                        "blocks-shifted"});
}

// Takes the blocks for where they really stand, when some are out of step.
void Image::putInStep() {
  if (fileProblems_.empty()) return;
  std::shared_ptr<const BlockFile> found = file_->inStep();
  if (found != nullptr) *this = Image(std::move(found), isBackup_);
}

Image::Image(std::shared_ptr<const BlockFile> file, bool isBackup)
    : file_(std::move(file)), isBackup_(isBackup) {
  build();
}

Image::Image(const Image& image, std::map<uint32_t, Bytes> mended)
    : file_(image.file_), mended_(std::move(mended)), isBackup_(image.isBackup_) {
  build();
}

void Image::build() {
  scan();
  noteRest();
  for (auto& [id, item] : items_) formItem(item);
  loadTable();
}

void Image::judgeBlock(const uint8_t* bytes) {
  const auto number = static_cast<uint32_t>(blocks_.size());
  const PacketHeader header = storage::DecodeHeader(bytes);
  const bool sound = storage::CheckPacket(bytes) == storage::kOk;
  BlockState state = header.packetType == storage::kFreeBlock ? BlockState::kFree : BlockState::kUsed;
  if (header.packetFlag > storage::kPacketFlag || header.formatVersion != storage::kFormatVersion) {
    state = BlockState::kMalformed;
    fileProblems_.push_back(
        {number, fmt::format("its first byte is 0x{:02X}, which begins no block", bytes[0]), "block-begin"});
  } else if (storage::LoadU32(bytes + storage::kTrailerOffset) != storage::kTrailerMagic) {
    if (state == BlockState::kUsed && !sound) state = BlockState::kMalformed;
    fileProblems_.push_back({number, "its last four bytes are not the mark that ends a block", "block-end"});
  }
  blocks_.push_back({header, state, sound});
  looksLikeVault_ = looksLikeVault_ || (sound && IsPossible(header)) ||
                    storage::LoadU32(bytes + storage::kTrailerOffset) == storage::kTrailerMagic;
  if (state != BlockState::kUsed) return;
  Item& item = items_[header.itemId];
  item.id = header.itemId;
  item.blocks.push_back(number);
}

void Image::scan() {
  const uint32_t whole = file_->blockCount();
  const uint32_t all = whole + (mended_.count(whole) != 0 ? 1 : 0);
  blocks_.reserve(all);
  for (uint32_t first = 0; first < all; first += kScanBlocks) {
    const uint32_t count = std::min(kScanBlocks, all - first);
    const Bytes bytes = readBlocks(first, count);
    for (uint32_t i = 0; i < count; ++i) judgeBlock(bytes.data() + size_t{i} * kBlockSize);
  }
}

// What stands behind the whole blocks, and what should.
void Image::noteRest() {
  const uint32_t whole = file_->blockCount();
  const Bytes rest = file_->readRest();
  looksLikeVault_ = looksLikeVault_ || file_->size() == 0 || file_->isJournal() ||
                    (rest.size() >= storage::kHeaderSize && IsPossible(storage::DecodeHeader(rest.data())));
  if (!rest.empty() && mended_.count(whole) == 0) {
    fileProblems_.push_back(
        {whole, fmt::format("only {} of its 1024 bytes are there", rest.size()), "block-cut"});
  }
  if (const std::optional<uint32_t> first = file_->shifted()) {
    const char* what = "it is out of step, since bytes were inserted before it or are missing";
    fileProblems_.insert(fileProblems_.begin(), {*first, what, "blocks-shifted"});
  }
  if (file_->missing() != 0) {
    fileProblems_.push_back(
        {whole,
         fmt::format("here or before, {} that the journal tells of {} nowhere",
                     CountText(file_->missing(), "block"), file_->missing() == 1 ? "is" : "are"),
         "blocks-missing"});
  }
}

// Which of an item's packets are the item, as the library decides.
void Image::formItem(Item& item) {
  const std::vector<uint32_t> all = item.blocks;
  std::vector<PacketHeader> headers;
  for (uint32_t number : all) headers.push_back(blocks_[number].header);
  struct Sight {
    const std::vector<Block>& blocks;
    const std::vector<uint32_t>& numbers;
  } sight{blocks_, all};
  const auto check = [](void* context, uint32_t index) {
    const auto* seen = static_cast<const Sight*>(context);
    return seen->blocks[seen->numbers[index]].sound ? storage::PacketCheck::kSound
                                                    : storage::PacketCheck::kDamaged;
  };
  std::vector<uint32_t> chosen(all.size());
  uint32_t count = 0;
  storage::ChoosePackets(headers.data(), static_cast<uint32_t>(all.size()), check, &sight, chosen.data(),
                         &count);
  item.whole = count != 0;
  if (item.whole) {
    const PacketHeader& last = headers[chosen[count - 1]];
    item.endsFull = last.packetType == storage::kPartPacket && last.dataLength == storage::kPacketCapacity;
    item.blocks.clear();
    for (uint32_t i = 0; i < count; ++i) item.blocks.push_back(all[chosen[i]]);
    std::sort(item.blocks.begin(), item.blocks.end());
    std::set_difference(all.begin(), all.end(), item.blocks.begin(), item.blocks.end(),
                        std::back_inserter(item.leftovers));
  }
  for (uint32_t number : item.leftovers) blocks_[number].state = BlockState::kLeftOver;
  for (uint32_t number : item.blocks) item.size += blocks_[number].header.dataLength;
}

ItemBytes Image::readItem(uint32_t id) const {
  ItemBytes result;
  const Item* item = findItem(id);
  if (item == nullptr) return result;
  const auto room = uint64_t{item->blocks.size()} * storage::kPacketCapacity;
  result.bytes.resize(static_cast<size_t>(std::min<uint64_t>(item->size, room)));
  for (uint32_t number : item->blocks) {
    const PacketHeader& header = blocks_[number].header;
    const auto complain = [&](const char* what) { result.problems.push_back({number, what}); };
    if (header.dataLength > storage::kPacketCapacity) {
      complain("says that it holds more bytes than fit a block");
    } else if (!blocks_[number].sound) {
      complain("fails its checksum");
    } else if (uint64_t{header.itemOffset} + header.dataLength > result.bytes.size() ||
               header.itemOffset == result.bytes.size()) {
      complain("lies beyond the item's end: another block of the item is missing");
    } else {
      const Bytes block = readBlock(number);
      std::copy_n(block.data() + storage::kHeaderSize, header.dataLength,
                  result.bytes.data() + header.itemOffset);
    }
  }
  return result;
}

ItemRemains Image::readRemains(uint32_t id) const {
  ItemRemains remains;
  const Item* item = findItem(id);
  if (item == nullptr) return remains;
  for (uint32_t number : item->blocks) {
    const PacketHeader& header = blocks_[number].header;
    const uint64_t end = uint64_t{header.itemOffset} + header.dataLength;
    if (!blocks_[number].sound || end > storage::kMaxItemSize) continue;
    const Bytes block = readBlock(number);
    if (end > remains.bytes.size()) {
      remains.bytes.resize(static_cast<size_t>(end));
      remains.isThere.resize(static_cast<size_t>(end));
    }
    std::copy_n(block.begin() + storage::kHeaderSize, header.dataLength,
                remains.bytes.begin() + header.itemOffset);
    std::fill_n(remains.isThere.begin() + header.itemOffset, header.dataLength, true);
  }
  return remains;
}

bool Image::isIntact(uint32_t id) const {
  const Item* item = findItem(id);
  return item != nullptr && item->whole &&
         std::all_of(item->blocks.begin(), item->blocks.end(),
                     [this](uint32_t number) { return blocks_[number].sound; });
}

bool Image::hasSoundPacket(uint32_t id) const {
  const Item* item = findItem(id);
  return item != nullptr && std::any_of(item->blocks.begin(), item->blocks.end(),
                                        [this](uint32_t number) { return blocks_[number].sound; });
}

Bytes Image::readBlocks(uint32_t first, uint32_t count) const {
  Bytes blocks(size_t{count} * kBlockSize);
  const uint32_t whole = file_->blockCount();
  if (first < whole) file_->read(first, std::min(count, whole - first), blocks.data());
  for (auto it = mended_.lower_bound(first); it != mended_.end() && it->first < first + count; ++it) {
    const size_t at = size_t{it->first - first} * kBlockSize;
    std::copy(it->second.begin(), it->second.end(), blocks.begin() + static_cast<std::ptrdiff_t>(at));
  }
  return blocks;
}

void Image::loadTable() {
  const ItemBytes table = readItem(0);
  if (!table.problems.empty()) {
    const Problem& first = table.problems[0];
    tableProblem_ = fmt::format("the ID table cannot be read: {} {}", blockText(first.block), first.what);
    return;
  }
  const Item* item = findItem(0);
  if (item != nullptr && !item->whole) {
    tableProblem_ = "the ID table cannot be read: its blocks do not make one item";
    return;
  }
  tableProblem_ = ParseIdTable(table.bytes, records_);
  for (size_t i = 0; i < records_.size(); ++i) recordOf_.emplace(records_[i].id, i);
}

const Item* Image::findItem(uint32_t id) const {
  const auto found = items_.find(id);
  return found == items_.end() ? nullptr : &found->second;
}

uint32_t Image::sizeOf(uint32_t id) const {
  const Item* item = findItem(id);
  return item == nullptr ? 0 : item->size;
}

size_t Image::freeBlockCount() const {
  return static_cast<size_t>(std::count_if(
      blocks_.begin(), blocks_.end(), [](const Block& block) { return block.state == BlockState::kFree; }));
}

const Record* Image::findRecord(uint32_t id) const {
  const auto found = recordOf_.find(id);
  return found == recordOf_.end() ? nullptr : &records_[found->second];
}

void Image::requireVault() const {
  if (file_->isJournal()) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is a journal, not a vault", fileShown()),
                  fmt::format("\"pmstore salvage {} NEW-VAULT\" saves what it holds by itself.",
                              ForShell(fileShown())));
  }
  if (!looksLikeVault_)
    throw Failure(ExitCode::kRefused, fmt::format("{} does not look like a vault", fileShown()),
                  fmt::format("\"pmstore check {}\" says what to do if it was one.", ForShell(fileShown())));
}

void Image::requireSound() const {
  requireVault();
  const char* next =
      R"(Run "pmstore check" to see all that is wrong and "pmstore salvage" to save what is left.)";
  if (!fileProblems_.empty()) {
    const Problem& first = fileProblems_[0];
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} is not a valid vault: {}: {}", fileShown(), blockText(first.block), first.what),
        next);
  }
  if (!tableProblem_.empty())
    throw Failure(ExitCode::kRefused, fmt::format("{} is damaged: {}", fileShown(), tableProblem_), next);
}

}  // namespace cli
