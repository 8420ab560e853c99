// The outbound packet (FTS-0001): its packed messages, in memory until the whole scan has succeeded, and its file.
#pragma once

#include "app/config.h"
#include "base/byte_buffer.h"
#include "ftn/packet.h"
#include "platform/os.h"

constexpr size_t kFirstPacketCapacity = 4096;  // bytes

// One message as it goes into the packet; the texts are NUL-terminated.
struct PackedMessage {
  PackedMessageHead head;
  const char* dateTime = "";
  const char* toUserName = "";
  const char* fromUserName = "";
  const char* subject = "";
  const char* text = "";
};

// Appends the message. The room more than doubles when it has to grow. Returns 0, or -1 without memory or when the
// packet would pass 4 GB (the packet is then as it was).
int AppendPackedMessage(const PackedMessage& message, ByteBuffer* packet);

// Writes the header, addressed to the hub and dated now, the packed messages and the closing word to `place`. Returns
// 0, or -1; no file is left behind then.
int WritePacketFile(const OsPlace& place, const TosserConfig& config, const ByteBuffer& messages);
