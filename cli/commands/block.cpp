// block: one block, decoded.
#include "cli/itemnames.h"
#include "cli/reading.h"
#include "storage/checksum.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  uint32_t number = 0;
  bool bytes = false;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("NUMBER", options.number, "The block's number, from 0")->required();
  command.add_flag("--bytes,-b", options.bytes, "With all its bytes");
}

const char* StateText(BlockState state) {
  switch (state) {
    case BlockState::kUsed:
      return "used";
    case BlockState::kFree:
      return "free";
    case BlockState::kLeftOver:
      return "left over from a longer version of its item";
    case BlockState::kMalformed:
      return "malformed";
  }
  return "";
}

void PrintBytes(const Bytes& bytes, Console& console) {
  for (size_t at = 0; at < bytes.size(); at += 16) {
    std::string hex;
    std::string text;
    for (size_t i = at; i < at + 16; ++i) {
      hex += fmt::format("{:02x}{}", bytes[i], i == at + 7 ? "  " : " ");
      text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    }
    console.line("{:04x}  {} {}", at, hex, text);
  }
}

ExitCode ShowBlock(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  if (options.number >= image.blocks().size()) {
    throw Failure(ExitCode::kMissing,
                  fmt::format("{} has {} blocks, numbered from 0", image.fileShown(), image.blocks().size()));
  }
  const Block& block = image.blocks()[options.number];
  const storage::PacketHeader& header = block.header;
  const Bytes bytes = image.readBlock(options.number);
  const uint32_t stored = storage::LoadU32(&bytes[storage::kChecksumOffset]);
  const uint32_t trailer = storage::LoadU32(&bytes[storage::kTrailerOffset]);
  const bool canSum = header.dataLength <= storage::kPacketCapacity;
  const uint32_t sum =
      canSum ? storage::GetCRCValue(bytes.data(), storage::kHeaderSize + header.dataLength) : 0;
  const bool fits = canSum && sum == stored;
  const bool isFree = block.state == BlockState::kFree;
  const Record* record = image.findRecord(header.itemId);
  if (console.json) {
    Json json{{"block", options.number},
              {"offset", uint64_t{options.number} * storage::kBlockSize},
              {"state", StateText(block.state)},
              {"packetFlag", header.packetFlag},
              {"formatVersion", header.formatVersion},
              {"packetType", header.packetType},
              {"packetSeq", header.packetSeq},
              {"dataLength", header.dataLength},
              {"itemOffset", header.itemOffset},
              {"itemId", IdText(header.itemId)},
              {"checksum", fmt::format("0x{:08X}", stored)},
              {"checksumFits", fits},
              {"trailer", fmt::format("0x{:08X}", trailer)}};
    if (options.bytes) json["bytes"] = ToBase64(bytes);
    console.document(json);
  } else {
    console.line("{}: {}", image.blockText(options.number), StateText(block.state));
    console.line("  packetFlag     {}", header.packetFlag);
    console.line("  formatVersion  {}", header.formatVersion);
    console.line("  packetType     {}", header.packetType);
    console.line("  packetSeq      {}", header.packetSeq);
    console.line("  dataLength     {}", header.dataLength);
    console.line("  itemOffset     {}", header.itemOffset);
    console.line("  itemId         {}{}", IdText(header.itemId),
                 header.itemId == 0 ? " (the ID table)"
                 : record           ? " " + ShownName(*record)
                                    : "");
    console.line("  checksum       0x{:08X}, {}", stored,
                 isFree   ? "not looked at in a free block"
                 : fits   ? "fits"
                 : canSum ? fmt::format("should be 0x{:08X}", sum)
                          : "cannot be computed");
    console.line(
        "  trailer        0x{:08X}{}", trailer,
        trailer == storage::kTrailerMagic ? "" : fmt::format(", should be 0x{:08X}", storage::kTrailerMagic));
    if (options.bytes) PrintBytes(bytes, console);
  }
  const bool sound = isFree || (block.state != BlockState::kMalformed && fits);
  return sound ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterBlock(Tool& tool) {
  AddCommand<Options>(tool, "block", "Decode one block", Declare, ShowBlock);
}

}  // namespace cli
