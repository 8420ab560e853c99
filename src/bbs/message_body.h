// The text of a stored message.
#pragma once

#include <cstdint>

#include "base/byte_buffer.h"
#include "platform/os.h"

// Reads the text in `records` DatRecords, from record `where` on, into `body`, whose memory is reused: stored line ends
// become CR, and a NUL that its size does not count follows the text. Returns 0, or -1 on any failure.
int ReadMessageBody(const OsPlace& dat, uint16_t where, uint16_t records, ByteBuffer* body);
