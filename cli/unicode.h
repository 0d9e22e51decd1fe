// Names between the vault (UTF-16), the command line (UTF-8) and the terminal (printable characters only).
//
// Invariant: ToUtf8 and FromUtf8 are inverse to each other for every sequence of code units; an unpaired
// surrogate is carried as its three bytes.
#pragma once

#include <optional>
#include <string>

#include "pmtypes.h"

namespace cli {

using PmString = std::basic_string<PmChar>;

std::string ToUtf8(const PmString& units);

// Nothing when the bytes are not UTF-8.
std::optional<PmString> FromUtf8(const std::string& bytes);

// FromUtf8 for what a person typed: bytes that are not UTF-8 are a usage failure that names `what`.
PmString RequireUtf8(const std::string& bytes, const char* what);

// Whether the units hold no unpaired surrogate, so that their UTF-8 is plain UTF-8.
bool IsWellFormed(const PmString& units);

// A name as a terminal may show it: control characters and unpaired surrogates are escaped.
std::string Printable(const PmString& name);

}  // namespace cli
