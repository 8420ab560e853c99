// The node status file: whether a node is busy, and which is the first.
#include "bbs/node_status.h"

#include "fuzz/model/records_model.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string content = Input(data, size).TakeRest();
  system.files["work/CVWHOSON.DAT"] = content;
  NodeStatus status;
  const NodeState state = ReadNodeStatus("work", &status);
  if (content.empty() || size % 6 != 0) {
    MustEqual(state, kNodesUnknown, "the file holds whole records, and one at least");
    return 0;
  }
  size_t busy = 0;
  while (busy < size && WordAt(content, busy) == 65535) busy += 6;
  MustEqual(status.count, static_cast<long long>(size / 6), "each record is a node");
  MustEqual(state, busy == size ? kNodesIdle : kNodeBusy, "the nodes are idle when each of them is");
  if (busy == size) return 0;
  MustEqual(status.node, static_cast<long long>(busy / 6 + 1), "the first busy node is named");
  MustEqual(status.UserNo, WordAt(content, busy), "its user is named");
  MustEqual(status.Mode, static_cast<unsigned char>(content[busy + 2]), "its mode is named");
  return 0;
}
