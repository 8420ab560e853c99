// Moving a file without ever replacing one, on POSIX systems.
#pragma once

#include "platform/os.h"

// Moves `from` to `to`. Where the file system cannot rename without replacing, a second link takes its place; onto
// another file system the file is copied. Returns kOsOk, kOsExists or kOsFailed (`from` is still there and `to` is as
// it was).
OsResult PosixRenameWithoutReplacing(const char* from, const char* to);

// The two ways out on their own, with the same result: by a second link to the file, which becomes a copy where the
// file system has no links, and by a copy.
OsResult PosixMoveByLink(const char* from, const char* to);
OsResult PosixMoveByCopy(const char* from, const char* to);
