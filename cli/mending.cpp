#include "cli/mending.h"

#include <algorithm>
#include <bitset>
#include <set>

#include "storage/checksum.h"

namespace cli {

namespace {

using storage::DecodeHeader;
using storage::kBlockSize;
using storage::kChecksumOffset;
using storage::kHeaderSize;
using storage::kPacketCapacity;
using storage::LoadU32;
using storage::PacketHeader;
using storage::StoreU32;

constexpr uint32_t kLengthOffset = 4;  // of dataLength in the header
constexpr double kByChecksum = 1.0 / 65536;
constexpr double kByRepetition = 1.0 / 16384;  // two wrong bits, the second just where it repeats the first

// The work on one block: what was found of it, and the packets that fit.
class Bench {
 public:
  explicit Bench(const Bytes& found) : present_(static_cast<uint32_t>(found.size())), block_(found) {
    block_.resize(kBlockSize);
  }

  const Bytes& block() const { return block_; }
  PacketHeader header() const { return DecodeHeader(block_.data()); }
  bool hasChecksum() const { return present_ >= kChecksumOffset + 4; }
  uint32_t checksum() const { return LoadU32(&block_[kChecksumOffset]); }

  // The first bytes of the block: a packet of that length.
  Bytes packet(uint32_t length) const { return Bytes(block_.begin(), block_.begin() + kHeaderSize + length); }

  // The filler words of a packet of that length that are there.
  uint32_t fillerWords(uint32_t length) const {
    const uint32_t begin = kHeaderSize + length;
    const uint32_t end = std::min(present_, kChecksumOffset);
    return end > begin ? (end - begin) / 4 : 0;
  }

  // Takes a packet that fits.
  void take(const Bytes& packet, Proof proof, double falseChance) {
    const PacketHeader header = DecodeHeader(packet.data());
    if (!IsPossible(header) || kHeaderSize + header.dataLength != packet.size()) return;
    isAmbiguous_ = isAmbiguous_ || (packet_ && *packet_ != packet);
    if (!packet_) {
      packet_ = packet;
      proof_ = proof;
    }
    falseChance_ = std::max(falseChance_, falseChance);
  }

  bool fitsChecksum(const Bytes& packet) const {
    return hasChecksum() &&
           storage::GetCRCValue(packet.data(), static_cast<uint32_t>(packet.size())) == checksum();
  }

  // Takes a packet if it fits the checksum, of which `candidates` packets are tried.
  void tryPacket(const Bytes& packet, Proof proof, uint32_t candidates) {
    if (fitsChecksum(packet)) take(packet, proof, candidates * kByChecksum);
  }

  bool isDone() const { return packet_.has_value(); }

  std::optional<Mended> result() const {
    if (!packet_ || isAmbiguous_) return std::nullopt;
    Bytes block = block_;
    std::copy(packet_->begin(), packet_->end(), block.begin());
    StoreU32(&block[kChecksumOffset],
             storage::GetCRCValue(packet_->data(), static_cast<uint32_t>(packet_->size())));
    StoreU32(&block[storage::kTrailerOffset], storage::kTrailerMagic);
    return Mended{std::move(block), proof_, std::min(falseChance_, 1.0)};
  }

 private:
  uint32_t present_;
  Bytes block_;
  std::optional<Bytes> packet_;
  Proof proof_ = Proof::kEndMark;
  double falseChance_ = 0;
  bool isAmbiguous_ = false;
};

// Whether the filler of a packet of that length repeats word i. Where something wrote the same word all over
// the block, word 0 alone would seem to be repeated, but no packet begins like that.
bool Repeats(const Bytes& block, uint32_t length, uint32_t i) {
  const bool mayBegin = i > 0 || block[0] >> 4 == storage::kFormatVersion;
  return mayBegin && LoadU32(&block[kHeaderSize + length + 4 * i]) == LoadU32(&block[4 * i]) + i * i;
}

// The block read as a packet of a certain length: word by word, what stands twice and agrees.
class Copies {
 public:
  Copies(const Bench& bench, uint32_t length)
      : length_(length), words_(bench.fillerWords(length)), block_(bench.block()), agreed_(kBlockSize) {
    for (uint32_t i = 0; i < words_; ++i) {
      if (fits(i)) agree(i);
    }
    settle();
  }

