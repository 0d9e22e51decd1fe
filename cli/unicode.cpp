#include "cli/unicode.h"

#include <fmt/format.h>

#include "cli/failure.h"

namespace cli {

namespace {

bool IsHigh(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLow(uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
bool IsSurrogate(uint32_t unit) {
  return IsHigh(unit) || IsLow(unit);
}

// The code point at `i`, which moves behind it; an unpaired surrogate is its own code point.
uint32_t NextPoint(const PmString& units, size_t& i) {
  const uint32_t first = static_cast<uint16_t>(units[i++]);
  if (!IsHigh(first) || i == units.size()) return first;
  const uint32_t second = static_cast<uint16_t>(units[i]);
  if (!IsLow(second)) return first;
  ++i;
  return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

void AppendUtf8(std::string& out, uint32_t point) {
  const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (point < 0x80) return put(point);
  if (point < 0x800) {
    put(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      put(0xE0 | point >> 12);
    } else {
      put(0xF0 | point >> 18);
      put(0x80 | (point >> 12 & 0x3F));
    }
    put(0x80 | (point >> 6 & 0x3F));
  }
  put(0x80 | (point & 0x3F));
}

// Decodes one sequence from `i` on; nothing when it is malformed or longer than it need be.
std::optional<uint32_t> DecodeUtf8(const std::string& bytes, size_t& i) {
  const auto first = static_cast<uint8_t>(bytes[i++]);
  if (first < 0x80) return first;
  const int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  if (first < 0xC0 || first > 0xF7) return std::nullopt;
  uint32_t point = first & (0x3FU >> more);
  for (int k = 0; k < more; ++k, ++i) {
    if (i == bytes.size() || (static_cast<uint8_t>(bytes[i]) & 0xC0) != 0x80) return std::nullopt;
    point = point << 6 | (static_cast<uint8_t>(bytes[i]) & 0x3F);
  }
  constexpr uint32_t kLowest[] = {0, 0x80, 0x800, 0x10000};
  if (point < kLowest[more] || point > 0x10FFFF) return std::nullopt;
  return point;
}

}  // namespace

std::string ToUtf8(const PmString& units) {
  std::string out;
  for (size_t i = 0; i < units.size();) AppendUtf8(out, NextPoint(units, i));
  return out;
}

std::optional<PmString> FromUtf8(const std::string& bytes) {
  PmString out;
  for (size_t i = 0; i < bytes.size();) {
    const std::optional<uint32_t> point = DecodeUtf8(bytes, i);
    if (!point) return std::nullopt;
    if (*point < 0x10000) {
      out.push_back(static_cast<PmChar>(*point));
    } else {
      out.push_back(static_cast<PmChar>(0xD800 + ((*point - 0x10000) >> 10)));
      out.push_back(static_cast<PmChar>(0xDC00 + ((*point - 0x10000) & 0x3FF)));
    }
  }
  return out;
}

PmString RequireUtf8(const std::string& bytes, const char* what) {
  if (std::optional<PmString> units = FromUtf8(bytes)) return *units;
  throw Failure(ExitCode::kUsage, fmt::format("the {} is not valid UTF-8", what));
}

bool IsWellFormed(const PmString& units) {
  for (size_t i = 0; i < units.size();) {
    if (IsSurrogate(NextPoint(units, i))) return false;
  }
  return true;
}

std::string Printable(const PmString& name) {
  std::string out;
  for (size_t i = 0; i < name.size();) {
    const uint32_t point = NextPoint(name, i);
    const bool reordersText = (point >= 0x200E && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
    if (point == '\\') {
      out += "\\\\";
    } else if (point < 0x20 || (point >= 0x7F && point < 0xA0)) {
      out += fmt::format("\\x{:02x}", point);
    } else if (IsSurrogate(point) || reordersText) {
      out += fmt::format("\\u{:04x}", point);
    } else {
      AppendUtf8(out, point);
    }
  }
  return out;
}

}  // namespace cli
