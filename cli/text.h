// How the tool writes what it has to say: IDs, sizes and counts in words, lines that fit the terminal, and words that
// go into a shell's command or into XML.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace cli {

// "0x1A2B3C4D"
std::string IdText(uint32_t id);

// The number in "0x1a2b" or "4711"; nothing when the text is anything else or over 32 bits.
std::optional<uint32_t> ParseNumber(const std::string& text);

// "1 byte", "1234 bytes", "56.7 KB"
std::string SizeText(uint64_t size);

// "1 item", "2 items"
std::string CountText(uint64_t count, const char* what);

// Breaks the text's lines between words so that they fit a terminal.
std::string Wrapped(const std::string& text);

// Breaks the lines of a help text that are longer than `width`; what is broken off stands under the column where
// the line's description begins.
std::string WrappedHelp(const std::string& text, size_t width);

// A path as it may stand in a command that somebody is to type: in quotes where it needs them.
std::string ForShell(const std::string& path);

// Text as it may stand in XML and HTML.
std::string EscapeXml(const std::string& text);

}  // namespace cli
