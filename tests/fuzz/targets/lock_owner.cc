// The owner line of a lock file that another run left.
#include "app/run_lock.h"
#include "fuzz/model/plain_text.h"
#include "fuzz/support/input.h"
#include "fuzz/support/memory_files.h"
#include "fuzz/support/rule.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  MemoryFiles system;
  const std::string content = Input(data, size).TakeRest();
  system.files["msg/CVTOSS.BSY"] = content;
  const std::vector<std::string> lines = ReadLines(content, 192);
  const std::string expected = lines.empty() ? "" : TrimmedEnd(lines[0], "\r\n");
  char owner[192];
  ReadLockOwner("msg/CVTOSS.BSY", owner);
  MustEqual(owner, expected, "the owner is the first line, cut to its buffer");

  RunLock lock;
  Must(!AcquireRunLock("msg", "-scan", &lock), "a fresh lock keeps everybody else away");
  MustEqual(system.Content("msg/CVTOSS.BSY"), content, "a fresh lock is left as it is");
  MustEqual(static_cast<long long>(system.log.size()), expected.empty() ? 0 : 1, "an owner is one line");
  if (!expected.empty()) MustEqual(system.log[0], "Lock owner: " + expected, "the owner is named");
  return 0;
}
