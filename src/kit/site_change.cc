#include "kit/site_change.h"

#include "bbs/node_status.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/site_state.h"
#include "platform/os.h"

namespace {

constexpr int kLongestWaitSeconds = 300;

// Log lines go to standard error: standard output has the answer only.
void ShowAside(OsStream, const char* text, size_t size) { kOsNative.Show(kOsStderr, text, size); }

void Apply(const Backup& backup, QuietSite* quiet, SiteChange* change) {
  quiet->Keep();
  ApplyBackup(backup);
  change->backups.push_back(backup.directory);
  change->texts.insert(change->texts.end(), backup.texts.begin(), backup.texts.end());
}

// Finishes an interrupted change, and returns a backup for the planned one.
Backup FinishInterrupted(const TosserConfig& config, QuietSite* quiet, SiteChange* change) {
  for (;;) {
    const OpenBackup open = FindOpenBackup(config);
    if (!open.listed) return open.backup;
    if (IsOvertaken(open.backup)) {
      CloseOvertaken(open.backup);
    } else {
      Apply(open.backup, quiet, change);
    }
  }
}

}  // namespace

QuietSite::QuietSite(const TosserConfig& config) {
  OsInstallBreakHandler();
  OsInForce().Show = ShowAside;
  RemoveAbandonedLock(config);
  if (!AcquireRunLock(config.MsgDir, "-cvkit", &lock_)) {
    throw NotAnswered("another run is at work, or the lock cannot be made: nothing was changed");
  }
  if (const std::string busy = WaitForCallers(config); !busy.empty()) {
    ReleaseRunLock(&lock_);
    throw NotAnswered(busy + ": nothing was changed");
  }
}

QuietSite::~QuietSite() { ReleaseRunLock(&lock_); }

void QuietSite::Keep() {
  if (!KeepRunLock(&lock_)) throw NotAnswered("the run lock was lost");
}

// Waits as long as a run would. Returns why the BBS is not idle; empty if it is.
std::string QuietSite::WaitForCallers(const TosserConfig& config) {
  for (int waited = 0;; ++waited) {
    NodeStatus nodes;
    const NodeState state = ReadNodeStatus(config.WorkDir, &nodes);
    if (state == kNodesIdle) return {};
    if (state == kNodesUnknown) return "who is on the BBS cannot be told";
    if (waited == kLongestWaitSeconds) return "somebody is on the BBS";
    if (waited == 0) Complain("cvkit: waiting for the caller on node " + std::to_string(nodes.node) + "\n");
    OsSleep(1000);
    if (!RenewRunLock(&lock_)) return "the run lock was lost";
  }
}

void QuietSite::RemoveAbandonedLock(const TosserConfig& config) {
  const SiteState state = LookAtSite(config);
  if (state.holder == LockHolder::kAtWork) throw NotAnswered("another run is at work: nothing was changed");
  if (state.holder == LockHolder::kNobody) return;
  if (OsRemoveUnchanged(state.lock_path.c_str(), state.lock_modified) == kOsOk) {
    removed_lock_ = ShownName(state.lock_path) + ": removed the lock of a run that did not end";
  }
}

bool ChangeSite(const TosserConfig& config, QuietSite* quiet, const ChangePlan& plan, SiteChange* change) {
  Backup backup = FinishInterrupted(config, quiet, change);
  plan(&backup);
  if (backup.items.empty()) return false;
  CompleteList(backup);
  Apply(backup, quiet, change);
  return true;
}

void UndoChange(const TosserConfig& config, const std::string& directory) {
  const Backup backup = ReadBackup(directory);
  const QuietSite quiet(config);
  UndoBackup(backup);
}
