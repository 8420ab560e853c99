// The run lock: CVTOSS.BSY in MSGDIR keeps a second toss or scan away.
//
// States: not held -> held (AcquireRunLock) -> not held (ReleaseRunLock, the break handler, or the age of 30 minutes,
// whether or not its run is still at work). What makes it safe:
// 1. Only exclusive creation takes the lock; nothing replaces or renames a lock file.
// 2. The break handler learns the path only after the owner line is complete, and forgets it right after the file is
//    gone: until then a break must still find it.
// 3. A stale lock is removed only while it is still the file whose age was read: of several runs that find it, none can
//    remove the fresh lock that the first of them has put in its place. The creation after it is exclusive again.
#pragma once

#include "base/path.h"

constexpr int kStaleLockSeconds = 1800;

// Takes the lock for `mode` ("-toss" or "-scan"); `lock_path` receives its path and belongs to the caller for the run.
// Returns 1 when the lock is held, else 0 (the reason has been logged where there is more to say than that the lock
// exists).
int AcquireRunLock(const char* msg_dir, const char* mode, Path* lock_path);

// Removes the lock. A failure is logged as a warning, and a later break still tries to remove it.
void ReleaseRunLock(const Path& lock_path);

// Copies the first line of the lock file, without its line end and at most 191 characters; empty when the file cannot
// be read.
void ReadLockOwner(const char* lock_path, char (&owner)[192]);
