// Repairing a site: what the judges find and the files can decide is mended, with the lock and the backup of a change.
#pragma once

#include "kit/kit_site.h"
#include "kit/site_change.h"
#include "kit/verify_site.h"

struct Repair {
  SiteChange change;
  Verification left;  // what a second look finds
};

// Finishes a repair that did not end, repairs what can be decided, and looks again. Throws NotAnswered.
Repair RepairSite(const KitSite& site);
