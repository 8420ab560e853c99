#include "check/check_run.h"

#include "app/run_lock.h"
#include "app/run_log.h"
#include "app/site_paths.h"
#include "app/version.h"
#include "bbs/conference_table.h"
#include "bbs/node_status.h"
#include "bbs/readiness.h"
#include "platform/os.h"

namespace {

bool IsDirectory(const char* path) {
  OsStatus status;
  return path[0] != '\0' && OsStat(path, &status) == kOsOk && status.kind == kOsDirectory;
}

// The checks below return how many issues they found.

int CheckDirectories(const TosserConfig& config) {
  int issues = 0;
  if (!IsDirectory(config.ConfDir)) {
    LogLine("ERROR: CONFDIR does not exist or is not a directory: %s", config.ConfDir);
    ++issues;
  }
  if (!IsDirectory(config.WorkDir)) {
    LogLine("ERROR: WORKDIR does not exist or is not a directory: %s", config.WorkDir);
    ++issues;
  }
  if (!IsDirectory(config.MsgDir)) {
    LogLine("ERROR: MSGDIR does not exist or is not a directory: %s", config.MsgDir);
    ++issues;
  }
  if (config.HaveInbound != 0 && !IsDirectory(config.Inbound)) {
    LogLine("ERROR: INBOUND does not exist or is not a directory: %s", config.Inbound);
    ++issues;
  }
  if (config.HaveOutDir != 0 && !IsDirectory(config.OutDir)) {
    LogLine("ERROR: OUTDIR does not exist or is not a directory: %s", config.OutDir);
    ++issues;
  }
  return issues;
}

int CheckConferences(const TosserConfig& config) {
  ConferenceTable table;
  if (LoadConferences(config.ConfDir, &table) != 0) return 1;
  int issues = ValidateConferences(true, &table) != 0 ? 1 : 0;
  RunLock no_lock;
  if (PreflightAll(config.MsgDir, table, true, &no_lock) != 0) ++issues;
  return issues;
}

// Any file of that name is an issue, for no run can take the lock: a lock of any age (the operator has to find out
// whether its owner still runs), and a link that cannot be followed.
int CheckLock(const TosserConfig& config) {
  Path path;
  OsStatus status;
  if (FormatLockPath(config.MsgDir, &path) != 0) return 0;
  const OsResult found = OsStat(path.text, &status);
  if (found != kOsOk && found != kOsDangling) return 0;
  char owner[192];
  ReadLockOwner(path.text, owner);
  LogLine("ERROR: an CVTOSS.BSY lock already exists%s%s", owner[0] != '\0' ? ": " : "", owner);
  return 1;
}

int CheckNodes(const TosserConfig& config) {
  NodeStatus status;
  const NodeState state = ReadNodeStatus(config.WorkDir, &status);
  if (state == kNodesIdle) {
    LogLine("Node status: %d record(s), all idle", status.count);
    return 0;
  }
  ReportNodeFault(status);
  if (state == kNodeBusy) {
    LogLine("NOT SAFE TO TOSS/SCAN: node %d is occupied by UserNo %d (Mode=0x%02X)", status.node,
            static_cast<int>(static_cast<int16_t>(status.UserNo)), static_cast<unsigned int>(status.Mode));
  }
  return 1;
}

void ShowIdentity(const TosserConfig& config) {
  const FtnAddress& our = config.OurAddress;
  const FtnAddress& hub = config.HubAddress;
  if (config.HaveAddress != 0) {
    LogLine("Local FTN address: %d:%d/%d.%d", our.Zone, our.Net, our.Node, our.Point);
  }
  if (config.HaveHub != 0) LogLine("Hub FTN address: %d:%d/%d.%d", hub.Zone, hub.Net, hub.Node, hub.Point);
  if (config.HaveSystem != 0) LogLine("Origin system name: %s", config.SystemName);
}

}  // namespace

int RunCheckMode(const TosserConfig& config) {
  OpenRunLog();
  LogLine("=== cvtoss32 v%s %s -check starting (read-only diagnostics) ===", kVersion, kReleaseLabel);
  LogLine("Config dir: %s   Work dir: %s   Message dir: %s", config.ConfDir, config.WorkDir, config.MsgDir);
  int issues = CheckDirectories(config);
  if (issues == 0) issues += CheckConferences(config);
  issues += CheckLock(config);
  issues += CheckNodes(config);
  ShowIdentity(config);
  if (issues != 0) {
    LogLine("=== cvtoss32 -check FAILED: %d issue(s) require attention ===", issues);
  } else {
    LogLine("=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ===");
  }
  CloseRunLog();
  return issues != 0 ? 1 : 0;
}