  Bytes packet() const { return Bytes(block_.begin(), block_.begin() + kHeaderSize + length_); }

  // The runs of words of which it is open which copy is right, each as its first and last number.
  std::vector<std::pair<uint32_t, uint32_t>> openRuns() const {
    std::vector<std::pair<uint32_t, uint32_t>> runs;
    for (uint32_t i = 0; i < words_; ++i) {
      if (fits(i)) continue;
      if (!runs.empty() && runs.back().second + 1 == i) {
        runs.back().second = i;
      } else {
        runs.emplace_back(i, i);
      }
    }
    return runs;
  }

  // Takes the copies in the filler for right, where they are open. To be called for the last runs first, since
  // the filler repeats itself too.
  void takeFiller(std::pair<uint32_t, uint32_t> run) {
    for (uint32_t i = run.second + 1; i-- > run.first;)
      StoreU32(&block_[4 * i], LoadU32(&block_[place(i)]) - i * i);
  }

 private:
  // Where the filler repeats word i.
  uint32_t place(uint32_t i) const { return kHeaderSize + length_ + 4 * i; }
  bool fits(uint32_t i) const { return Repeats(block_, length_, i); }
  bool isAgreed(uint32_t at) const {
    return agreed_[at] && agreed_[at + 1] && agreed_[at + 2] && agreed_[at + 3];
  }
  void agree(uint32_t i) {
    std::fill_n(agreed_.begin() + 4 * i, 4, true);
    std::fill_n(agreed_.begin() + place(i), 4, true);
  }

  // A word that agrees with one copy of it puts the other one right.
  void settle() {
    for (bool changed = true; changed;) {
      changed = false;
      for (uint32_t i = words_; i-- > 0;) {
        const bool source = isAgreed(4 * i);
        const bool copy = isAgreed(place(i));
        if (source == copy) continue;
        if (copy) {
          StoreU32(&block_[4 * i], LoadU32(&block_[place(i)]) - i * i);
        } else {
          StoreU32(&block_[place(i)], LoadU32(&block_[4 * i]) + i * i);
        }
        agree(i);
        changed = true;
      }
    }
  }

