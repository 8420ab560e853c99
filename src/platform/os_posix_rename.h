// Moving a file without ever replacing one, on POSIX systems.
#pragma once

#include "platform/os.h"

// Moves `from` to `to`. Where the file system cannot rename without replacing, a second link takes its place, and where
// it has no links a look before the rename; onto another file system the file is copied. Returns kOsOk, kOsExists or
// kOsFailed (`from` is still there and `to` is as it was).
OsResult PosixRenameWithoutReplacing(const OsPlace& from, const OsPlace& to);

// The other ways on their own, with the same result.
OsResult PosixMoveByLink(const OsPlace& from, const OsPlace& to);
OsResult PosixMoveByLooking(const OsPlace& from, const OsPlace& to);
OsResult PosixMoveByCopy(const OsPlace& from, const OsPlace& to);
