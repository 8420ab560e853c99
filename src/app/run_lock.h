// The run lock: CVTOSS.BSY in MSGDIR keeps a second toss or scan away.
//
// States: not held -> held (AcquireRunLock) -> not held (ReleaseRunLock, the break handler), or lost: 30 minutes
// without a new modification time, and any other run may clear it. What makes it safe:
// 1. Only exclusive creation takes the lock; nothing replaces or renames a lock file.
// 2. The break handler learns the path only after the owner line is complete, and forgets it right after the file is
//    gone: until then a break must still find it.
// 3. A stale lock is removed only while it is still the file whose age was read: of several runs that find it, none can
//    remove the fresh lock that the first of them has put in its place. The creation after it is exclusive again.
// 4. A run at work gives its lock a new modification time often enough that it never looks stale, and stops when it
//    finds another's lock in its place or has not looked for so long that another may have come and gone.
// 5. A lock is known by its owner line (file systems use inode numbers again), and only one's own is ever removed.
#pragma once

#include <cstdint>

#include "base/path.h"

constexpr int kStaleLockSeconds = 1800;
constexpr int kLockLookSeconds = 30;      // a run at work looks at its lock this often
constexpr int kLockUnseenSeconds = 1500;  // after so long without a look the lock counts as lost

enum LockState {
  kLockNotHeld,
  kLockHeld,
  kLockRefused,  // another run holds it, or it could not be created
  kLockLost,     // it was held, and may be another's now
};

// One run's lock. It belongs to the run from AcquireRunLock to ReleaseRunLock.
struct RunLock {
  LockState state = kLockNotHeld;
  Path path;
  const char* mode = "";  // "-toss" or "-scan"
  char owner[160] = {};   // the line that this run has written into it
  int64_t looked = 0;     // when, in seconds of OsUptime
};

// Takes the lock for `mode`, "-toss" or "-scan". Returns whether it is held; if not, the reason has been logged where
// there is more to say than that the lock exists.
bool AcquireRunLock(const char* msg_dir, const char* mode, RunLock* lock);

// For a run that waits and has not touched anything yet: gives its own lock a new modification time. One that is gone
// is taken anew, and another's is treated as AcquireRunLock treats it. Returns whether the lock is held; if not, the
// reason has been logged as there.
bool RenewRunLock(RunLock* lock);

// For a run at work, to be called often: looks at the lock when the last look is kLockLookSeconds ago. Its own gets a
// new modification time, and one that is gone is taken anew. Returns false when the lock is lost (logged once). A lock
// that was never asked for cannot be lost.
bool KeepRunLock(RunLock* lock);

// Removes the lock if it was held and is still this run's own, lost or not. A failure is logged as a warning, and a
// later break still tries to remove it.
void ReleaseRunLock(RunLock* lock);

// Copies the first line of the lock file, without its line end and at most 191 characters; empty when the file cannot
// be read.
void ReadLockOwner(const char* lock_path, char (&owner)[192]);
