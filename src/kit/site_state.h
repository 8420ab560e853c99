// Is anybody at work on the site? What stands half done may then be theirs.
#pragma once

#include <string>

#include "app/config.h"

enum class LockHolder {
  kNobody,     // there is no lock
  kAtWork,     // its owner runs, or it is too fresh to be told from one whose owner does
  kAbandoned,  // its owner no longer runs
};

struct SiteState {
  std::string lock_path;
  LockHolder holder = LockHolder::kNobody;
  int64_t lock_modified = 0;  // seconds since 1970-01-01 UTC
  std::string owner;          // the line in the lock
  bool caller = false;
  bool nodes_unknown = false;  // the node status could not be read

  // Whether what is seen may change in the next moment, and why.
  bool IsUnsettled() const { return holder == LockHolder::kAtWork || caller; }
  std::string Unsettled() const;
};

SiteState LookAtSite(const TosserConfig& config);
