// The node status file: is anybody on the BBS?
//
// CVWHOSON.DAT (format: the Corvane BBS) is a flat array of 6-byte records, node 1 first. The BBS changes it at any
// moment: it is opened afresh for each reading and never held open.
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
  uint8_t Mode = 0;         // what they do, only reported
  NodeFault fault = kNodesRead;
  Path path;  // of the file
};

enum NodeState { kNodesIdle, kNodeBusy, kNodesUnknown };

// Reads the file in `work_dir` once; nothing is logged. When the state could not be told the fault says why.
NodeState ReadNodeStatus(const char* work_dir, NodeStatus* status);

// Logs why the state could not be told; of a failed close nothing is said.
void ReportNodeFault(const NodeStatus& status);

// Waits up to five minutes until all nodes are idle, and renews the lock after each pause. Returns whether it is safe
// to go on; if not, the reason has been logged.
bool WaitForIdleNodes(const char* work_dir, RunLock* lock);
