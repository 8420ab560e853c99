// Reading and writing a file as a whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>

#include "base/byte_buffer.h"
#include "platform/os.h"

// Reads the whole file at `place` into `content`, whose memory is reused if there is enough of it. Returns 0, or -1
// when the file cannot be opened, measured, held in memory, read to its length or closed (the content is then empty).
// A file of more than `limit` bytes is refused before memory is allocated. `identity`, when given, receives the
// identity of the file just opened.
int ReadWholeFile(const OsPlace& place, ByteBuffer* content, int64_t limit = std::numeric_limits<int64_t>::max(),
                  OsIdentity* identity = nullptr);

struct FilePart {
  const void* bytes;
  size_t size;
};

enum DiskWait { kDoNotWait, kWaitForDisk };

// Creates or empties the file at `place`, writes the parts one after another, with kWaitForDisk waits until they are on
// the disk, and closes it. Returns 0, or -1 when any step failed; then there is no file at `place`, not even an earlier
// one.
int WriteWholeFile(const OsPlace& place, std::initializer_list<FilePart> parts, DiskWait wait = kDoNotWait);
