// Moving a file without ever replacing one, on POSIX systems.
#pragma once

#include "platform/os.h"

// Moves `from` to `to`; with `only`, nothing but that file or a link to it. Where the file system cannot rename without
// replacing, the file is linked to its new name; where it has no links either, the new name is looked for before the
// rename; onto another file system the file is copied. Returns kOsOk, kOsExists or kOsFailed (`from` is still there, or
// is another file that took its name, and `to` is unchanged).
OsResult PosixRenameWithoutReplacing(const OsPlace& from, const OsPlace& to, const OsIdentity* only);

// Each of these three ways by itself, with the same results.
OsResult PosixMoveByLink(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
OsResult PosixMoveByLooking(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
OsResult PosixMoveByCopy(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
