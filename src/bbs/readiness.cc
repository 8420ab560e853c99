#include "bbs/readiness.h"

#include "app/run_log.h"
#include "bbs/node_status.h"
#include "bbs/preflight.h"

namespace {

// All of them, so that one run shows everything that is wrong.
int PreflightAll(const TosserConfig& config, const ConferenceTable& table) {
  int failures = 0;
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (!IsNetworked(entry)) continue;
    if (PreflightMessageBase(config.MsgDir, entry.Number, false, nullptr) != 0) ++failures;
  }
  if (failures == 0) return 0;
  LogLine("Aborting: one or more FTN conference message bases failed preflight");
  return -1;
}

}  // namespace

int PrepareMessageBase(const TosserConfig& config, ConferenceTable* table) {
  if (LoadConferences(config.ConfDir, table) != 0 || ValidateConferences(false, table) != 0) {
    LogLine("Aborting: conference configuration validation failed");
    return -1;
  }
  if (WaitForIdleNodes(config.WorkDir) == 0) return -1;
  return PreflightAll(config, *table);
}
