// The outbound packet as a file.
#pragma once

#include "app/config.h"
#include "base/byte_buffer.h"
#include "platform/os.h"

// Writes the header, addressed to the hub and dated now, the packed messages and the closing word to `place`. Returns
// 0, or -1; no file is left behind then.
int WritePacketFile(const OsPlace& place, const TosserConfig& config, const ByteBuffer& messages);
