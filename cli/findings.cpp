#include "cli/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "cli/owner.h"
#include "cli/unlisted.h"

namespace cli {

namespace {

class Examination {
 public:
  Examination(const Image& image, bool names)
      : image_(image),
        names_(names),
        mended_(MendBlocks(image)),
        owners_(image, mended_),
        unlisted_(UnlistedItems(image)),
        namesAll_(NamesEveryItem(image, unlisted_)) {}

  std::vector<Finding> run() {
    if (!image_.looksLikeVault() && mended_.empty()) {
      add(kNoVaultCode, Weight::kDamage,
          "it does not look like a vault at all: not one block in it begins or ends as one", {}, {});
      return std::move(findings_);
    }
    if (image_.file().journal() == JournalRole::kLaidOnRest)
      add("journal-refused", Weight::kDamage,
          "the file is not as its journal left it: a program that opens it sets the journal aside, and finds "
          "less",
          {}, {});
    packets();
    for (const Problem& problem : image_.fileProblems())
      add(problem.code, Weight::kDamage,
          image_.blockText(problem.block) + ": " + problem.what + whose(problem.block),
          ownerOf(problem.block), problem.block);
    for (const auto& [id, item] : image_.items()) incomplete(item);
    table();
    for (const auto& [id, item] : image_.items()) doubtful(item);
    for (const Record& record : image_.records()) {
      if (image_.findItem(record.id) == nullptr) withoutBytes(record.id);
    }
    for (const auto& [id, item] : image_.items()) noted(item);
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& a, const Finding& b) { return a.weight < b.weight; });
    return std::move(findings_);
  }

 private:
  void add(std::string code, Weight weight, std::string what, std::optional<uint32_t> item,
           std::optional<uint32_t> block) {
    const bool mendable = weight == Weight::kDamage && block && mended_.count(*block) != 0;
    const uint64_t offset = block ? image_.file().offsetOf(*block) : 0;
    findings_.push_back({std::move(code), weight, std::move(what), item, block, offset, mendable});
  }

  // "item 0x00000007 "mail"", "the ID table"
  std::string itemText(uint32_t id) const {
    if (id == 0) return "the ID table";
    const Record* record = image_.findRecord(id);
    const bool named = names_ && record != nullptr && record->name;
    return named ? fmt::format("item {} \"{}\"", IdText(id), Printable(*record->name)) : "item " + IdText(id);
  }

  std::optional<uint32_t> ownerOf(uint32_t block) const {
    const std::optional<Owner> owner = owners_.find(block);
    return owner ? std::optional<uint32_t>(owner->item) : std::nullopt;
  }

  // ", most likely of item 0x00000007, which …"; nothing when nobody can tell.
  std::string whose(uint32_t block) const {
    const std::optional<Owner> owner = owners_.find(block);
    if (!owner) return "";
    const std::string because = *owner->because == 0 ? "" : std::string(", ") + owner->because;
    return fmt::format(", most likely of {}{}", itemText(owner->item), because);
  }

  void packets() {
    for (uint32_t number = 0; number < image_.blocks().size(); ++number) {
      const Block& block = image_.blocks()[number];
      if (block.state != BlockState::kUsed || block.sound) continue;
      const std::optional<Owner> owner = owners_.find(number);
      const bool saysSo = owner && *owner->because == 0;
      const bool tooLong = block.header.dataLength > storage::kPacketCapacity;
      const std::string what =
          fmt::format("{}{} {}{}", image_.blockText(number), saysSo ? " of " + itemText(owner->item) : "",
                      tooLong ? "says that it holds more bytes than fit a block" : "fails its checksum",
                      saysSo  ? ""
                      : owner ? whose(number)
                              : ", and nobody can tell whose it is");
      add(tooLong ? "packet-length" : "packet-checksum", Weight::kDamage, what, ownerOf(number), number);
    }
  }

  bool isListed(uint32_t id) const { return id == 0 || image_.findRecord(id) != nullptr; }

  void incomplete(const Item& item) {
    const bool matters = isListed(item.id) || (!namesAll_ && image_.hasSoundPacket(item.id));
    if (item.whole || !matters) return;
    add("item-incomplete", Weight::kDamage,
        fmt::format("{}: {} not make one item, packets are missing or twice there{}", itemText(item.id),
                    item.blocks.size() == 1 ? "its one block does"
                                            : fmt::format("its {} blocks do", item.blocks.size()),
                    freedText(item.id)),
        item.id, item.blocks[0]);
  }

