#include "app/run_lock.h"

#include <cstdio>
#include <cstring>

#include "app/run_log.h"
#include "app/site_paths.h"
#include "app/version.h"
#include "base/fixed_text.h"
#include "base/text_file.h"
#include "platform/os.h"

namespace {

enum LockAge { kFresh, kStale, kUnknown };

struct FoundLock {
  LockAge age = kUnknown;
  double seconds = 0;
  int64_t modified = 0;
};

FoundLock Examine(const char* path) {
  FoundLock found;
  OsStatus status;
  if (OsStat(path, &status) != kOsOk) return found;
  found.seconds = static_cast<double>(OsNow() - status.modified);
  found.modified = status.modified;
  found.age = found.seconds < kStaleLockSeconds ? kFresh : kStale;
  return found;
}

// Removes a stale lock. Returns kOsFailed only when the stale file is still there; a newer lock that another run has
// created since is left alone.
OsResult ClearStale(const char* path, const FoundLock& found) {
  LogLine("Found a stale lock file (%.0f minutes old) -- clearing it", found.seconds / 60);
  return OsRemoveUnchanged(path, found.modified);
}

void ReportOwner(const char* path) {
  char owner[192];
  ReadLockOwner(path, owner);
  if (owner[0] != '\0') LogLine("Lock owner: %s", owner);
}

// Returns kOsOk, kOsExists, or kOsFailed after logging why.
OsResult CreateLock(const char* path, OsFile* file) {
  int error = 0;
  const OsResult result = OsOpen(path, kOsCreateLock, file, &error);
  if (result == kOsOk || result == kOsExists) return result;
  LogLine("ERROR: could not create lock %s: errno=%d", path, error);
  return kOsFailed;
}

// Writes the owner line into the lock just created, in one call. Returns false with the file removed again.
bool WriteOwner(const RunLock& lock, OsFile* file) {
  const size_t size = strlen(lock.owner);
  const bool written = size != 0 && OsWriteOnce(*file, lock.owner, size) == static_cast<int64_t>(size);
  const bool closed = OsClose(file) == 0;
  if (written && closed) return true;
  (void)OsRemove(lock.path.text);
  return false;
}

// Completes and registers the lock just created. Returns whether it is held.
bool Complete(OsFile* file, RunLock* lock) {
  const int length =
      snprintf(lock->owner, sizeof lock->owner, "cvtoss32 %s %s mode=%s pid=%lu started=%ld\n", kVersion, kReleaseLabel,
               lock->mode, static_cast<unsigned long>(OsProcessId()), static_cast<long>(OsNow()));
  if (length < 0 || static_cast<size_t>(length) >= sizeof lock->owner) lock->owner[0] = '\0';
  if (!WriteOwner(*lock, file)) return false;
  OsSetBreakFile(lock->path.text, lock->owner);
  lock->state = kLockHeld;
  return true;
}

// Takes the lock at its path. Returns whether it is held.
bool TakeLock(RunLock* lock) {
  const char* const path = lock->path.text;
  lock->state = kLockRefused;
  lock->looked = OsUptime();
  OsFile file;
  OsResult created = CreateLock(path, &file);
  if (created == kOsExists) {
    const FoundLock found = Examine(path);
    if (found.age == kFresh) ReportOwner(path);
    if (found.age == kFresh || (found.age == kStale && ClearStale(path, found) == kOsFailed)) return false;
    created = CreateLock(path, &file);
  }
  if (created == kOsOk) return Complete(&file, lock);
  if (created == kOsFailed) return false;
  const FoundLock found = Examine(path);
  if (found.age == kFresh) ReportOwner(path);
  if (found.age == kStale) (void)ClearStale(path, found);
  return false;
}

enum LockSight { kOwnLock, kNoLock, kOthersLock, kUnseenLock };

// Reads the lock file and compares its owner line; with `touch` also updates the modification time of this run's own,
// if possible.
LockSight LookAtLock(const RunLock& lock, bool touch) {
  OsFile file;
  const OsResult opened = OsOpen(lock.path.text, touch ? kOsUpdate : kOsRead, &file);
  if (opened != kOsOk) return opened == kOsMissing ? kNoLock : kUnseenLock;
  char found[sizeof lock.owner];
  const OsReadResult got = OsReadAt(file, 0, found, sizeof found);
  if (got.failed) return kUnseenLock;
  const size_t size = strlen(lock.owner);
  if (got.bytes != size || memcmp(found, lock.owner, size) != 0) return kOthersLock;
  if (touch) (void)OsTouch(file);
  return kOwnLock;
}

// As LookAtLock, for a lock that has disappeared.
LockSight TakeAnew(const RunLock& lock) {
  OsFile file;
  const OsResult created = OsOpen(lock.path.text, kOsCreateLock, &file);
  if (created == kOsExists) return kOthersLock;
  return created == kOsOk && WriteOwner(lock, &file) ? kOwnLock : kUnseenLock;
}

bool IsOverdue(const RunLock& lock, int64_t now) { return now - lock.looked > kLockUnseenSeconds; }

// Returns false, for a caller's convenience.
bool Lose(RunLock* lock) {
  lock->state = kLockLost;
  LogLine("ERROR: lost the run lock %s; stopping", lock->path.text);
  return false;
}

}  // namespace

bool AcquireRunLock(const char* msg_dir, const char* mode, RunLock* lock) {
  lock->mode = mode;
  lock->state = kLockRefused;
  if (FormatLockPath(msg_dir, &lock->path) != 0) {
    LogLine("ERROR: MSGDIR path is too long to create CVTOSS.BSY");
    return false;
  }
  return TakeLock(lock);
}

bool RenewRunLock(RunLock* lock) {
  if (lock->state == kLockNotHeld) return true;
  const int64_t now = OsUptime();
  if (IsOverdue(*lock, now)) return Lose(lock);
  const LockSight sight = LookAtLock(*lock, true);
  if (sight == kUnseenLock) return true;
  if (sight == kOwnLock) {
    lock->looked = now;
    return true;
  }
  OsSetBreakFile("", "");
  return TakeLock(lock);
}

bool KeepRunLock(RunLock* lock) {
  if (lock->state != kLockHeld) return lock->state == kLockNotHeld;
  const int64_t now = OsUptime();
  if (now - lock->looked < kLockLookSeconds) return true;
  if (IsOverdue(*lock, now)) return Lose(lock);
  LockSight sight = LookAtLock(*lock, true);
  if (sight == kNoLock) sight = TakeAnew(*lock);
  if (sight == kOthersLock) return Lose(lock);
  if (sight == kOwnLock) lock->looked = now;
  return true;
}

void ReleaseRunLock(RunLock* lock) {
  if (lock->state != kLockHeld && lock->state != kLockLost) return;
  const LockSight sight = LookAtLock(*lock, false);
  const OsResult removed = sight == kOwnLock ? OsRemove(lock->path.text) : kOsMissing;
  if (sight == kUnseenLock || (removed != kOsOk && removed != kOsMissing)) {
    LogLine("WARNING: could not remove lock file %s", lock->path.text);
    return;
  }
  lock->state = kLockNotHeld;
  OsSetBreakFile("", "");
}

void ReadLockOwner(const char* lock_path, char (&owner)[192]) {
  owner[0] = '\0';
  TextFile file;
  if (OpenTextFile(lock_path, kEndsWithFile, &file) != 0 || !ReadTextLine(&file, owner, sizeof owner)) return;
  TrimLineEnd(owner);
}
