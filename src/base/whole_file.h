// A file in one piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>

#include "base/byte_buffer.h"
#include "platform/os.h"

// Reads the whole file at `place` into `content`, whose memory is used again where it suffices. Returns 0, or -1 when
// the file cannot be opened, measured, held in memory, read to its length or closed (the content is then empty). One of
// more than `limit` bytes is refused before memory is taken for it. `identity`, when given, receives what the file was
// when it was opened.
int ReadWholeFile(const OsPlace& place, ByteBuffer* content, int64_t limit = std::numeric_limits<int64_t>::max(),
                  OsIdentity* identity = nullptr);

struct FilePart {
  const void* bytes;
  size_t size;
};

enum DiskWait { kDoNotWait, kWaitForDisk };

// Creates or empties the file at `place`, writes the parts one after another, waits until the disk holds them if that
// is wanted, and closes it. Returns 0, or -1
// when any step failed; then no file is left there, not even an earlier one.
int WriteWholeFile(const OsPlace& place, std::initializer_list<FilePart> parts, DiskWait wait = kDoNotWait);
