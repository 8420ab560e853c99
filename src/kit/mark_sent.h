// Marking old messages sent, so that the first scan of a conference does not send its whole history.
#pragma once

#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/site_change.h"

struct MarkedConference {
  int32_t conference = 0;
  size_t messages = 0;  // that are marked, or would be
  size_t undated = 0;   // unsent messages whose date cannot be read; they stay as they are
};

// Counts the unsent messages of before the date ("2025-01-05") in those of the conferences that a scan takes. Changes
// nothing. Throws NotAnswered when a file cannot be read.
std::vector<MarkedConference> CountOldUnsent(const KitSite& site, const std::vector<const ConferenceEntry*>& entries,
                                             const std::string& before);

// Marks these messages sent. Throws NotAnswered.
std::vector<MarkedConference> MarkOldSent(const KitSite& site, const std::vector<const ConferenceEntry*>& entries,
                                          const std::string& before, SiteChange* change);
