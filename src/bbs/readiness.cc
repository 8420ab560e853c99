#include "bbs/readiness.h"

#include "app/run_log.h"
#include "bbs/node_status.h"
#include "bbs/preflight.h"

int PreflightAll(const char* msg_dir, const ConferenceTable& table, bool verbose) {
  int failures = 0;
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (!IsNetworked(entry)) continue;
    if (PreflightMessageBase(msg_dir, entry.Number, verbose, nullptr) != 0) ++failures;
  }
  return failures;
}

int PrepareMessageBase(const TosserConfig& config, ConferenceTable* table) {
  if (LoadConferences(config.ConfDir, table) != 0 || ValidateConferences(false, table) != 0) {
    LogLine("Aborting: conference configuration validation failed");
    return -1;
  }
  if (WaitForIdleNodes(config.WorkDir) == 0) return -1;
  if (PreflightAll(config.MsgDir, *table, false) == 0) return 0;
  LogLine("Aborting: one or more FTN conference message bases failed preflight");
  return -1;
}
