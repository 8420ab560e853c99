// The checks that every run makes before it touches the message base.
#pragma once

#include "app/config.h"
#include "bbs/conference_table.h"

// Loads and validates the conference table, waits until the BBS is idle and preflights the message base of every
// networked conference. Returns 0, or -1 after logging why; nothing has been changed then.
int PrepareMessageBase(const TosserConfig& config, ConferenceTable* table);
