// What of a site is old enough to go, and may: processed files, saved packets, parts of the log.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kit/kit_site.h"

struct TidyQuestion {
  std::string log;               // the path of TOSSER.LOG
  int64_t older = 0;             // seconds
  int64_t log_size = INT64_MAX;  // bytes from which on the log is rotated
  int64_t log_age = INT64_MAX;   // seconds since its first line from which on it is
};

struct TidyItem {
  std::string kind;  // "processed", "bad" or "log"
  std::string path;
  int64_t size = 0;      // bytes
  int64_t modified = 0;  // seconds since 1970-01-01 UTC
  std::string kept;      // why it stays, though it is old enough; empty: it may go
};

struct Tidying {
  std::vector<TidyItem> items;  // by kind, in the order of their names
  std::string rotate_to;        // the new name of the log; empty: it stays
  std::string unsettled;        // why the site may change at any moment; empty if it does not
};

// Looks, and changes nothing. Throws NotAnswered, also when the processed files lie among others.
Tidying PlanTidying(const KitSite& site, const TidyQuestion& question);

// Does it, under the caller's run lock; `keep` is called between. Returns what could not be done, a sentence each.
std::vector<std::string> DoTidying(const Tidying& tidying, const std::string& log, const std::function<void()>& keep);
