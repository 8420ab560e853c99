// The checks that every run makes before it touches the message base.
#pragma once

#include "app/config.h"
#include "bbs/conference_table.h"

// Preflights every networked conference, also after a failure, so that one run shows everything that is wrong. Returns
// how many failed.
int PreflightAll(const char* msg_dir, const ConferenceTable& table, bool verbose);

// Loads and validates the conference table, waits until the BBS is idle and preflights the message base of every
// networked conference. Returns 0, or -1 after logging why; nothing has been changed then.
int PrepareMessageBase(const TosserConfig& config, ConferenceTable* table);
