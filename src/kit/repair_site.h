// Repairing a site, as a run works: under the run lock, with nobody on the BBS.
#pragma once

#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/verify_site.h"

struct Repair {
  std::vector<std::string> texts;  // what was repaired, a sentence each
  std::string backup;              // its directory; empty: no file had to be changed
  Verification left;               // what a second look finds
};

// Finishes a repair that did not end, repairs what can be decided, and looks again. Throws NotAnswered.
Repair RepairSite(const KitSite& site);

// Takes back what the repair with the backup in `directory` has changed. Throws NotAnswered when a file is no longer as
// the repair left it; nothing has been changed then.
void UndoRepair(const KitSite& site, const std::string& directory);
