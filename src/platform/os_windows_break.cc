#include "platform/os_windows_break.h"

#include <windows.h>

#include <atomic>
#include <cstring>

#include "platform/os.h"

namespace {

// The system calls the handler on a thread of its own; `break_file_set` is set only while the text is complete.
char break_file[1024];
char break_contents[kOsBreakContents + 1];
std::atomic<bool> break_file_set = false;

BOOL WINAPI HandleEvent(DWORD event) {
  (void)WindowsBreak(event);
  return FALSE;  // the next handler is called, by default the one that ends the process
}

bool EndsTheProcess(DWORD event) {
  switch (event) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
    case CTRL_CLOSE_EVENT:
    case CTRL_LOGOFF_EVENT:
    case CTRL_SHUTDOWN_EVENT: return true;
    default: return false;
  }
}

// Whether the break file has the contents that were set: it may be another run's lock by now. A file that cannot be
// read is not removed either.
bool HoldsBreakContents() {
  const HANDLE file = CreateFileA(break_file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  char found[sizeof break_contents];
  DWORD got = 0;
  const bool read = ReadFile(file, found, sizeof found, &got, nullptr) != 0;
  (void)CloseHandle(file);
  const size_t size = strlen(break_contents);
  return read && got == size && memcmp(found, break_contents, size) == 0;
}

// Another run that reads the lock may have it open for a moment; the system allows the handler several seconds.
void RemovePatiently(const char* path) {
  for (int tries = 0; tries < 10 && DeleteFileA(path) == 0 && GetLastError() == ERROR_SHARING_VIOLATION; ++tries) {
    Sleep(20);
  }
}

}  // namespace

void WindowsInstallBreakHandler() { (void)SetConsoleCtrlHandler(HandleEvent, TRUE); }

void WindowsSetBreakFile(const char* path, const char* contents) {
  break_file_set = false;
  const size_t length = strlen(path);
  if (length == 0 || length >= sizeof break_file) return;
  memcpy(break_file, path, length + 1);
  const size_t size = strnlen(contents, kOsBreakContents);
  memcpy(break_contents, contents, size);
  break_contents[size] = '\0';
  break_file_set = true;
}

bool WindowsBreak(unsigned long event) {
  if (!EndsTheProcess(event)) return false;
  if (break_file_set && HoldsBreakContents()) RemovePatiently(break_file);
  return true;
}
