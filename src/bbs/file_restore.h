// Taking back what was appended to a file.
#pragma once

#include <cstdint>

// Gives the file at `path` back the length it had, in bytes, or removes it when it did not exist before, and then looks
// whether that holds. Returns 0 when it does, else -1.
int RestoreFileSize(const char* path, bool existed, int32_t size);
