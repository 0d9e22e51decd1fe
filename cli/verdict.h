// What the findings amount to: for the vault as a whole, and for each of its items.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/findings.h"

namespace cli {

// kEmpty: a new vault, or one of which nothing is left. kNoVault: nothing in the file looks like a part of one.
enum class Verdict { kSound, kEmpty, kSuspect, kDamaged, kNoVault };

Verdict VerdictOf(const std::vector<Finding>& findings);

inline bool IsDamaged(Verdict verdict) {
  return verdict >= Verdict::kDamaged;
}

const char* VerdictText(Verdict verdict);

// The verdict in words and colour: "sound", "suspect, 2 doubts", "damaged, 3 problems".
std::string ShownVerdict(const std::vector<Finding>& findings, const Console& console);

// What keeps items from being trusted as they are read: by ID, the first thing that is wrong with them. Item 0 is the
// ID table.
struct Mistrust {
  std::map<uint32_t, std::string> damage;
  std::map<uint32_t, std::string> doubts;
  bool isDamaged = false;  // the vault is, wherever
};

Mistrust MistrustOf(const Image& image);

}  // namespace cli
