// What the program is told of its own process: the path of its file, its id; and what a break would remove.
#pragma once

#include <cstdint>
#include <string>

#include "platform/os.h"

// While it exists, the program's path is `program_path`, in whose directory the run log is written, and installing the
// break handler is only recorded.
class FakeProcess {
 public:
  explicit FakeProcess(const std::string& program_path);
  FakeProcess(const FakeProcess&) = delete;
  FakeProcess& operator=(const FakeProcess&) = delete;
  ~FakeProcess();

  std::string program_path;  // empty: unknown
  uint32_t id = 4120;
  std::string break_file;      // empty: a break removes nothing
  std::string break_contents;  // what it has to hold to be removed
  int break_handlers = 0;      // how often the handler was installed

 private:
  OsTable before_;
};
