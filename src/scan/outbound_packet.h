// The outbound packet (FTS-0001): its packed messages, in memory until the whole scan has succeeded, and its file.
#pragma once

#include "app/config.h"
#include "base/byte_buffer.h"
#include "ftn/packet.h"
#include "platform/os.h"

constexpr size_t kFirstPacketCapacity = 4096;  // bytes

// One message to be packed; the texts are NUL-terminated.
struct PackedMessage {
  PackedMessageHead head;
  const char* dateTime = "";
  const char* toUserName = "";
  const char* fromUserName = "";
  const char* subject = "";
  const char* text = "";
};

// Appends the message. The capacity more than doubles when it has to grow. Returns 0, or -1 without memory or when the
// packet would exceed 4 GB (the packet is then unchanged).
int AppendPackedMessage(const PackedMessage& message, ByteBuffer* packet);

// Writes the header, addressed to the hub and dated now, the packed messages and the closing word to `place`. Returns
// 0, or -1; no file is left then.
int WritePacketFile(const OsPlace& place, const TosserConfig& config, const ByteBuffer& messages);
