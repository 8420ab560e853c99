// Determines whether anybody is at work on the site: anything incomplete may then be theirs.
#pragma once

#include <string>

#include "app/config.h"

enum class LockHolder {
  kNobody,     // there is no lock
  kAtWork,     // its owner runs, or it is so fresh that its owner may run
  kAbandoned,  // its owner no longer runs
};

struct SiteState {
  std::string lock_path;
  LockHolder holder = LockHolder::kNobody;
  int64_t lock_modified = 0;  // seconds since 1970-01-01 UTC
  std::string owner;          // the line in the lock
  bool caller = false;
  bool nodes_unknown = false;  // the node status cannot be read

  // Returns whether the site may change at any moment, and why.
  bool IsUnsettled() const { return holder == LockHolder::kAtWork || caller; }
  std::string Unsettled() const;
};

// Reads the lock and the node status.
SiteState LookAtSite(const TosserConfig& config);
