#include "kit/repair_site.h"

#include "app/run_lock.h"
#include "bbs/node_status.h"
#include "kit/backup.h"
#include "kit/base_model.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/leftovers.h"
#include "kit/repair_base.h"
#include "kit/serial_judge.h"
#include "kit/site_state.h"
#include "platform/os.h"

namespace {

constexpr int kLongestWaitSeconds = 300;
constexpr int kRounds = 3;  // a repair may lay open what the next one mends

// What a run would log goes to standard error: the answer stands alone on standard output.
void ShowAside(OsStream, const char* text, size_t size) { kOsNative.Show(kOsStderr, text, size); }

// The run lock, and a BBS without callers, for as long as it lives.
class QuietSite {
 public:
  explicit QuietSite(const TosserConfig& config) {
    OsInstallBreakHandler();
    OsInForce().Show = ShowAside;
    RemoveAbandonedLock(LookAtSite(config));
    if (!AcquireRunLock(config.MsgDir, "-repair", &lock_)) {
      throw NotAnswered("another run is at work, or the lock cannot be made: nothing was changed");
    }
    if (const std::string busy = WaitForCallers(config); !busy.empty()) {
      ReleaseRunLock(&lock_);
      throw NotAnswered(busy + ": nothing was changed");
    }
  }

  ~QuietSite() { ReleaseRunLock(&lock_); }
  QuietSite(const QuietSite&) = delete;
  QuietSite& operator=(const QuietSite&) = delete;

  void Keep() {
    if (!KeepRunLock(&lock_)) throw NotAnswered("the run lock was lost");
  }

  const std::string& RemovedLock() const { return removed_lock_; }

 private:
  // Waits as long as a run would. Returns why the BBS is not idle; empty: it is.
  std::string WaitForCallers(const TosserConfig& config) {
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

  void RemoveAbandonedLock(const SiteState& state) {
    if (state.holder == LockHolder::kAtWork) throw NotAnswered("another run is at work: nothing was changed");
    if (state.holder == LockHolder::kNobody) return;
    if (OsRemoveUnchanged(state.lock_path.c_str(), state.lock_modified) == kOsOk) {
      removed_lock_ = ShownName(state.lock_path) + ": removed the lock of a run that did not end";
    }
  }

  RunLock lock_;
  std::string removed_lock_;
};

void AddFile(const TosserConfig& config, const BaseFile& file, const std::optional<std::string>& content,
             Backup* backup) {
  if (content) AddToBackup(config, file.Path(), &*content, backup);
}

// Plans what is to be done and puts it into the backup, the list of which is not written yet.
void PlanRepair(const KitSite& site, QuietSite* quiet, Backup* backup) {
  const TosserConfig& config = site.config;
  const ConferenceTable& table = site.conferences;
  const InboundMail inbound = ReadInboundMail(config, table);
  const OutboundMail outbound = ReadOutboundMail(config);
  Serials serials(config);
  for (const OutboundItem& item : outbound.items) serials.See(item.msgid);
  for (size_t i = 0; i < table.count; ++i) {
    quiet->Keep();
    const BaseModel model = ReadBaseModel(config.MsgDir, table.entries[i].Number);
    serials.SeeLines(model);
    const BaseRepair repair = PlanBaseRepair(model, table.entries[i], inbound, outbound);
    AddFile(config, model.sig, repair.sig, backup);
    AddFile(config, model.ptr, repair.ptr, backup);
    AddFile(config, model.idx, repair.idx, backup);
    AddFile(config, model.dat, repair.dat, backup);
    backup->texts.insert(backup->texts.end(), repair.texts.begin(), repair.texts.end());
  }
  if (serials.IsBehind()) {
    const std::string content = fmt::format("{}{}", serials.Newest(), kOsLineEnd);
    AddToBackup(config, serials.Path(), &content, backup);
    backup->texts.push_back(fmt::format("{}: wrote {}", ShownName(serials.Path()), serials.Newest()));
  }
  for (const Leftover& left : FindLeftovers(config, inbound, outbound)) {
    AddToBackup(config, left.path, nullptr, backup);
    backup->texts.push_back(ShownName(left.path) + ": moved to the backup");
  }
}

void Apply(const Backup& backup, Repair* repair) {
  ApplyBackup(backup);
  repair->backup = backup.directory;
  repair->texts.insert(repair->texts.end(), backup.texts.begin(), backup.texts.end());
}

// One repair, or the end of one that was interrupted. Returns whether anything was done.
bool RepairOnce(const KitSite& site, QuietSite* quiet, Repair* repair) {
  OpenBackup open = FindOpenBackup(site.config);
  if (open.listed && IsOvertaken(open.backup)) {
    CloseOvertaken(open.backup);
    open = OpenBackup();
  }
  if (!open.listed) {
    PlanRepair(site, quiet, &open.backup);
    if (open.backup.items.empty()) return false;
    CompleteList(open.backup);
  }
  quiet->Keep();
  Apply(open.backup, repair);
  return true;
}

}  // namespace

Repair RepairSite(const KitSite& site) {
  Repair repair;
  QuietSite quiet(site.config);
  if (!quiet.RemovedLock().empty()) repair.texts.push_back(quiet.RemovedLock());
  for (int round = 0; round < kRounds && RepairOnce(site, &quiet, &repair); ++round) quiet.Keep();
  repair.left = VerifySite(site, kLockIsOurs);
  return repair;
}

void UndoRepair(const KitSite& site, const std::string& directory) {
  const Backup backup = ReadBackup(directory);
  const QuietSite quiet(site.config);
  UndoBackup(backup);
}
