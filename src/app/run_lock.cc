#include "app/run_lock.h"

#include <cstdio>
#include <cstring>

#include "app/run_log.h"
#include "app/version.h"
#include "base/fixed_text.h"
#include "base/text_file.h"
#include "platform/os.h"

namespace {

// The path that the break handler removes; empty when no lock is held.
Path registered_lock;

enum LockState { kFresh, kStale, kUnknown };

struct LockAge {
  LockState state = kUnknown;
  double seconds = 0;
  int64_t modified = 0;
};

LockAge Examine(const char* path) {
  LockAge age;
  OsStatus status;
  if (OsStat(path, &status) != kOsOk) return age;
  age.seconds = static_cast<double>(OsNow() - status.modified);
  age.modified = status.modified;
  age.state = age.seconds < kStaleLockSeconds ? kFresh : kStale;
  return age;
}

// Returns kOsFailed only when the stale file is still there. One that another run has replaced meanwhile is left alone.
OsResult ClearStale(const char* path, const LockAge& age) {
  LogLine("Found a stale lock file (%.0f minutes old) -- clearing it", age.seconds / 60);
  return OsRemoveUnchanged(path, age.modified);
}

int ReportOwner(const char* path) {
  char owner[192];
  ReadLockOwner(path, owner);
  if (owner[0] != '\0') LogLine("Lock owner: %s", owner);
  return 0;
}

// Returns kOsOk, kOsExists, or kOsFailed after logging why.
OsResult CreateLock(const char* path, OsFile* file) {
  int error = 0;
  const OsResult result = OsOpen(path, kOsCreateLock, file, &error);
  if (result == kOsOk || result == kOsExists) return result;
  LogLine("ERROR: could not create lock %s: errno=%d", path, error);
  return kOsFailed;
}

// Writes the owner line into the lock just created and registers it. Returns 1, or 0 with the file removed again.
int Complete(const Path& path, const char* mode, OsFile* file) {
  char line[160];
  const int length =
      snprintf(line, sizeof line, "cvtoss32 %s %s mode=%s pid=%lu started=%ld\n", kVersion, kReleaseLabel, mode,
               static_cast<unsigned long>(OsProcessId()), static_cast<long>(OsNow()));
  const bool fits = length > 0 && static_cast<size_t>(length) < sizeof line;
  const bool written = fits && OsWriteOnce(*file, line, static_cast<size_t>(length)) == length;
  const bool closed = OsClose(file) == 0;
  if (!written || !closed) {
    (void)OsRemove(path.text);
    return 0;
  }
  registered_lock = path;
  OsSetBreakFile(path.text);
  return 1;
}

}  // namespace

int AcquireRunLock(const char* msg_dir, const char* mode, Path* lock_path) {
  if (FormatPath(lock_path->text, sizeof lock_path->text, "%s/CVTOSS.BSY", msg_dir) != 0) {
    LogLine("ERROR: MSGDIR path is too long to create CVTOSS.BSY");
    return 0;
  }
  const char* path = lock_path->text;
  OsFile file;
  OsResult created = CreateLock(path, &file);
  if (created == kOsOk) return Complete(*lock_path, mode, &file);
  if (created == kOsFailed) return 0;

  LockAge age = Examine(path);
  if (age.state == kFresh) return ReportOwner(path);
  if (age.state == kStale && ClearStale(path, age) == kOsFailed) return 0;

  created = CreateLock(path, &file);
  if (created == kOsOk) return Complete(*lock_path, mode, &file);
  if (created == kOsFailed) return 0;
  age = Examine(path);
  if (age.state == kFresh) return ReportOwner(path);
  if (age.state == kStale) (void)ClearStale(path, age);
  return 0;
}

void ReleaseRunLock(const Path& lock_path) {
  if (lock_path.text[0] != '\0') {
    const OsResult removed = OsRemove(lock_path.text);
    if (removed != kOsOk && removed != kOsMissing) {
      LogLine("WARNING: could not remove lock file %s", lock_path.text);
      return;
    }
  }
  if (strcmp(registered_lock.text, lock_path.text) != 0) return;
  registered_lock.text[0] = '\0';
  OsSetBreakFile("");
}

void ReadLockOwner(const char* lock_path, char (&owner)[192]) {
  owner[0] = '\0';
  TextFile file;
  if (OpenTextFile(lock_path, kEndsWithFile, &file) != 0 || !ReadTextLine(&file, owner, sizeof owner)) return;
  TrimLineEnd(owner);
}
