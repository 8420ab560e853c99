// Moving a file without ever replacing one, on POSIX systems.
#pragma once

#include "platform/os.h"

// Moves `from` to `to`. Where the file system cannot rename without replacing, a second link takes its place; onto
// another file system the file is copied. Returns kOsOk, kOsExists or kOsFailed (`from` is still there and `to` is as
// it was).
OsResult PosixRenameWithoutReplacing(const char* from, const char* to);
