#include "unit/support/fake_process.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

FakeProcess* current = nullptr;

uint32_t ProcessId() { return current->id; }

// As the systems do: a path that does not fit fills the buffer and is not terminated.
size_t ProgramPath(char* path, size_t size) {
  const size_t length = std::min(current->program_path.size(), size);
  memcpy(path, current->program_path.data(), length);
  if (length < size) path[length] = '\0';
  return length;
}

void InstallBreakHandler() { ++current->break_handlers; }

void SetBreakFile(const char* path, const char* contents) {
  current->break_file = path;
  current->break_contents = contents;
}

}  // namespace

FakeProcess::FakeProcess(const std::string& path) : program_path(path), before_(OsInForce()) {
  if (current != nullptr) abort();  // there is one process
  current = this;
  OsTable& table = OsInForce();
  table.ProcessId = ProcessId;
  table.ProgramPath = ProgramPath;
  table.InstallBreakHandler = InstallBreakHandler;
  table.SetBreakFile = SetBreakFile;
}

FakeProcess::~FakeProcess() {
  OsTable& table = OsInForce();
  table.ProcessId = before_.ProcessId;
  table.ProgramPath = before_.ProgramPath;
  table.InstallBreakHandler = before_.InstallBreakHandler;
  table.SetBreakFile = before_.SetBreakFile;
  current = nullptr;
}
