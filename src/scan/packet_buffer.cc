#include "scan/packet_buffer.h"

#include <cstring>

namespace {

// Makes room for `needed` bytes in all.
int Grow(uint64_t needed, ByteBuffer* packet) {
  if (needed > UINT32_MAX) return -1;
  if (needed <= packet->capacity) return 0;
  const uint64_t doubled = 2 * needed + 256;
  return ReserveBytes(packet, static_cast<size_t>(doubled <= UINT32_MAX ? doubled : needed));
}

}  // namespace

int AppendPackedMessage(const PackedMessage& message, ByteBuffer* packet) {
  const char* const texts[] = {message.dateTime, message.toUserName, message.fromUserName, message.subject,
                               message.text};
  uint64_t needed = uint64_t{packet->size} + kPackedMessageHeadSize;
  for (const char* text : texts) needed += strlen(text) + 1;
  if (Grow(needed, packet) != 0) return -1;

  uint8_t* at = packet->data + packet->size;
  PackMessageHead(message.head, at);
  at += kPackedMessageHeadSize;
  for (const char* text : texts) {
    const size_t size = strlen(text) + 1;
    memcpy(at, text, size);
    at += size;
  }
  packet->size = static_cast<size_t>(needed);
  return 0;
}
