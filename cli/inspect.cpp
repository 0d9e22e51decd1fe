#include "cli/inspect.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "cli/failure.h"
#include "storage/pack.h"

namespace cli {

namespace {

using storage::kBlockSize;
using storage::PacketHeader;

constexpr uint32_t kRecordHeaderSize = 20;
constexpr size_t kScanBlocks = 1024;  // blocks read at once

// What an item's blocks are, by their headers.
struct Census {
  std::vector<uint32_t> onlyPackets;                   // blocks that say they are the whole item
  std::map<uint32_t, std::vector<uint32_t>> numbered;  // blocks by packet number
  std::vector<uint32_t> run;  // packets 1, 2, …, each there once and, but for the last, full
  bool runEnds = false;       // the last one of the run is not full
};

Census TakeCensus(const std::vector<Block>& blocks, const Item& item) {
  Census census;
  for (uint32_t number : item.blocks) {
    const PacketHeader& header = blocks[number].header;
    if (storage::IsOnlyPacket(header)) {
      census.onlyPackets.push_back(number);
    } else if (storage::IsNumberedPacket(header)) {
      census.numbered[header.packetSeq].push_back(number);
    }
  }
  for (const auto& [sequence, numbers] : census.numbered) {
    if (census.runEnds || sequence != census.run.size() + 1 || numbers.size() != 1) break;
    census.run.push_back(numbers[0]);
    census.runEnds = blocks[numbers[0]].header.dataLength < storage::kPacketCapacity;
  }
  return census;
}

}  // namespace

std::string BlockText(uint32_t number) {
  return fmt::format("block {} (offset {})", number, uint64_t{number} * kBlockSize);
}

VaultPath::VaultPath(std::string typed) : shown(std::move(typed)) {
  if (shown.empty()) throw Failure(ExitCode::kUsage, "the vault's path is empty");
#if defined(_WIN32)
  std::replace(shown.begin(), shown.end(), '/', '\\');
#endif
  file = RequireUtf8(shown, "vault's path");
  size_t name = file.size();
  while (name > 0 && !platform::IsFolderSeparator(file[name - 1])) --name;
  constexpr PmChar kSuffix[] = {'.', 'b', 'a', 'k', 0};
  backup = file.substr(0, name) + static_cast<PmChar>('.') + file.substr(name) + kSuffix;
  backupShown = ToUtf8(backup);
}

Image::Image(const VaultPath& path, Source source) {
  const bool backupExists = platform::Exists(path.backup.c_str());
  if (source != Source::kFile && (backupExists || source == Source::kBackup)) {
    fileShown_ = path.backupShown;
    openFile(path.backup);
    const bool counts = fileProblems_.empty() && tableProblem_.empty();
    isBackup_ = counts || source == Source::kBackup || !platform::Exists(path.file.c_str());
  }
  if (!isBackup_) {
    fileShown_ = path.shown;
    openFile(path.file);
  }
}

void Image::openFile(const PmString& path) {
  file_.close();
  path_ = path;
  if (!platform::Exists(path.c_str())) {
    throw Failure(ExitCode::kMissing, fmt::format("there is no file {}", fileShown_));
  }
  std::error_code ignored;
  if (std::filesystem::is_directory(std::filesystem::u8path(fileShown_), ignored)) {
    throw Failure(ExitCode::kIoError, fmt::format("{} is a folder, not a vault", fileShown_));
  }
  if (!file_.open(path.c_str(), platform::Access::kRead) || !file_.stamp(&stamp_)) {
    throw Failure(ExitCode::kIoError, fmt::format("cannot open {} for reading", fileShown_),
                  "Check that it is a file and that you may read it.");
  }
  fileSize_ = stamp_.size;
  scan();
  loadTable();
}

void Image::judgeBlock(const uint8_t* bytes, uint32_t number) {
  const PacketHeader header = storage::DecodeHeader(bytes);
  BlockState state = header.packetType == storage::kFreeBlock ? BlockState::kFree : BlockState::kUsed;
  if (header.packetFlag > 1 || header.formatVersion != storage::kFormatVersion) {
    state = BlockState::kMalformed;
    fileProblems_.push_back(
        {number, fmt::format("its first byte is 0x{:02X}, which begins no block", bytes[0])});
  } else if (storage::LoadU32(bytes + storage::kTrailerOffset) != storage::kTrailerMagic) {
    if (state == BlockState::kUsed && storage::CheckPacket(bytes) != 0) state = BlockState::kMalformed;
    fileProblems_.push_back({number, "its last four bytes are not the mark that ends a block"});
  }
  blocks_.push_back({header, state});
  if (state != BlockState::kUsed) return;
  Item& item = items_[header.itemId];
  item.id = header.itemId;
  item.blocks.push_back(number);
}

void Image::scan() {
  blocks_.clear();
  items_.clear();
  fileProblems_.clear();
  if (fileSize_ > storage::kMaxFileSize) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is too large to be a vault", fileShown_));
  }
  const auto whole = static_cast<uint32_t>(fileSize_ / kBlockSize);
  Bytes buffer(kScanBlocks * kBlockSize);
  blocks_.reserve(whole);
  for (uint32_t number = 0; number < whole;) {
    const size_t count = std::min<size_t>(kScanBlocks, whole - number);
    if (file_.readAt(uint64_t{number} * kBlockSize, buffer.data(), count * kBlockSize) !=
        count * kBlockSize) {
      throw Failure(ExitCode::kIoError, fmt::format("cannot read {} at {}", fileShown_, BlockText(number)));
    }
    for (size_t i = 0; i < count; ++i) judgeBlock(buffer.data() + i * kBlockSize, number++);
  }
  if (const uint64_t rest = fileSize_ % kBlockSize; rest != 0) {
    fileProblems_.push_back({whole, fmt::format("only {} of its 1024 bytes are there", rest)});
  }
  for (auto& [id, item] : items_) formItem(item);
}

