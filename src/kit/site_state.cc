#include "kit/site_state.h"

#include <cstdio>

#include "app/run_lock.h"
#include "app/site_paths.h"
#include "bbs/node_status.h"
#include "platform/os.h"

namespace {

// The values in the owner's line of a lock.
struct OwnerLine {
  unsigned long process = 0;
  long long started = 0;
};

bool ReadOwnerLine(const std::string& line, OwnerLine* owner) {
  const size_t at = line.find(" mode=-");
  if (line.rfind("cvtoss32 ", 0) != 0 || at == std::string::npos) return false;
  char mode[16];
  return sscanf(line.c_str() + at, " mode=-%15[a-z] pid=%lu started=%lld", mode, &owner->process, &owner->started) == 3;
}

// A lock from before the last start of the machine belongs to no process, even if one has its number now. As clocks are
// adjusted, a lock counts as older only if the difference is more than a minute.
bool IsOfEarlierStart(const OwnerLine& owner) {
  constexpr int64_t kClockSet = 60;
  return owner.started + kClockSet < OsNow() - OsUptime();
}

// Judges a lock by its owner or, if that cannot be read, by its age as a run does.
LockHolder JudgeLock(const std::string& line, int64_t modified) {
  OwnerLine owner;
  if (!ReadOwnerLine(line, &owner) || owner.process > UINT32_MAX) {
    return OsNow() - modified < kStaleLockSeconds ? LockHolder::kAtWork : LockHolder::kAbandoned;
  }
  if (IsOfEarlierStart(owner)) return LockHolder::kAbandoned;
  const OsResult found = OsFindProcess(static_cast<uint32_t>(owner.process));
  return found == kOsMissing ? LockHolder::kAbandoned : LockHolder::kAtWork;
}

void LookAtLock(const TosserConfig& config, SiteState* state) {
  Path path;
  if (FormatLockPath(config.MsgDir, &path) != 0) return;
  state->lock_path = path.text;
  OsStatus status;
  if (OsStat(state->lock_path.c_str(), &status) != kOsOk) return;
  char line[192];
  ReadLockOwner(state->lock_path.c_str(), line);
  state->owner = line;
  state->lock_modified = status.modified;
  state->holder = JudgeLock(state->owner, status.modified);
}

}  // namespace

std::string SiteState::Unsettled() const {
  if (holder == LockHolder::kAtWork) return "a run is at work";
  return caller ? "a caller is on the BBS" : "";
}

SiteState LookAtSite(const TosserConfig& config) {
  SiteState state;
  LookAtLock(config, &state);
  NodeStatus nodes;
  const NodeState found = ReadNodeStatus(config.WorkDir, &nodes);
  state.caller = found == kNodeBusy;
  state.nodes_unknown = found == kNodesUnknown;
  return state;
}
