// Text between the vault (UTF-16), the command line (UTF-8) and the terminal (printable characters only).
//
// Invariant: ToUtf8 and FromUtf8 are inverse to each other for every sequence of code units; an unpaired
// surrogate is carried as its three bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "pmtypes.h"

namespace cli {

using PmString = std::basic_string<PmChar>;
using Bytes = std::vector<uint8_t>;

std::string ToUtf8(const PmString& units);

// Nothing when the bytes are not UTF-8.
std::optional<PmString> FromUtf8(const std::string& bytes);

// FromUtf8 for what a person typed: bytes that are not UTF-8 are a usage failure that names `what`.
PmString RequireUtf8(const std::string& bytes, const char* what);

// Whether the units hold no unpaired surrogate, so that their UTF-8 is plain UTF-8.
bool IsWellFormed(const PmString& units);

// A name as a terminal may show it: control characters and unpaired surrogates are escaped.
std::string Printable(const PmString& name);

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

std::string ToBase64(const Bytes& bytes);

// Nothing when the text is not base64.
std::optional<Bytes> FromBase64(const std::string& text);

}  // namespace cli
