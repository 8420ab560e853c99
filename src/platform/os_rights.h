// What this process's user may do, and which disk a directory is on: asked by cvkit alone. Nothing is changed.
#pragma once

#include "platform/os.h"

// Whether this process may write to the file, or make and remove any file in the directory. True when it cannot be
// told, and for what is not there.
bool OsMayWrite(const char* path);

// Whether two directories are on one file system, so that a file can be moved from one to the other at once.
OsSameness OsSameVolume(const char* left, const char* right);
