// Runs of bytes: an item's, a block's, a file's; whether two are the same, and how JSON carries them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli {

using Bytes = std::vector<uint8_t>;

// A fingerprint to tell whether bytes are still the same, not against an adversary.
uint64_t Fingerprint(const Bytes& bytes);

std::string ToBase64(const Bytes& bytes);

// Nothing when the text is not base64.
std::optional<Bytes> FromBase64(const std::string& text);

}  // namespace cli
