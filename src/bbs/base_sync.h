// Waiting until the disk holds what was written to the message base: once for many messages, not once for each.
#pragma once

#include "app/site_paths.h"
#include "bbs/conference_table.h"

// A set of conference numbers.
struct ConferenceSet {
  bool has[kMostConferences + 1] = {};

  void Add(int32_t conference) { has[conference] = true; }
};

// Waits for the messages stored in these conferences: DAT, IDX and PTR, then SIG. Returns 0, or -1 when the disk may
// not hold all of it.
int SyncMessages(const MessageBase& base, const ConferenceSet& conferences);

// Waits for what a scan has written in these conferences: SIG, then PTR. Returns 0, or -1 as above.
int SyncMarks(const MessageBase& base, const ConferenceSet& conferences);
