// What a file was before something is appended to it, and taking the append back.
#pragma once

#include <cstdint>

#include "platform/os.h"

// Looks whether a file exists and how long it is, in bytes; an absent one counts as existing = false, size 0. Returns
// 0, or -1 when that cannot be told or the size is beyond 31 bits.
int InspectFileSize(const OsPlace& file, bool* existed, int32_t* size);

// Gives `file` back the length it had, in bytes, or removes it when it did not exist before, and then looks
// whether that holds. Returns 0 when it does, else -1.
int RestoreFileSize(const OsPlace& file, bool existed, int32_t size);
