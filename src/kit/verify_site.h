// Judges the whole site, without changing anything: is the message base sound?
#pragma once

#include <string>

#include "kit/finding.h"
#include "kit/kit_site.h"

struct Verification {
  Findings findings;
  std::string unsettled;  // why the site may change at any moment; empty if it does not
};

enum LockOwnership { kLockOfOthers, kLockIsOurs };

// Reads all files that a run uses. `ownership` says whether the caller holds the run lock. Throws NotAnswered when a
// file cannot be read.
Verification VerifySite(const KitSite& site, LockOwnership ownership = kLockOfOthers);
