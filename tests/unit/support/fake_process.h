// The process as the program sees itself: where its file lies, its id, and what a break would remove.
#pragma once

#include <cstdint>
#include <string>

#include "platform/os.h"

// While it lives, the program believes to lie at `program_path` (so that the run log goes beside it), and the break
// handler is only recorded.
class FakeProcess {
 public:
  explicit FakeProcess(const std::string& program_path);
  FakeProcess(const FakeProcess&) = delete;
  FakeProcess& operator=(const FakeProcess&) = delete;
  ~FakeProcess();

  std::string program_path;  // an empty one cannot be told
  uint32_t id = 4120;
  std::string break_file;      // empty: a break removes nothing
  std::string break_contents;  // what it has to hold to be removed
  int break_handlers = 0;      // how often the handler was installed

 private:
  OsTable before_;
};
