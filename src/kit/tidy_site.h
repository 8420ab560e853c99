// The old files of a site that may be removed: processed files, saved packets, rotated parts of the log.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kit/kit_site.h"

struct TidyQuestion {
  std::string log;               // the path of TOSSER.LOG
  int64_t older = 0;             // seconds
  int64_t log_size = INT64_MAX;  // bytes: a log of this size is rotated
  int64_t log_age = INT64_MAX;   // seconds: a log whose first line is this old is rotated
};

struct TidyItem {
  std::string kind;  // "processed", "bad" or "log"
  std::string path;
  int64_t size = 0;      // bytes
  int64_t modified = 0;  // seconds since 1970-01-01 UTC
  std::string kept;      // why it is kept although it is old; empty if it may be removed
};

struct Tidying {
  std::vector<TidyItem> items;  // by kind, in the order of their names
  std::string rotate_to;        // the new path of the log; empty if it is not rotated
  std::string unsettled;        // why the site may change at any moment; empty if it does not
};

// Decides what to remove, and changes nothing. Throws NotAnswered, also when PROCESSEDDIR holds other files of the
// site.
Tidying PlanTidying(const KitSite& site, const TidyQuestion& question);

// Removes and rotates; the caller holds the run lock. Calls `keep` between files. Returns a sentence for each failure.
std::vector<std::string> DoTidying(const Tidying& tidying, const std::string& log, const std::function<void()>& keep);
