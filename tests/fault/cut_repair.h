// cvkit verify --repair on a site whose power was cut.
#pragma once

#include <string>
#include <vector>

#include "fault/run_promises.h"
#include "unit/support/site.h"

struct CutRepair {
  SiteFiles files;                 // after the repair, without its backups
  std::vector<std::string> texts;  // what was repaired
  std::vector<std::string> left;   // the codes of the findings that need attention
};

// Whether this state of a campaign is to be repaired: each in the long form, one in forty otherwise, none in a build
// without cvkit. `state` counts from 1.
bool IsRepaired(int state);

// Puts the files, the lock among them, into the site's directories and repairs them as after a restart of the machine.
CutRepair RepairAfterCut(const Site& site, const SiteFiles& files);

// Asserts that the repair has named each message whose header it has removed.
void ExpectLossesNamed(const SiteFiles& cut, const CutRepair& repair);

// Records the counts of the repaired states, and of those among them that were left undecided.
void CountRepairs(int repaired, int undecided);
