// Opening a directory that a neighbour may have put there, on POSIX systems.
#pragma once

#include "platform/os.h"

// OsOpenDirectory.
OsResult PosixOpenDirectory(const char* path, OsTrust trust, intptr_t* handle);
