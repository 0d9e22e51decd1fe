#include "cli/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace cli {

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

}  // namespace cli