bool Image::areSound(const std::vector<uint32_t>& numbers) const {
  return std::all_of(numbers.begin(), numbers.end(),
                     [this](uint32_t number) { return storage::CheckPacket(readBlock(number).data()) == 0; });
}

// Which of an item's blocks are the item, as the library decides on opening: all when they form one whole;
// else the one packet that says it is the whole item; else the numbered packets up to the first that is not
// full, where what is chosen passes its checksums; else all, and reading the item will tell.
void Image::formItem(Item& item) {
  const Census census = TakeCensus(blocks_, item);
  const bool onlyPacket = item.blocks.size() == 1 && census.onlyPackets.size() == 1;
  item.whole = onlyPacket || census.run.size() == item.blocks.size();
  std::vector<uint32_t> chosen;
  if (!item.whole && census.onlyPackets.size() == 1) chosen = census.onlyPackets;
  if (!item.whole && census.onlyPackets.empty() && census.runEnds) chosen = census.run;
  if (!chosen.empty() && areSound(chosen)) {
    for (uint32_t number : item.blocks) blocks_[number].state = BlockState::kStale;
    for (uint32_t number : chosen) blocks_[number].state = BlockState::kUsed;
    std::sort(chosen.begin(), chosen.end());
    item.blocks = chosen;
    item.whole = true;
  }
  for (uint32_t number : item.blocks) item.size += blocks_[number].header.dataLength;
}

ItemBytes Image::readItem(uint32_t id) const {
  ItemBytes result;
  const auto found = items_.find(id);
  if (found == items_.end()) return result;
  const Item& item = found->second;
  const auto room = uint64_t{item.blocks.size()} * storage::kPacketCapacity;
  result.bytes.resize(static_cast<size_t>(std::min<uint64_t>(item.size, room)));
  for (uint32_t number : item.blocks) {
    const PacketHeader& header = blocks_[number].header;
    const auto complain = [&](const char* what) { result.problems.push_back({number, what}); };
    if (header.dataLength > storage::kPacketCapacity) {
      complain("says that it holds more bytes than fit a block");
      continue;
    }
    if (uint64_t{header.itemOffset} + header.dataLength > result.bytes.size() ||
        (header.itemOffset == result.bytes.size())) {
      complain("lies beyond the item's end: another block of the item is missing");
      continue;
    }
    const Bytes block = readBlock(number);
    if (storage::CheckPacket(block.data()) != 0) {
      complain("fails its checksum");
      continue;
    }
    std::copy_n(block.data() + storage::kHeaderSize, header.dataLength,
                result.bytes.data() + header.itemOffset);
  }
  return result;
}

