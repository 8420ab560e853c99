// Waiting for the disk, on Windows.
#pragma once

#include "platform/os.h"

// As OsSyncFiles and OsSyncFile.
int WindowsSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count);
int WindowsSyncFile(intptr_t handle);
