// What `cvkit verify` finds: one finding is one sentence that a sysop can act on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class Severity {
  kDamage,    // runs refuse, or mail is unreadable or would be lost or doubled
  kLeftover,  // something to tidy
  kNote,      // ordinary after packing or renumbering
};

// The word of a severity, as the output has it: "damage", "leftover" or "note".
const char* SeverityWord(Severity severity);

// Texts are UTF-8 without control bytes.
struct Finding {
  std::string code;  // stable, in lower case with hyphens
  Severity severity = Severity::kNote;
  int32_t conference = 0;  // 0 for none
  std::string file;        // its path as the configuration and the file system spell it
  int64_t record = -1;     // from 0; -1 for none
  std::string text;        // one sentence
  std::string repair;      // what a repair would do about it; empty if it does nothing
};

using Findings = std::vector<Finding>;

bool IsSound(const Findings& findings);         // nothing of severity damage
bool NeedsAttention(const Findings& findings);  // anything but notes
