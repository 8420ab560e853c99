// Opening a directory whose name another user may have made a link, on POSIX systems.
#pragma once

#include "platform/os.h"

// OsOpenDirectory.
OsResult PosixOpenDirectory(const char* path, OsTrust trust, intptr_t* handle);