  uint32_t length_;
  uint32_t words_;
  Bytes block_;
  std::vector<bool> agreed_;
};

// The lengths that the packet may have: what its header says, what the repeated header says of itself, and
// what most of the filler fits.
std::set<uint32_t> PossibleLengths(const Bench& bench) {
  constexpr uint32_t kEnough = 4;  // so many words do not fit by chance
  const Bytes& block = bench.block();
  std::set<uint32_t> lengths;
  if (const uint32_t found = bench.header().dataLength; found <= kPacketCapacity) lengths.insert(found);
  uint32_t most = kEnough - 1;
  uint32_t likeliest = 0;
  for (uint32_t length = 1; bench.fillerWords(length) >= kHeaderSize / 4; ++length) {
    Bytes header(kHeaderSize);
    uint32_t fitting = 0;
    for (uint32_t i = 0; i < bench.fillerWords(length); ++i) {
      const uint32_t word = LoadU32(&block[kHeaderSize + length + 4 * i]) - i * i;
      if (i < kHeaderSize / 4) StoreU32(&header[4 * i], word);
      fitting += word == LoadU32(&block[4 * i]) ? 1 : 0;
    }
    const PacketHeader repeated = DecodeHeader(header.data());
    if (repeated.dataLength == length && IsPossible(repeated)) lengths.insert(length);
    if (fitting > most) {
      most = fitting;
      likeliest = length;
    }
  }
  if (likeliest != 0) lengths.insert(likeliest);
  return lengths;
}

// Every byte of the packet stands twice as found, and only the checksum is wrong, or lost.
void TryRepetition(Bench& bench) {
  for (const uint32_t length : PossibleLengths(bench)) {
    const uint32_t words = (kHeaderSize + length + 3) / 4;  // that hold the packet
    bool repeats = words <= bench.fillerWords(length);
    for (uint32_t i = 0; i < words && repeats; ++i) repeats = Repeats(bench.block(), length, i);
    if (repeats) bench.take(bench.packet(length), Proof::kRepetition, kByRepetition);
  }
}

// Bytes that the filler holds once more: those that two copies agree on; then, of each run of words that
// differ, one copy or the other.
void TryFiller(Bench& bench) {
  constexpr size_t kMostRuns = 3;
  std::set<Bytes> packets;
  for (const uint32_t length : PossibleLengths(bench)) {
    const Copies copies(bench, length);
    const auto runs = copies.openRuns();
    const bool isMany = runs.size() > kMostRuns;  // then all of them or none
    const uint32_t choices = isMany ? 2 : 1U << runs.size();
    for (uint32_t choice = 0; choice < choices; ++choice) {
      Copies chosen = copies;
      for (size_t i = runs.size(); i-- > 0;) {
        if ((isMany ? choice : choice >> i & 1) != 0) chosen.takeFiller(runs[i]);
      }
      packets.insert(chosen.packet());
    }
  }
  const auto candidates = static_cast<uint32_t>(packets.size());
  for (const Bytes& packet : packets) bench.tryPacket(packet, Proof::kFiller, candidates);
}

int BitsThatDiffer(const Bytes& block, const Bytes& header) {
  int bits = 0;
  for (size_t i = 0; i < kHeaderSize; ++i)
    bits += static_cast<int>(std::bitset<8>(block[i] ^ header[i]).count());
  return bits;
}

// Those headers that are most like what was found, as many as can be proven.
void TryHeaders(Bench& bench, const std::vector<PacketHeader>& missing) {
  std::vector<Bytes> headers;
  for (const PacketHeader& header : missing) {
    headers.emplace_back(kHeaderSize);
    storage::EncodeHeader(header, headers.back().data());
  }
  const size_t most = std::min<size_t>(headers.size(), static_cast<size_t>(kProven / kByChecksum));
  std::partial_sort(headers.begin(), headers.begin() + static_cast<std::ptrdiff_t>(most), headers.end(),
                    [&bench](const Bytes& a, const Bytes& b) {
                      return BitsThatDiffer(bench.block(), a) < BitsThatDiffer(bench.block(), b);
                    });
  headers.resize(most);
  for (uint32_t i = 0; i < headers.size() && !bench.isDone(); ++i) {
    Bytes packet = bench.packet(DecodeHeader(headers[i].data()).dataLength);
    std::copy(headers[i].begin(), headers[i].end(), packet.begin());
    bench.tryPacket(packet, Proof::kHeader, i + 1);
  }
}

// Takes a packet with one bit set right, unless the filler shows that more is wrong than a bit.
void TakeBit(Bench& bench, const Bytes& packet, uint32_t candidates) {
  Bytes block = bench.block();
  std::copy(packet.begin(), packet.end(), block.begin());
  const uint32_t length = DecodeHeader(packet.data()).dataLength;
  for (uint32_t i = 0; i < bench.fillerWords(length); ++i) {
    if (!Repeats(block, length, i)) return;
  }
  bench.take(packet, Proof::kOneBit, candidates * kByChecksum);
}

// One wrong bit in the length: the checksum covers other bytes then.
void TryBitsOfLength(Bench& bench, uint32_t candidates) {
  for (uint32_t bit = 0; bit < 32; ++bit) {
    const uint32_t length = bench.header().dataLength ^ 1U << bit;
    if (length > kPacketCapacity) continue;
    Bytes packet = bench.packet(length);
    StoreU32(&packet[kLengthOffset], length);
    if (bench.fitsChecksum(packet)) TakeBit(bench, packet, candidates);
  }
}

// One wrong bit, in the packet or in the checksum. The checksum is linear: a wrong bit changes it by what that
// bit alone, in a packet of zeros, would give, and no two bits of a packet give the same.
void TryBits(Bench& bench) {
  if (!bench.hasChecksum()) return;
  const uint32_t length = bench.header().dataLength;
  const uint32_t candidates = 8 * (kHeaderSize + std::min(length, kPacketCapacity)) + 32;
  TryBitsOfLength(bench, candidates);
  if (length > kPacketCapacity) return;
  Bytes packet = bench.packet(length);
  const auto size = static_cast<uint32_t>(packet.size());
  const uint32_t difference = storage::GetCRCValue(packet.data(), size) ^ bench.checksum();
  if ((difference & (difference - 1)) == 0) TakeBit(bench, packet, candidates);  // the checksum's own
  for (uint32_t bit = 0; bit < 8; ++bit) {
    const auto mask = static_cast<uint8_t>(1U << bit);
    uint32_t sum = storage::UpdateCRCValue(0, mask, storage::kCrcPolynomial);
    for (uint32_t at = size; at-- > 0; sum = storage::UpdateCRCValue(sum, 0, storage::kCrcPolynomial)) {
      const bool inLength = at >= kLengthOffset && at < kLengthOffset + 4;
      if (sum != difference || inLength) continue;
      packet[at] ^= mask;
      TakeBit(bench, packet, candidates);
      packet[at] ^= mask;
    }
  }
}

}  // namespace

bool IsPossible(const PacketHeader& header) {
  return header.packetFlag <= storage::kPacketFlag && header.formatVersion == storage::kFormatVersion &&
         header.dataLength <= kPacketCapacity &&
         (storage::IsOnlyPacket(header) || storage::IsNumberedPacket(header));
}

std::optional<Mended> MendBlock(const Bytes& found, const std::vector<PacketHeader>& missing) {
  Bench bench(found);
  const bool isBlank = std::all_of(found.begin(), found.end(), [](uint8_t byte) { return byte == 0; });
  if (isBlank) return std::nullopt;
  if (const uint32_t length = bench.header().dataLength; length <= kPacketCapacity)
    bench.tryPacket(bench.packet(length), Proof::kEndMark, 1);
  if (!bench.isDone()) TryRepetition(bench);
  if (!bench.isDone()) TryFiller(bench);
  if (!bench.isDone()) TryHeaders(bench, missing);
  if (!bench.isDone()) TryBits(bench);
  return bench.result();
}

std::optional<Mended> MendSplit(const Bytes& begin, const Bytes& end,
                                const std::vector<PacketHeader>& missing) {
  constexpr size_t kStep = 64;
  constexpr size_t kPlaces = storage::kChecksumOffset / kStep + 1;
  std::optional<Mended> best;
  for (size_t i = 0; i < kPlaces; ++i) {
    const auto at = static_cast<std::ptrdiff_t>(storage::kChecksumOffset - i * kStep);
    Bytes block(begin.begin(), begin.begin() + at);
    block.insert(block.end(), end.begin() + at, end.end());
    std::optional<Mended> mended = MendBlock(block, missing);
    if (!mended) continue;
    mended->falseChance = std::min(mended->falseChance * kPlaces, 1.0);
    mended->proof = Proof::kSplit;
    const size_t size = kHeaderSize + DecodeHeader(mended->block.data()).dataLength;
    if (best && IsProven(*best) && IsProven(*mended) &&
        !std::equal(best->block.begin(), best->block.begin() + static_cast<std::ptrdiff_t>(size),
                    mended->block.begin()))
      return std::nullopt;
    if (!best || mended->falseChance < best->falseChance) best = std::move(mended);
  }
  return best;
}

}  // namespace cli
