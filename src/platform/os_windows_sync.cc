#include "platform/os_windows_sync.h"

#include <io.h>
#include <windows.h>

#include <cstdio>
#include <initializer_list>

#include "platform/os_windows_patience.h"

namespace {

int SyncItem(const OsPlace& directory, const OsSyncItem& item) {
  char path[1024];
  const int length = snprintf(path, sizeof path, "%s/%s", directory.path, item.name);
  if (length < 0 || static_cast<size_t>(length) >= sizeof path) return -1;
  HANDLE file = INVALID_HANDLE_VALUE;
  const bool opened = AskPatiently([&] {
    file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, 0, nullptr);
    return file != INVALID_HANDLE_VALUE;
  });
  if (!opened) {
    if (GetLastError() == ERROR_FILE_NOT_FOUND) return 0;
    // A file that may not be written holds nothing that this run has written.
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? 0 : -1;
  }
  const int result = FlushFileBuffers(file) != 0 ? 0 : -1;
  (void)CloseHandle(file);
  return result;
}

}  // namespace

// Syncing a file syncs its name too.
int WindowsSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count) {
  for (const bool last : {false, true}) {
    for (size_t i = 0; i < count; ++i) {
      if (items[i].last == last && SyncItem(directory, items[i]) != 0) return -1;
    }
  }
  return 0;
}

int WindowsSyncFile(intptr_t handle) { return _commit(static_cast<int>(handle)); }
