// What `cvkit status` tells: the last runs, what waits, and how full the message base is. Cheap enough to be asked
// every minute: of the log only the end is read, of the base the headers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kit/attention.h"
#include "kit/kit_site.h"
#include "kit/log_runs.h"
#include "kit/site_state.h"

struct LastRuns {
  std::optional<LoggedRun> toss;  // one that found another at work counts as none
  std::optional<LoggedRun> scan;
  std::vector<std::string> toss_found;  // the files of the last toss
};

struct InboundFile {
  std::string name;
  int64_t modified = 0;   // seconds since 1970-01-01 UTC
  bool retained = false;  // the last toss has seen it and left it
};

// Files in INBOUND.
struct WaitingFiles {
  size_t count = 0;
  std::string first;  // its name
  int64_t since = 0;  // when the oldest was last changed
};

struct FullestConference {
  int32_t conference = 0;  // 0: there is none
  std::string name;        // UTF-8, control bytes unchanged
  int64_t records = 0;     // DAT records, of kMostDatRecords
  std::string full_on;     // the day at the rate of the last 90 days, "2027-03-01"; empty when it is not in sight
};

struct StatusFacts {
  SiteState state;
  LastRuns runs;
  std::vector<InboundFile> inbound;    // packets and bundles
  size_t bundles = 0;                  // in OUTDIR
  int64_t oldest_bundle = 0;           // when it was made
  std::vector<std::string> new_areas;  // unknown ones that came for the first time within a week; UTF-8
  std::vector<int32_t> unsound;        // conferences that every run refuses
  FullestConference fullest;
  Attentions attention;
};

// Counts those that the last toss has retained, or those that have come since.
WaitingFiles CountInbound(const std::vector<InboundFile>& inbound, bool retained);

// Returns "since 2026-11-22 03:10", or "the oldest since ..." of several.
std::string SinceText(const WaitingFiles& files);

// Throws NotAnswered when something cannot be read. `log` need not exist.
StatusFacts ReadStatus(const KitSite& site, const std::string& log);
