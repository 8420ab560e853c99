#include "scan/outbound_packet.h"

#include <cstring>

#include "base/whole_file.h"
#include "ftn/packet.h"

namespace {

// Makes the capacity at least `needed` bytes.
int Grow(uint64_t needed, ByteBuffer* packet) {
  if (needed > UINT32_MAX) return -1;
  if (needed <= packet->capacity) return 0;
  const uint64_t doubled = 2 * needed + 256;
  return ReserveBytes(packet, static_cast<size_t>(doubled <= UINT32_MAX ? doubled : needed));
}

int MakeHeader(const TosserConfig& config, uint8_t (&bytes)[kPacketHeaderSize]) {
  OsCalendar now;
  if (OsLocalTime(OsNow(), &now) != 0) return -1;
  const FtnAddress& our = config.OurAddress;
  const FtnAddress& hub = config.HubAddress;
  PacketHeader header;
  header.origNode = static_cast<uint16_t>(our.Node);
  header.destNode = static_cast<uint16_t>(hub.Node);
  header.year = static_cast<uint16_t>(now.year);
  header.month = static_cast<uint16_t>(now.month);
  header.day = static_cast<uint16_t>(now.day);
  header.hour = static_cast<uint16_t>(now.hour);
  header.minute = static_cast<uint16_t>(now.minute);
  header.second = static_cast<uint16_t>(now.second);
  header.packetType = kPacketType2;
  header.origNet = static_cast<uint16_t>(our.Net);
  header.destNet = static_cast<uint16_t>(hub.Net);
  memcpy(header.password, config.PacketPassword, strnlen(config.PacketPassword, kPacketPasswordSize));
  header.qOrigZone = header.origZone = static_cast<uint16_t>(our.Zone);
  header.qDestZone = header.destZone = static_cast<uint16_t>(hub.Zone);
  header.capWord = 1;  // this system reads type 2+
  header.origPoint = static_cast<uint16_t>(our.Point);
  header.destPoint = static_cast<uint16_t>(hub.Point);
  PackPacketHeader(header, bytes);
  return 0;
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

int WritePacketFile(const OsPlace& place, const TosserConfig& config, const ByteBuffer& messages) {
  constexpr uint8_t kClosingWord[kPacketWordSize] = {};
  uint8_t header[kPacketHeaderSize];
  if (MakeHeader(config, header) != 0) {
    (void)OsRemove(place);  // an earlier run may have left a file
    return -1;
  }
  return WriteWholeFile(place,
                        {{header, sizeof header}, {messages.data, messages.size}, {kClosingWord, sizeof kClosingWord}});
}
