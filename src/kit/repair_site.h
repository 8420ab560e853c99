// Repairs those findings about a site whose repair follows from its files, with the lock and the backup of a change.
#pragma once

#include "kit/kit_site.h"
#include "kit/site_change.h"
#include "kit/verify_site.h"

struct Repair {
  SiteChange change;
  Verification left;  // the findings after the repair
};

// Finishes an interrupted repair, repairs what can be decided, and judges again. Throws NotAnswered.
Repair RepairSite(const KitSite& site);
