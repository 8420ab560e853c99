#include "bbs/node_status.h"

#include <algorithm>

#include "app/run_log.h"
#include "app/site_paths.h"
#include "base/bytes.h"
#include "platform/os.h"

namespace {

namespace node_layout {

constexpr size_t kSize = 6;
constexpr Field UserNo{0, 2};
constexpr Field Mode{2, 1};
constexpr Field unread3{3, 3};
static_assert(CoversRecord({UserNo, Mode, unread3}, kSize));

}  // namespace node_layout

// One node's record of CVWHOSON.DAT.
struct NodeStatusRecord {
  uint16_t UserNo;
  uint8_t Mode;
};

NodeStatusRecord UnpackNodeStatus(const uint8_t* record) {
  return {GetU16(record + node_layout::UserNo.at), record[node_layout::Mode.at]};
}

constexpr int64_t kRecordSize = node_layout::kSize;
constexpr uint16_t kIdleUser = 65535;
constexpr int kLongestWaitSeconds = 300;
constexpr int kRecheckSeconds = 10;

// Looks for the first busy node.
NodeState FindBusyNode(const OsFile& file, NodeStatus* status) {
  uint8_t records[node_layout::kSize * 256];
  for (int64_t node = 0; node < status->count;) {
    const auto wanted = static_cast<size_t>(std::min<int64_t>((status->count - node) * kRecordSize, sizeof records));
    const size_t got = OsReadAt(file, node * kRecordSize, records, wanted).bytes;
    for (size_t at = 0; at + node_layout::kSize <= got; at += node_layout::kSize) {
      ++node;
      const NodeStatusRecord record = UnpackNodeStatus(records + at);
      if (record.UserNo == kIdleUser) continue;
      status->node = static_cast<int32_t>(node);
      status->UserNo = record.UserNo;
      status->Mode = record.Mode;
      return kNodeBusy;
    }
    if (got < wanted) {
      status->fault = kNodesReadShort;
      return kNodesUnknown;
    }
  }
  return kNodesIdle;
}

}  // namespace

NodeState ReadNodeStatus(const char* work_dir, NodeStatus* status) {
  *status = NodeStatus{};
  const auto fails = [status](NodeFault fault) {
    status->fault = fault;
    return kNodesUnknown;
  };
  const char* const path = status->path.text;
  if (FormatNodesPath(work_dir, &status->path) != 0) return fails(kNodesPathTooLong);
  OsFile file;
  if (OsOpen(path, kOsRead, &file) != kOsOk) return fails(kNodesNotOpened);
  const int64_t size = OsSize(file);
  if (size < 0) return fails(kNodesNotSized);
  if (size < 1 || size % kRecordSize != 0 || size / kRecordSize > INT32_MAX) return fails(kNodesBadSize);
  status->count = static_cast<int32_t>(size / kRecordSize);
  const NodeState state = FindBusyNode(file, status);
  if (state != kNodesIdle) return state;
  return OsClose(&file) == 0 ? kNodesIdle : fails(kNodesNotClosed);
}

void ReportNodeFault(const NodeStatus& status) {
  const char* const path = status.path.text;
  switch (status.fault) {
    case kNodesRead:
    case kNodesNotClosed: return;
    case kNodesPathTooLong: LogLine("ERROR: WORKDIR path is too long to locate CVWHOSON.DAT"); return;
    case kNodesNotOpened: LogLine("ERROR: could not open %s to verify that all Corvane nodes are free", path); return;
    case kNodesNotSized: LogLine("ERROR: could not seek %s", path); return;
    case kNodesBadSize: LogLine("ERROR: %s has an invalid size or could not be read", path); return;
    case kNodesReadShort: LogLine("ERROR: short read while checking %s", path); return;
  }
}

bool WaitForIdleNodes(const char* work_dir, RunLock* lock) {
  for (int elapsed = 0;; elapsed += kRecheckSeconds) {
    NodeStatus status;
    const NodeState state = ReadNodeStatus(work_dir, &status);
    if (state == kNodesIdle) {
      LogLine("Node check: %d node record(s), all idle", status.count);
      return true;
    }
    if (state == kNodesUnknown) {
      ReportNodeFault(status);
      LogLine("Aborting: unable to verify that Corvane nodes are free");
      return false;
    }
    // Shown as a signed number, 65534 as -2, for the line has always been like that.
    const int user = static_cast<int16_t>(status.UserNo);
    if (elapsed >= kLongestWaitSeconds) {
      LogLine("Aborting: node %d remained in use by UserNo %d (Mode=0x%02X) for %d minutes", status.node, user,
              static_cast<unsigned int>(status.Mode), kLongestWaitSeconds / 60);
      return false;
    }
    LogLine("Node %d is in use by UserNo %d (Mode=0x%02X) -- waiting 10 seconds and rechecking CVWHOSON.DAT...",
            status.node, user, static_cast<unsigned int>(status.Mode));
    OsSleep(kRecheckSeconds * 1000);
    if (!RenewRunLock(lock)) return false;
  }
}
