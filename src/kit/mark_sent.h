// Marks old messages sent, so that the first scan of a conference does not send its whole history.
#pragma once

#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/site_change.h"

struct MarkedConference {
  int32_t conference = 0;
  size_t messages = 0;  // marked, or to be marked
  size_t undated = 0;   // unsent messages whose date cannot be read; they are not marked
};

// Counts the unsent messages from before the date ("2025-01-05") in those of the conferences that a scan exports.
// Changes nothing. Throws NotAnswered when a file cannot be read.
std::vector<MarkedConference> CountOldUnsent(const KitSite& site, const std::vector<const ConferenceEntry*>& entries,
                                             const std::string& before);

// Marks these messages sent. Throws NotAnswered.
std::vector<MarkedConference> MarkOldSent(const KitSite& site, const std::vector<const ConferenceEntry*>& entries,
                                          const std::string& before, SiteChange* change);
