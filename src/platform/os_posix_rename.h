// Moving a file without ever replacing one, on POSIX systems.
#pragma once

#include "platform/os.h"

// Moves `from` to `to`, with `only` no other than that file or a link to it. Where the file system cannot rename
// without replacing, a second link takes its place, and where it has no links a look before the rename; onto another
// file system the file is copied. Returns kOsOk, kOsExists or kOsFailed (`from` is still there, or what has taken its
// name, and `to` is as it was).
OsResult PosixRenameWithoutReplacing(const OsPlace& from, const OsPlace& to, const OsIdentity* only);

// The other ways on their own, with the same result.
OsResult PosixMoveByLink(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
OsResult PosixMoveByLooking(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
OsResult PosixMoveByCopy(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
