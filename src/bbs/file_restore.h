// What a file was before something is appended to it, and taking the append back.
#pragma once

#include <cstdint>

#include "platform/os.h"

// Whether a file is there, and how long it is in bytes; 0 when it is not.
struct FileExtent {
  bool exists = false;
  int32_t size = 0;
};

// Looks at a file. Returns 0, or -1 when that cannot be told or the size is beyond 31 bits (the size is then 0).
int InspectFile(const OsPlace& file, FileExtent* extent);

// Gives `file` back the length it had, or removes it when it did not exist before, and then looks whether that holds.
// Returns 0 when it does, else -1.
int RestoreFile(const OsPlace& file, const FileExtent& before);
