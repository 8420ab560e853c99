// A file in one piece.
#pragma once

#include "platform/byte_buffer.h"

// Reads the whole file at `path` into `content`, whose memory is used again where it suffices. Returns 0, or -1 when
// the file cannot be opened, measured, held in memory, read to its length or closed (the content is then empty).
int ReadWholeFile(const char* path, ByteBuffer* content);
