// The size of a file before something is appended to it, and undoing the append.
#pragma once

#include <cstdint>

#include "platform/os.h"

// Whether a file exists, and its size in bytes; 0 when it does not.
struct FileExtent {
  bool exists = false;
  int32_t size = 0;
};

// Reads whether a file exists and its size. Returns 0, or -1 when that fails or the size is beyond 31 bits (the size is
// then 0).
int InspectFile(const OsPlace& file, FileExtent* extent);

// Cuts `file` back to the size it had, or removes it when it did not exist before, and then verifies that. Returns 0,
// or -1 when the file is not as it was.
int RestoreFile(const OsPlace& file, const FileExtent& before);
