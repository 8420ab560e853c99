// Is the message base sound? All judges over a whole site, without changing anything.
#pragma once

#include <string>

#include "kit/finding.h"
#include "kit/kit_site.h"

struct Verification {
  Findings findings;
  std::string unsettled;  // why what was seen may change in the next moment; empty: it does not
};

enum LockOwnership { kLockOfOthers, kLockIsOurs };

// Reads everything that a run uses; a caller that holds the run lock says so. Throws NotAnswered when a file cannot be
// read.
Verification VerifySite(const KitSite& site, LockOwnership ownership = kLockOfOthers);
