#include "cli/bytes.h"

namespace cli {

namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

uint64_t Fingerprint(const Bytes& bytes) {
  uint64_t sum = 0xCBF29CE484222325;
  for (uint8_t byte : bytes) sum = (sum ^ byte) * 0x100000001B3;
  return sum ^ bytes.size();
}

std::string ToBase64(const Bytes& bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t rest = bytes.size() - i;
    const uint32_t group = uint32_t{bytes[i]} << 16 | (rest > 1 ? uint32_t{bytes[i + 1]} << 8 : 0) |
                           (rest > 2 ? uint32_t{bytes[i + 2]} : 0);
    out.push_back(kBase64[group >> 18]);
    out.push_back(kBase64[group >> 12 & 0x3F]);
    out.push_back(rest > 1 ? kBase64[group >> 6 & 0x3F] : '=');
    out.push_back(rest > 2 ? kBase64[group & 0x3F] : '=');
  }
  return out;
}

std::optional<Bytes> FromBase64(const std::string& text) {
  if (text.size() % 4 != 0) return std::nullopt;
  size_t digits = text.size();
  while (digits > 0 && text.size() - digits < 2 && text[digits - 1] == '=') --digits;

  static const std::vector<int> kValues = [] {
    std::vector<int> values(256, -1);
    for (int i = 0; i < 64; ++i) values[static_cast<uint8_t>(kBase64[i])] = i;
    return values;
  }();
  Bytes out;
  out.reserve(digits * 3 / 4);
  uint32_t bits = 0;
  for (size_t i = 0; i < digits; ++i) {
    const int value = kValues[static_cast<uint8_t>(text[i])];
    if (value < 0) return std::nullopt;
    bits = bits << 6 | static_cast<uint32_t>(value);
    if (i % 4 != 0) out.push_back(static_cast<uint8_t>(bits >> (6 - 2 * (i % 4))));
  }
  return out;
}

}  // namespace cli
