// What `cvkit status` reports: the last runs, the mail that waits, and how full the message base is. It can be called
// every minute, because it reads only the end of the log and the headers of the base.
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
  std::optional<LoggedRun> toss;  // the last one that found no other run at work
  std::optional<LoggedRun> scan;
  std::vector<std::string> toss_found;  // the files that the last toss found
};

struct InboundFile {
  std::string name;
  int64_t modified = 0;   // seconds since 1970-01-01 UTC
  bool retained = false;  // the last toss found it and left it there
};

// Files in INBOUND.
struct WaitingFiles {
  size_t count = 0;
  std::string first;  // its name
  int64_t since = 0;  // when the oldest was last changed, in seconds since 1970-01-01 UTC
};

struct FullestConference {
  int32_t conference = 0;  // 0: there is none
  std::string name;        // UTF-8, control bytes unchanged
  int64_t records = 0;     // DAT records, of kMostDatRecords
  std::string full_on;     // the day at the rate of the last 90 days, "2027-03-01"; empty if it cannot be predicted
};

struct StatusFacts {
  SiteState state;
  LastRuns runs;
  std::vector<InboundFile> inbound;    // packets and bundles
  size_t bundles = 0;                  // in OUTDIR
  int64_t oldest_bundle = 0;           // seconds since 1970-01-01 UTC
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
