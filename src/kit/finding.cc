#include "kit/finding.h"

#include <algorithm>

const char* SeverityWord(Severity severity) {
  switch (severity) {
    case Severity::kDamage: return "damage";
    case Severity::kLeftover: return "leftover";
    case Severity::kNote: break;
  }
  return "note";
}

bool IsSound(const Findings& findings) {
  return std::none_of(findings.begin(), findings.end(),
                      [](const Finding& finding) { return finding.severity == Severity::kDamage; });
}

bool NeedsAttention(const Findings& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.severity != Severity::kNote; });
}
