// The node status file, which says whether a user is on the BBS.
//
// CVWHOSON.DAT (format: the Corvane BBS) is a flat array of 6-byte records, node 1 first. The BBS may change it at any
// moment: it is opened for each reading and never kept open.
#pragma once

#include <cstdint>

#include "app/run_lock.h"
#include "base/path.h"

enum NodeFault {
  kNodesRead,
  kNodesPathTooLong,
  kNodesNotOpened,
  kNodesNotSized,
  kNodesBadSize,  // empty, or not whole records
  kNodesReadShort,
  kNodesNotClosed,
};

struct NodeStatus {
  int32_t count = 0;        // how many nodes there are
  int32_t node = 0;         // the first busy node, from 1; 0 for none
  uint16_t UserNo = 65535;  // who is on it
  uint8_t Mode = 0;         // what that user does, only reported
  NodeFault fault = kNodesRead;
  Path path;  // of the file
};

enum NodeState { kNodesIdle, kNodeBusy, kNodesUnknown };

// Reads the file in `work_dir` once; nothing is logged. When the state is unknown the fault says why.
NodeState ReadNodeStatus(const char* work_dir, NodeStatus* status);

// Logs why the state is unknown; a failed close is not logged.
void ReportNodeFault(const NodeStatus& status);

// Waits up to five minutes until all nodes are idle, and renews the lock after each pause. Returns whether the run may
// go on; if not, the reason has been logged.
bool WaitForIdleNodes(const char* work_dir, RunLock* lock);