Bytes Image::readBlock(uint32_t number) const {
  Bytes block(kBlockSize);
  if (file_.readAt(uint64_t{number} * kBlockSize, block.data(), kBlockSize) != kBlockSize) {
    throw Failure(ExitCode::kIoError, fmt::format("cannot read {} at {}", fileShown_, BlockText(number)));
  }
  return block;
}

std::string ParseIdTable(const Bytes& table, std::vector<Record>& records) {
  size_t at = 0;
  while (at + 1 < table.size()) {
    const auto complain = [&](const char* what) {
      return fmt::format("record {} of the ID table (byte {}) {}", records.size() + 1, at, what);
    };
    if (table.size() - at < kRecordHeaderSize) return complain("is cut short");
    Record record;
    record.kind = storage::LoadU32(&table[at + 8]);
    record.id = storage::LoadU32(&table[at + 12]);
    const uint32_t nameSize = storage::LoadU32(&table[at + 16]);
    if (nameSize > table.size() - at - kRecordHeaderSize)
      return complain("has user data that runs past the end");
    if (nameSize % 2 != 0) return complain("has user data of an odd size");
    if (nameSize > 0) {
      const uint8_t* text = table.data() + at + kRecordHeaderSize;
      if (text[nameSize - 1] != 0 || text[nameSize - 2] != 0) return complain("has user data without an end");
      record.name.emplace();
      for (uint32_t i = 0; i + 2 < nameSize; i += 2) {
        record.name->push_back(static_cast<PmChar>(text[i] | text[i + 1] << 8));
      }
      record.name->resize(std::char_traits<PmChar>::length(record.name->c_str()));
    }
    records.push_back(std::move(record));
    at += kRecordHeaderSize + nameSize;
  }
  return "";
}

void Image::loadTable() {
  records_.clear();
  recordOf_.clear();
  tableProblem_.clear();
  const ItemBytes table = readItem(0);
  if (!table.problems.empty()) {
    const Problem& first = table.problems[0];
    tableProblem_ = fmt::format("the ID table cannot be read: {} {}", BlockText(first.block), first.what);
    return;
  }
  tableProblem_ = ParseIdTable(table.bytes, records_);
  for (size_t i = 0; i < records_.size(); ++i) recordOf_.emplace(records_[i].id, i);
}

size_t Image::freeBlockCount() const {
  return static_cast<size_t>(std::count_if(blocks_.begin(), blocks_.end(), [](const Block& block) {
    return block.state == BlockState::kFree || block.state == BlockState::kStale;
  }));
}

const Record* Image::findRecord(uint32_t id) const {
  const auto found = recordOf_.find(id);
  return found == recordOf_.end() ? nullptr : &records_[found->second];
}

void Image::requireSound() const {
  const char* next =
      R"(Run "pmstore check" to see all that is wrong and "pmstore salvage" to save what is intact.)";
  if (!fileProblems_.empty()) {
    const Problem& first = fileProblems_[0];
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} is not a valid vault: {}: {}", fileShown_, BlockText(first.block), first.what), next);
  }
  if (!tableProblem_.empty()) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is damaged: {}", fileShown_, tableProblem_), next);
  }
}

int64_t Image::modified() const {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_time_type time = fs::last_write_time(fs::u8path(fileShown_), error);
  if (error) return 0;
  // The file clock's epoch is its own; its distance from now is the same on every clock.
  const auto age = std::chrono::duration_cast<std::chrono::seconds>(fs::file_time_type::clock::now() - time);
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) - age.count();
}

bool Image::hasChanged() const {
  platform::FileStamp now;
  return !platform::StampOf(path_.c_str(), &now) || !(now == stamp_);
}

}  // namespace cli
