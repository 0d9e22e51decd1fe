#include "cli/verdict.h"

#include <algorithm>

namespace cli {

namespace {

size_t CountOf(const std::vector<Finding>& findings, Weight weight) {
  return static_cast<size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [weight](const Finding& finding) { return finding.weight == weight; }));
}

}  // namespace

Verdict VerdictOf(const std::vector<Finding>& findings) {
  Verdict verdict = Verdict::kSound;
  for (const Finding& finding : findings) {
    if (finding.code == kNoVaultCode) return Verdict::kNoVault;
    if (finding.weight == Weight::kDamage) return Verdict::kDamaged;
    if (finding.weight == Weight::kSuspicion) verdict = Verdict::kSuspect;
    if (finding.code == kVaultEmptyCode) verdict = Verdict::kEmpty;
  }
  return verdict;
}

const char* VerdictText(Verdict verdict) {
  constexpr const char* kTexts[] = {"sound", "empty", "suspect", "damaged", "no vault"};
  return kTexts[static_cast<int>(verdict)];
}

std::string ShownVerdict(const std::vector<Finding>& findings, const Console& console) {
  const Verdict verdict = VerdictOf(findings);
  constexpr Colour kColours[] = {Colour::kGreen, Colour::kYellow, Colour::kYellow, Colour::kRed,
                                 Colour::kRed};
  std::string text = console.paint(kColours[static_cast<int>(verdict)], VerdictText(verdict));
  if (verdict == Verdict::kNoVault) return text;
  if (const size_t damage = CountOf(findings, Weight::kDamage); damage > 0)
    text += ", " + CountText(damage, "problem");
  if (const size_t doubts = CountOf(findings, Weight::kSuspicion); doubts > 0)
    text += ", " + CountText(doubts, "doubt");
  return text;
}

Mistrust MistrustOf(const Image& image) {
  Mistrust mistrust;
  for (const Finding& finding : Examine(image)) {
    if (finding.weight == Weight::kNote) continue;
    const bool isDamage = finding.weight == Weight::kDamage;
    mistrust.isDamaged = mistrust.isDamaged || isDamage;
    if (finding.item) (isDamage ? mistrust.damage : mistrust.doubts).emplace(*finding.item, finding.what);
  }
  return mistrust;
}

}  // namespace cli
