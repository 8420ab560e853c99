// The text of a stored message.
#pragma once

#include <cstdint>

#include "base/byte_buffer.h"
#include "platform/os.h"

// Reads the text that `records` DatRecords from `where` on hold into `body`, whose memory is used again: stored line
// ends become CR, and a NUL that is not counted in its size follows the text. Returns 0, or -1 on any failure.
int ReadMessageBody(const OsPlace& dat, uint16_t where, uint16_t records, ByteBuffer* body);
