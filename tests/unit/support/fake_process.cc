#include "unit/support/fake_process.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

FakeProcess* current_process = nullptr;

uint32_t ProcessId() { return current_process->id; }

// As the systems do: a path that does not fit fills the buffer and is not terminated.
size_t ProgramPath(char* path, size_t size) {
  const size_t length = std::min(current_process->program_path.size(), size);
  memcpy(path, current_process->program_path.data(), length);
  if (length < size) path[length] = '\0';
  return length;
}

void InstallBreakHandler() { ++current_process->break_handlers; }

void SetBreakFile(const char* path, const char* contents) {
  current_process->break_file = path;
  current_process->break_contents = contents;
}

}  // namespace

FakeProcess::FakeProcess(const std::string& path) : program_path(path), before_(OsInForce()) {
  if (current_process != nullptr) abort();  // there is one process
  current_process = this;
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
  current_process = nullptr;
}
