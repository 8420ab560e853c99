// The outbound bundle: a ZIP file with the packet as its one stored entry.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_buffer.h"

constexpr size_t kBundleNameSize = 64;

// Chooses a name that does not exist in `out_dir`: the time in hexadecimal, the day of the week and a sequence
// character, 0-9 and a-z. When all are taken it is the name with 9, with which publishing then fails.
void ChooseBundleName(const char* out_dir, char (&name)[kBundleNameSize]);

// Writes the bundle to `path`. Returns 0, or -1; no file is left then.
int WriteBundle(const char* path, const char* entry_name, const ByteBuffer& packet);
