// Is the message base sound? All judges over a whole site, without changing anything.
#pragma once

#include <string>

#include "app/config.h"
#include "bbs/conference_table.h"
#include "kit/finding.h"

struct Verification {
  Findings findings;
  std::string unsettled;  // why what was seen may change in the next moment; empty: it does not
};

// Reads the conference table and chooses the netmail conference as a toss does. Throws NotAnswered.
void ReadSiteTable(const TosserConfig& config, ConferenceTable* table);

// Reads everything that a run uses. Throws NotAnswered when a file cannot be read.
Verification VerifySite(const TosserConfig& config);
