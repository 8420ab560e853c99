#include "platform/os_posix_sync.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/os_posix_call.h"
#include "platform/os_posix_place.h"

namespace {

// Up to this many files are synced one by one, at 0.03 to 0.2 ms each. More are synced by one call for their whole file
// system, which is cheaper when no other program writes, but also waits for what other programs have written.
constexpr size_t kMostOneByOne = 16;

int OpenDirectoryAt(const OsPlace& directory, int flags) {
  const bool is_open = directory.directory != kOsNone;
  const int at = is_open ? static_cast<int>(directory.directory) : AT_FDCWD;
  const NativePath path(is_open ? "." : directory.path);
  return Uninterrupted([&] { return openat(at, path.text, flags | O_DIRECTORY | O_CLOEXEC); });
}

int OpenItem(int directory, const OsSyncItem& item) {
  return PosixOpenPatiently(PosixPlace(OsPlace(item.name, directory)), O_RDONLY, 0);
}

int SyncDescriptor(int descriptor) {
  return Uninterrupted([&] { return fdatasync(descriptor); });
}

int SyncDirectoryDescriptor(int descriptor) {
  const int result = Uninterrupted([&] { return fsync(descriptor); });
  return result == 0 || errno == EINVAL || errno == EOPNOTSUPP || errno == ENOSYS ? 0 : -1;
}

// Only a hint, whose failure is ignored: the sync of the file reports it.
void StartWriting(int directory, const OsSyncItem& item) {
  const int descriptor = OpenItem(directory, item);
  if (descriptor < 0) return;
  (void)sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
  (void)close(descriptor);
}

int SyncItem(int directory, const OsSyncItem& item) {
  const int descriptor = OpenItem(directory, item);
  if (descriptor < 0) return errno == ENOENT ? 0 : -1;
  const int result = SyncDescriptor(descriptor);
  (void)close(descriptor);
  return result;
}

int SyncItems(int directory, const OsSyncItem* items, size_t count, bool last) {
  for (size_t i = 0; i < count; ++i) {
    if (items[i].last == last && SyncItem(directory, items[i]) != 0) return -1;
  }
  return 0;
}

// `readable` is a second descriptor of the directory, or -1 when it may not be read: its names cannot be synced then.
int SyncOneByOne(int directory, int readable, const OsSyncItem* items, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (!items[i].last) StartWriting(directory, items[i]);
  }
  if (SyncItems(directory, items, count, false) != 0) return -1;
  if (readable >= 0 && SyncDirectoryDescriptor(readable) != 0) return -1;
  return SyncItems(directory, items, count, true);
}

// A file may be a link to another file system, which the one call does not reach.
int SyncFileSystem(int directory, int readable, const OsSyncItem* items, size_t count) {
  struct stat here = {};
  if (syncfs(readable) != 0 || fstat(readable, &here) != 0) return -1;
  for (size_t i = 0; i < count; ++i) {
    struct stat found = {};
    if (fstatat(directory, items[i].name, &found, 0) != 0) {
      if (errno != ENOENT) return -1;
    } else if (found.st_dev != here.st_dev && SyncItem(directory, items[i]) != 0) {
      return -1;
    }
  }
  return 0;
}

}  // namespace

int PosixSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count) {
  const int within = OpenDirectoryAt(directory, O_PATH);
  if (within < 0) return -1;
  const int readable = OpenDirectoryAt({"", within}, O_RDONLY);
  const int result = count > kMostOneByOne && readable >= 0 ? SyncFileSystem(within, readable, items, count)
                                                            : SyncOneByOne(within, readable, items, count);
  if (readable >= 0) (void)close(readable);
  (void)close(within);
  return result;
}

int PosixSyncFile(intptr_t handle) { return SyncDescriptor(static_cast<int>(handle)); }

int PosixSyncDirectory(const OsPlace& directory) {
  const int descriptor = OpenDirectoryAt(directory, O_RDONLY);
  if (descriptor < 0) return errno == EACCES ? 0 : -1;
  const int result = SyncDirectoryDescriptor(descriptor);
  (void)close(descriptor);
  return result;
}

int PosixSyncDirectoryOf(const OsPlace& file) {
  if (file.directory != kOsNone) return PosixSyncDirectory({"", file.directory});
  NativePath path(file.path);
  path.CutToDirectory();
  return PosixSyncDirectory(path.text);
}
