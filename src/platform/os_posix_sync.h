// Waiting for the disk, on POSIX systems.
#pragma once

#include "platform/os.h"

// As OsSyncFiles, OsSyncFile and OsSyncDirectory.
int PosixSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count);
int PosixSyncFile(intptr_t handle);
int PosixSyncDirectory(const OsPlace& directory);

// As PosixSyncDirectory, for the directory in which the file at that place is.
int PosixSyncDirectoryOf(const OsPlace& file);