  void table() {
    const Item* table = image_.findItem(0);
    const bool isThere = image_.isIntact(0);
    if (isThere && !image_.tableProblem().empty())
      add("table-malformed", Weight::kDamage, image_.tableProblem(), 0, {});
    std::map<uint32_t, int> seen;
    for (const Record& record : image_.records()) {
      if (++seen[record.id] == 2)
        add("record-twice", Weight::kDamage, itemText(record.id) + ": two records", record.id, {});
      if (record.id == 0)
        add("record-zero", Weight::kDamage, "the ID table has a record for ID 0, which is its own", 0, {});
    }
    if (image_.items().empty() && image_.fileProblems().empty())
      add(kVaultEmptyCode, Weight::kNote, "it holds no item: it is new, or all were deleted, or all are lost",
          {}, {});
    const size_t unlisted = unlisted_.size();
    if (unlisted == 0) return;
    if (table == nullptr)
      add("table-missing", Weight::kSuspicion,
          fmt::format("there is no ID table, but {}: they were all deleted, or the table is gone",
                      CountText(unlisted, "item")),
          0, {});
    if (isThere && table->endsFull)
      add("table-cut", Weight::kDamage,
          fmt::format("the ID table ends in a full packet, and {} {} not in it: its end is gone",
                      CountText(unlisted, "item"), unlisted == 1 ? "is" : "are"),
          0, {});
  }

  void doubtful(const Item& item) {
    if (!item.endsFull || !isListed(item.id)) return;
    if (item.id == 0 && !unlisted_.empty()) return;  // no doubt any more
    add("item-ends-full", Weight::kSuspicion,
        fmt::format("{} ends in a full packet: it is {} bytes long, or {}{}", itemText(item.id), item.size,
                    endOf(item), freedText(item.id)),
        item.id, {});
  }

  // Where the rest of an item that ends in a full packet would have stood.
  const char* endOf(const Item& item) const {
    uint32_t last = item.blocks[0];
    for (uint32_t number : item.blocks) {
      if (image_.blocks()[number].header.packetSeq > image_.blocks()[last].header.packetSeq) last = number;
    }
    if (last + 1 == image_.blocks().size()) return "the file was cut right behind it";
    const Block& next = image_.blocks()[last + 1];
    const bool isInPlace = next.state == BlockState::kUsed && next.sound && next.header.itemId != item.id;
    return isInPlace ? "it had grown, and its end stood behind where the file ends now" : "its end is gone";
  }

  void withoutBytes(uint32_t id) {
    add("item-without-bytes", Weight::kSuspicion,
        fmt::format("{} has no packet: it is empty, or all its packets are gone{}", itemText(id),
                    freedText(id)),
        id, {});
  }

  std::string freedText(uint32_t id) {
    if (!freed_) freed_ = FreedPackets(image_);
    for (const auto& [number, packet] : *freed_) {
      if (storage::DecodeHeader(packet.data()).itemId == id)
        return fmt::format("; {}, which is marked free, held a packet of it", image_.blockText(number));
    }
    return "";
  }

  void noted(const Item& item) {
    if (!item.leftovers.empty())
      add("leftover-packets", Weight::kNote,
          fmt::format("{}: {} left over from a longer version", itemText(item.id),
                      CountText(item.leftovers.size(), "packet")),
          item.id, item.leftovers[0]);
    if (!isListed(item.id) && image_.hasSoundPacket(item.id) && namesAll_)
      add("unlisted-packets", Weight::kNote,
          fmt::format(
              "{} of {}, which the ID table does not name: deleted, or never finished, when a program ended",
              CountText(item.blocks.size(), "packet"), itemText(item.id)),
          item.id, item.blocks[0]);
  }

  const Image& image_;
  const bool names_;
  const MendedBlocks mended_;
  const Owners owners_;
  const std::vector<uint32_t> unlisted_;
  const bool namesAll_;
  std::optional<std::map<uint32_t, Bytes>> freed_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> Examine(const Image& image, bool names) {
  return Examination(image, names).run();
}

Json ToJson(const Finding& finding) {
  constexpr const char* kWeights[] = {"damage", "suspicion", "note"};
  Json json{
      {"code", finding.code}, {"weight", kWeights[static_cast<int>(finding.weight)]}, {"what", finding.what}};
  if (finding.item) json["item"] = IdText(*finding.item);
  if (finding.block) {
    json["block"] = *finding.block;
    json["offset"] = finding.offset;
    if (finding.weight == Weight::kDamage) json["mendable"] = finding.mendable;
  }
  return json;
}

}  // namespace cli
