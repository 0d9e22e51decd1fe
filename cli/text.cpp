#include "cli/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "cli/failure.h"

namespace cli {

namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

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

std::string IdText(uint32_t id) {
  return fmt::format("0x{:08X}", id);
}

std::optional<uint32_t> ParseNumber(const std::string& text) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* begin = text.data() + (hex ? 2 : 0);
  const char* end = text.data() + text.size();
  uint32_t value = 0;
  const auto [stop, error] = std::from_chars(begin, end, value, hex ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::string SizeText(uint64_t size) {
  if (size == 1) return "1 byte";
  if (size < 10'000) return fmt::format("{} bytes", size);
  const auto kilobytes = static_cast<double>(size) / 1024;
  if (kilobytes < 10'000) return fmt::format("{:.1f} KB", kilobytes);
  return fmt::format("{:.1f} MB", kilobytes / 1024);
}

std::string CountText(uint64_t count, const char* what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string Wrapped(const std::string& text) {
  constexpr size_t kWidth = 79;
  std::string out;
  size_t column = 0;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find_first_of(" \n", begin), text.size());
    const size_t length = end - begin;
    const bool fits = column == 0 || column + 1 + length <= kWidth;
    if (column > 0) out += fits ? ' ' : '\n';
    out.append(text, begin, length);
    column = (column > 0 && fits ? column + 1 : 0) + length;
    if (end < text.size() && text[end] == '\n') {
      out += '\n';
      column = 0;
    }
    begin = end + 1;
  }
  return out;
}

std::string WrappedHelp(const std::string& text, size_t width) {
  const auto isMiddle = [](char c) { return (static_cast<uint8_t>(c) & 0xC0) == 0x80; };  // of a character
  std::string out;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    const size_t words = std::min(line.find_first_not_of(' '), line.size());
    const size_t gap = words == 0 ? std::string::npos : line.find("  ", words);
    const size_t indent =
        gap == std::string::npos ? words : std::min(line.find_first_not_of(' ', gap), line.size());
    for (;;) {
      size_t fits = 0;  // bytes
      for (size_t columns = 0; fits < line.size() && columns <= width; ++fits)
        columns += isMiddle(line[fits]) ? 0 : 1;
      const size_t blank = fits < line.size() ? line.rfind(' ', fits) : std::string::npos;
      if (blank == std::string::npos || blank <= indent) break;
      out += line.substr(0, blank) + "\n";
      line = std::string(indent, ' ') + line.substr(blank + 1);
    }
    out += line + "\n";
    begin = end + 1;
  }
  return out;
}

std::string ForShell(const std::string& path) {
#if defined(_WIN32)
  const bool isPlain = path.find_first_of(" &()[]{}^=;!'+,`~") == std::string::npos;
  return isPlain ? path : '"' + path + '"';
#else
  const bool isPlain = path.find_first_of(" \t\n&()[]{}^;!'\"`~|<>*?$#\\") == std::string::npos;
  if (isPlain) return path;
  std::string quoted = "'";
  for (char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
#endif
}

std::string EscapeXml(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
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
