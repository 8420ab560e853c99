#include "bbs/readiness.h"

#include "app/run_log.h"
#include "bbs/node_status.h"
#include "bbs/preflight.h"

int PreflightAll(const MessageBase& base, const ConferenceTable& table, bool verbose, RunLock* lock) {
  int failures = 0;
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (!IsNetworked(entry)) continue;
    if (!KeepRunLock(lock)) return failures + 1;
    if (PreflightMessageBase(base, entry.Number, verbose, nullptr) != 0) ++failures;
  }
  return failures;
}

int PrepareMessageBase(const TosserConfig& config, RunLock* lock, ConferenceTable* table, OsDirectory* directory) {
  if (LoadConferences(config.ConfDir, table) != 0 || ValidateConferences(false, table) != 0) {
    LogLine("Aborting: conference configuration validation failed");
    return -1;
  }
  if (!WaitForIdleNodes(config.WorkDir, lock)) return -1;
  (void)OsOpenDirectory(config.MsgDir, kOsTrustPath, directory);
  if (PreflightAll({config.MsgDir, *directory}, *table, false, lock) == 0) return 0;
  if (lock->state == kLockLost) return -1;
  LogLine("Aborting: one or more FTN conference message bases failed preflight");
  return -1;
}
