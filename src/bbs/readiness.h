// The checks that every run makes before it touches the message base.
#pragma once

#include "app/config.h"
#include "app/run_lock.h"
#include "app/site_paths.h"
#include "bbs/conference_table.h"

// Preflights every networked conference, also after a failure, so that one run reports all faults. Returns how many
// failed.
int PreflightAll(const MessageBase& base, const ConferenceTable& table, bool verbose, RunLock* lock);

// Loads and validates the conference table, waits until the BBS is idle, then opens the directory of the message base
// and preflights every networked conference. Returns 0, or -1 after logging why; nothing has been changed then.
int PrepareMessageBase(const TosserConfig& config, RunLock* lock, ConferenceTable* table, OsDirectory* directory);
