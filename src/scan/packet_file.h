// The outbound packet as a file.
#pragma once

#include "app/config.h"
#include "base/byte_buffer.h"

// Writes the header, addressed to the hub and dated now, the packed messages and the closing word to `path`. Returns 0,
// or -1; no file is left behind then.
int WritePacketFile(const char* path, const TosserConfig& config, const ByteBuffer& messages);
