// The run lock: the file CVTOSS.BSY in MSGDIR keeps a second toss or scan from starting.
//
// States: not held -> held (AcquireRunLock) -> not held (ReleaseRunLock, the break handler), or lost: after 30 minutes
// without a new modification time any other run may clear it. What makes it safe:
// 1. The lock is taken by exclusive creation only; nothing replaces or renames a lock file.
// 2. The break handler is given the path only after the owner line is complete, and the path is withdrawn only after
//    the file has been removed: until then a break must still remove it.
// 3. A stale lock is removed only while it is still the file whose age was read: if several runs find it, none removes
//    the new lock that the first of them has created. The creation that follows is exclusive again.
// 4. A run at work updates the modification time of its lock so often that the lock never looks stale. It stops when it
//    finds another run's lock, or when it has not checked for so long that another run may have started and ended.
// 5. A lock is recognised by its owner line (file systems reuse inode numbers), and a run removes only its own.
#pragma once

#include <cstdint>

#include "base/path.h"

constexpr int kStaleLockSeconds = 1800;
constexpr int kLockLookSeconds = 30;      // a run at work checks its lock this often
constexpr int kLockUnseenSeconds = 1500;  // after so long without a check the lock counts as lost

enum LockState {
  kLockNotHeld,
  kLockHeld,
  kLockRefused,  // another run holds it, or it could not be created
  kLockLost,     // it was held, and another run may hold it now
};

// The lock of one run, from AcquireRunLock to ReleaseRunLock.
struct RunLock {
  LockState state = kLockNotHeld;
  Path path;
  const char* mode = "";  // "-toss" or "-scan"
  char owner[160] = {};   // the line that this run has written into it
  int64_t looked = 0;     // time of the last check, in seconds of OsUptime
};

// Takes the lock for `mode`, "-toss" or "-scan". Returns whether it is held. If not, the reason has been logged, unless
// it is only that the lock exists.
bool AcquireRunLock(const char* msg_dir, const char* mode, RunLock* lock);

// For a run that waits and has changed nothing yet: updates the modification time of its own lock, takes a lock that
// has disappeared again, and treats another run's as AcquireRunLock does. Returns whether the lock is held; if not, the
// reason has been logged as by AcquireRunLock.
bool RenewRunLock(RunLock* lock);

// For a run at work, to be called often: checks the lock when the last check is kLockLookSeconds ago. Updates the
// modification time of its own lock, and takes a lock that has disappeared again. Returns false when the lock is lost
// (logged once). A lock that was never taken cannot be lost.
bool KeepRunLock(RunLock* lock);

// Removes the lock if it was held and is still this run's own, even after it counted as lost. A failure is logged as a
// warning, and a later break still tries to remove the file.
void ReleaseRunLock(RunLock* lock);

// Copies the first line of the lock file, without its line end and at most 191 characters; empty when the file cannot
// be read.
void ReadLockOwner(const char* lock_path, char (&owner)[192]);
