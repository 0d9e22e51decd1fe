#include "cli/rescue.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/kinship.h"
#include "cli/owner.h"
#include "cli/tablerescue.h"
#include "cli/text.h"
#include "cli/unlisted.h"

namespace cli {

namespace {

Image WithFreed(const Image& image) {
  std::map<uint32_t, Bytes> freed = FreedPackets(image);
  return freed.empty() ? image : Image(image, std::move(freed));
}

// Whether the backup's item is made of all the sound packets that the vault still has of it.
bool HoldsRestOf(const Image& backup, const Image& vault, uint32_t id) {
  const Item* rest = vault.findItem(id);
  if (rest == nullptr) return true;
  std::set<Bytes> packets;
  for (uint32_t number : backup.findItem(id)->blocks) packets.insert(backup.readBlock(number));
  return std::all_of(rest->blocks.begin(), rest->blocks.end(), [&](uint32_t number) {
    return !vault.blocks()[number].sound || packets.count(vault.readBlock(number)) != 0;
  });
}

bool BeginsWith(const Bytes& longer, const Bytes& shorter) {
  return longer.size() > shorter.size() && std::equal(shorter.begin(), shorter.end(), longer.begin());
}

}  // namespace

RescueSource::RescueSource(Image image, bool mend, bool isAtRest)
    : plain(std::move(image)),
      mended(mend ? MendBlocks(plain) : MendedBlocks()),
      proven(WithProven(plain, mended)),
      freed(mend ? WithFreed(proven) : proven),
      guessed(WithGuesses(plain, mended)) {
  const Owners owners(plain, mended);
  const auto lose = [&](uint32_t block) {
    if (mended.count(block) != 0) return;
    const std::optional<Owner> owner = owners.find(block);
    if (owner) lostBlocks.emplace(owner->item, block);
    mayMix = mayMix || (!owner && !isAtRest);
  };
  for (uint32_t number = 0; number < plain.blocks().size(); ++number) {
    const Block& block = plain.blocks()[number];
    // A block of zeros is malformed, though its checksum is right.
    if (block.state == BlockState::kMalformed || (block.state == BlockState::kUsed && !block.sound))
      lose(number);
  }
  if (plain.file().restSize() != 0) lose(plain.file().blockCount());
}

bool RescueSource::isCertain(const Image& reading, uint32_t id) const {
  if (!reading.isIntact(id) || reading.file().mayBeOlder()) return false;
  const Item& item = *reading.findItem(id);
  return !item.endsFull && !(mayMix && item.blocks.size() > 1);
}

bool RescueSource::restsOnGuess(uint32_t id) const {
  const std::vector<uint32_t>& blocks = guessed.findItem(id)->blocks;
  return std::any_of(blocks.begin(), blocks.end(), [this](uint32_t number) {
    const auto block = mended.find(number);
    return block != mended.end() && block->second.isGuess();
  });
}

Rescue::Rescue(std::vector<std::unique_ptr<Image>> files, const Policy& policy) {
  const bool isAlone = files.size() == 1 && !files[0]->isBackup();
  for (std::unique_ptr<Image>& image : files) {
    const bool isAtRest = IsLaid(image->file().journal()) || isAlone || image->file().isJournal();
    sources_.push_back(std::make_unique<RescueSource>(std::move(*image), policy.mend, isAtRest));
  }
  listItems(policy.kindOfLost);
  for (Fate& fate : fates_) decide(fate, policy.partial);
}

// The records of the vault, made whole from the backup where the vault has lost some; then, where it has, the
// items that no record speaks of.
void Rescue::listItems(uint32_t kindOfLost) {
  std::set<uint32_t> listed{0};
  const Image& main = first().isCertain(first().plain, 0) ? first().plain : first().proven;
  const std::vector<uint32_t> unlisted = UnlistedItems(main);
  const bool hasBlocks = !main.blocks().empty();
  const bool isTableWhole = main.findItem(0) == nullptr
                                ? hasBlocks && unlisted.empty() && main.fileProblems().empty()
                                : NamesEveryItem(main, unlisted);
  for (const auto& source : sources_) {
    std::vector<Record> records;
    if (source->isCertain(source->plain, 0)) records = source->plain.records();
    for (const Image* image : {&source->proven, &source->guessed, &source->freed}) {
      const bool mayBeFreed = image == &source->freed && isTableWhole;  // then what it named was deleted
      if (records.empty() && image->tableProblem().empty() && !mayBeFreed) records = image->records();
    }
    if (records.empty()) records = RescueRecords(source->proven);
    for (const Record& record : records) {
      if (!listed.insert(record.id).second) continue;
      if (source == sources_[0] || source->isJournal() || !isTableWhole) {
        fates_.push_back({record, true, FateKind::kLost, nullptr, nullptr, "", {}});
      } else {
        onlyInBackup_.push_back(record);
      }
    }
  }
  for (uint32_t id : unlisted) {
    if (!isTableWhole && listed.insert(id).second)
      fates_.push_back({{id, kindOfLost, std::nullopt}, false, FateKind::kLost, nullptr, nullptr, "", {}});
    leftOut_ += isTableWhole ? 1 : 0;
  }
}

// The item as it was stored, for certain or with proof.
bool Rescue::takeWhole(Fate& fate) const {
  const uint32_t id = fate.record.id;
  const bool hasOwn = first().plain.isIntact(id);
  for (const auto& source : sources_) {
    fate.other = otherOf(*source);
    if (fate.other != nullptr && hasOwn) {
      const Bytes own = first().plain.readItem(id).bytes;
      const Bytes other = source->proven.readItem(id).bytes;
      if (other != own && !BeginsWith(other, own)) return false;  // the vault's own is the later one
    }
    const bool isThere = source->isCertain(source->plain, id);
    if (!isThere && !source->isCertain(source->proven, id)) continue;
    fate.kind = isThere ? FateKind::kSaved : FateKind::kMended;
    fate.image = isThere ? &source->plain : &source->proven;
    if (fate.other != nullptr) {
      const bool isNamed = first().plain.findRecord(id) != nullptr || !first().plain.isIntact(0);
      const bool isSame = isNamed && HoldsRestOf(*fate.image, first().proven, id);
      fate.kind = isSame ? fate.kind : FateKind::kDoubtful;
      fate.why = isSame     ? "the vault's own is lost, and may have been newer"
                 : !isNamed ? "the vault's own ID table does not name it: stored later, or deleted"
                            : fmt::format("{} one: what the vault has left of it is other",
                                          source->isJournal() ? "another" : "an older");
    }
    if (isThere) return true;
    for (uint32_t block : fate.image->findItem(id)->blocks) {
      if (source->mended.count(block) != 0) fate.mended.push_back(block);
    }
    return true;
  }
  return false;
}

bool Rescue::takeDoubtful(Fate& fate, bool withGuesses) const {
  const uint32_t id = fate.record.id;
  fate.kind = FateKind::kDoubtful;
  const bool found = takeLongest(fate);
  for (const auto& source : sources_) {
    const std::pair<const Image*, const char*> readings[] = {
        {&source->freed, "with a packet that is marked free, which may be right"},
        {&source->guessed, "with a packet that is not proven"},
    };
    for (const auto& [image, why] : readings) {
      if (!image->isIntact(id)) continue;
      if (image == &source->guessed && !withGuesses && source->restsOnGuess(id)) continue;
      if (found && image->findItem(id)->size <= fate.image->findItem(id)->size) continue;
      fate.image = image;
      fate.other = otherOf(*source);
      fate.why = why;
      for (uint32_t block : image->findItem(id)->blocks) {
        if (image == &source->guessed && source->mended.count(block) != 0) fate.mended.push_back(block);
      }
      return true;
    }
  }
  return found;
}

// The longest of the readings that end in a full packet.
bool Rescue::takeLongest(Fate& fate) const {
  const uint32_t id = fate.record.id;
  fate.image = nullptr;
  for (const auto& source : sources_) {
    if (!source->proven.isIntact(id)) continue;
    if (fate.image != nullptr &&
        !BeginsWith(source->proven.readItem(id).bytes, fate.image->readItem(id).bytes))
      continue;
    fate.image = &source->proven;
    fate.other = otherOf(*source);
    const auto lost = source->lostBlocks.find(id);
    if (fate.image->file().mayBeOlder()) {
      fate.why = "a part of the journal is damaged, so it may be an older one";
    } else if (!fate.image->findItem(id)->endsFull) {
      fate.why = "a packet of an older version may stand in for one that is damaged";
    } else {
      fate.why = lost == source->lostBlocks.end() ? "its last packet is full, so more may have followed"
                                                  : fmt::format("cut short: {} most likely went on with it",
                                                                source->plain.blockText(lost->second));
    }
  }
  return fate.image != nullptr;
}

// What is left of an item that is not whole, with zeros in the gaps.
bool Rescue::takePart(Fate& fate) const {
  const uint32_t id = fate.record.id;
  for (const auto& source : sources_) {
    if (!source->proven.hasSoundPacket(id)) continue;
    fate.kind = FateKind::kPartial;
    fate.image = &source->proven;
    fate.other = otherOf(*source);
    const Item& item = *fate.image->findItem(id);
    size_t there = 0;
    for (uint32_t number : item.blocks) there += fate.image->blocks()[number].sound ? 1 : 0;
    fate.why = fmt::format("{} of it, zeros in the gaps", CountText(there, "packet"));
    return true;
  }
  return false;
}

// Why nothing of the item can be had; empty when no block speaks of it.
std::string Rescue::lossOf(uint32_t id) const {
  for (const auto& source : sources_) {
    const Item* item = source->guessed.findItem(id);
    if (item == nullptr) continue;
    if (source->guessed.isIntact(id)) return "all that can be had of it is a guess, which --partial saves";
    const std::vector<Block>& blocks = source->guessed.blocks();
    for (uint32_t number : item->blocks) {
      if (!blocks[number].sound) return source->plain.blockText(number) + " fails its checksum";
    }
    return "packets are missing or twice there";
  }
  return "";
}

void Rescue::decide(Fate& fate, bool partial) const {
  if (takeWhole(fate) || takeDoubtful(fate, partial)) return;
  fate.other = nullptr;
  fate.why = lossOf(fate.record.id);
  if (!fate.why.empty()) {
    if (!partial || !takePart(fate)) fate.kind = FateKind::kLost;
    return;
  }
  fate.image = &first().plain;
  const auto lost = first().lostBlocks.find(fate.record.id);
  fate.why = lost == first().lostBlocks.end()
                 ? "no packet of it is there: it was empty, or all are gone"
                 : fmt::format("no packet of it is there: {} most likely held one",
                               first().plain.blockText(lost->second));
}

Bytes Rescue::bytesOf(const Fate& fate) {
  const uint32_t id = fate.record.id;
  return fate.kind == FateKind::kPartial ? fate.image->readRemains(id).bytes : fate.image->readItem(id).bytes;
}

size_t Rescue::partsLeft() const {
  const Image& image = first().proven;
  return static_cast<size_t>(std::count_if(fates_.begin(), fates_.end(), [&image](const Fate& fate) {
    return fate.kind == FateKind::kLost && image.hasSoundPacket(fate.record.id);
  }));
}

size_t Rescue::unknownBlocks() const {
  const Image& image = first().proven;
  if (image.tableProblem().empty() && !image.records().empty()) return 0;
  std::set<uint32_t> known{0};
  for (const Fate& fate : fates_) known.insert(fate.record.id);
  const auto unknown = std::count_if(image.blocks().begin(), image.blocks().end(), [&](const Block& block) {
    const bool isDamaged = block.state == BlockState::kUsed && !block.sound;
    return block.state == BlockState::kMalformed || (isDamaged && known.count(block.header.itemId) == 0);
  });
  const bool isCut = image.blocks().size() == image.file().blockCount() && image.file().restSize() != 0;
  return static_cast<size_t>(unknown) + (isCut ? 1 : 0);
}

size_t Rescue::count(FateKind kind) const {
  return static_cast<size_t>(
      std::count_if(fates_.begin(), fates_.end(), [kind](const Fate& fate) { return fate.kind == kind; }));
}

std::vector<std::unique_ptr<Image>> OpenForRescue(const VaultPath& path, Source source,
                                                  std::vector<Warning>& warnings) {
  std::vector<std::unique_ptr<Image>> files;
  files.push_back(std::make_unique<Image>(path, source, Reading::kForRescue));
  if (source != Source::kAuto) return files;
  const Image& vault = *files[0];
  warnings = WarnOfNeighbours(path, vault);
  const auto take = [&](std::unique_ptr<Image> image) {
    if (image == nullptr) return;
    if (!IsForeign(vault, *image)) return files.push_back(std::move(image));
    warnings.push_back(
        {"left-aside",
         fmt::format("{} has no item in common with the vault and is left aside.", image->fileShown())});
  };
  if (vault.file().journal() == JournalRole::kForeign)
    take(std::make_unique<Image>(VaultPath(path.journalShown), Source::kFile, Reading::kForRescue));
  if (path.hasBackup() && !vault.isBackup()) take(OpenBackup(path, warnings));
  return files;
}

}  // namespace cli
